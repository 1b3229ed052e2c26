# What comes from elsewhere: FlatBuffers for the library; nlohmann-json, CLI11 and fmt for the tools.
add_library(zor_host_headers INTERFACE)

if(CMAKE_HOST_SYSTEM_NAME STREQUAL "Linux")
  # Debian's header-only packages, for either target: only their own folders, never the machine's
  # whole include root, which has the wrong system headers for a cross build.
  set(ZOR_HOST_HEADERS "${CMAKE_BINARY_DIR}/host_headers")
  file(MAKE_DIRECTORY "${ZOR_HOST_HEADERS}")
  foreach(folder flatbuffers nlohmann CLI fmt)
    if(EXISTS "/usr/include/${folder}")
      file(CREATE_LINK "/usr/include/${folder}" "${ZOR_HOST_HEADERS}/${folder}" SYMBOLIC)
    else()
      message(FATAL_ERROR "The headers of ${folder} are missing: ./dev setup installs them.")
    endif()
  endforeach()
  target_include_directories(zor_host_headers SYSTEM INTERFACE "${ZOR_HOST_HEADERS}")
else()
  # On Windows, what a package manager (vcpkg, MSYS2) has installed.
  foreach(header flatbuffers/flatbuffers.h nlohmann/json.hpp CLI/CLI.hpp fmt/format.h)
    unset(folder)
    find_path(folder ${header} REQUIRED NO_CACHE)
    target_include_directories(zor_host_headers SYSTEM INTERFACE "${folder}")
  endforeach()
endif()

find_program(ZOR_FLATC flatc REQUIRED)
