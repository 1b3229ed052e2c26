# What comes from Debian's packages.

# Header-only packages of this machine, for either target: only their own folders, never the
# machine's whole include root, which has the wrong system headers for a cross build.
set(ZOR_HOST_HEADERS "${CMAKE_BINARY_DIR}/host_headers")
file(MAKE_DIRECTORY "${ZOR_HOST_HEADERS}")
foreach(folder flatbuffers nlohmann CLI fmt)
  if(EXISTS "/usr/include/${folder}")
    file(CREATE_LINK "/usr/include/${folder}" "${ZOR_HOST_HEADERS}/${folder}" SYMBOLIC)
  else()
    message(FATAL_ERROR "The headers of ${folder} are missing: ./dev setup installs them.")
  endif()
endforeach()
add_library(zor_host_headers INTERFACE)
target_include_directories(zor_host_headers SYSTEM INTERFACE "${ZOR_HOST_HEADERS}")

find_program(ZOR_FLATC flatc REQUIRED)
