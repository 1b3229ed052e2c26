# The public headers alone, in each language they are for, as other compilers see them, with every
# warning an error. (What GCC makes of the C header is in tests/abi.) Clang gets all that it has (-Weverything), but for these:
set(clang_c_exceptions
    -Wno-padded) # where the records have gaps is part of the interface
set(clang_cxx_exceptions
    ${clang_c_exceptions}
    -Wno-c++98-compat # neither header is for compilers from before C++11,
    -Wno-c++98-compat-pedantic
    -Wno-pre-c++14-compat # nor zor.hpp for those from before C++17
    -Wno-pre-c++17-compat
    -Wno-weak-vtables # a header has no source file to put the error category into,
    -Wno-exit-time-destructors) # nor has that one anything to destroy
set(gcc_warnings -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wcast-align
                 -Wundef -Wdouble-promotion -Wformat=2 -Wwrite-strings -Werror)

set(c_header "${PROJECT_SOURCE_DIR}/src/interface/zor_interface.h")
set(result_header "${PROJECT_SOURCE_DIR}/src/interface/zor_result.h")
set(loader_header "${PROJECT_SOURCE_DIR}/src/interface/zor_loader.h")
set(cxx_header "${PROJECT_SOURCE_DIR}/src/interface/zor.hpp")
set(session_header "${PROJECT_SOURCE_DIR}/src/interface/zor_session.hpp") # includes its other three

# zor_add_header_test(COMPILER HEADER LANGUAGE STANDARD TOOLS variable... COMMAND command...)
function(zor_add_header_test compiler header language standard)
  cmake_parse_arguments(arg "" "" "TOOLS;COMMAND" ${ARGN})
  get_filename_component(name ${header} NAME)
  # Included in a source file: a header as the main file would be warned about for being one.
  set(source "${CMAKE_CURRENT_BINARY_DIR}/include_${name}.${language}")
  file(CONFIGURE OUTPUT "${source}" CONTENT "#include \"${header}\"\n")
  zor_add_tool_test(
    package.header.${name}.${compiler}.${standard}
    TOOLS ${arg_TOOLS}
    COMMAND ${arg_COMMAND} "${source}")
endfunction()

# zor_add_gnu_header_tests(COMPILER HEADER LANGUAGE standard... TOOL variable OPTIONS option...)
function(zor_add_gnu_header_tests compiler header language)
  cmake_parse_arguments(arg "" "TOOL" "OPTIONS" ${ARGN})
  foreach(standard ${arg_UNPARSED_ARGUMENTS})
    zor_add_header_test(
      ${compiler} ${header} ${language} ${standard}
      TOOLS ${arg_TOOL}
      COMMAND ${${arg_TOOL}} -fsyntax-only -std=${standard} ${arg_OPTIONS})
  endforeach()
endfunction()

set(clang_c -Weverything -Werror ${clang_c_exceptions})
set(clang_cxx -Weverything -Werror ${clang_cxx_exceptions})
# Its own headers suffice in this mode: there is no SDK here.
set(msvc_mode --target=x86_64-pc-windows-msvc -ffreestanding)

foreach(header ${c_header} ${result_header})
  zor_add_gnu_header_tests(clang ${header} c c99 c11 TOOL ZOR_CLANG OPTIONS ${clang_c})
  zor_add_gnu_header_tests(clang ${header} cpp c++11 c++20 TOOL ZOR_CLANG OPTIONS ${clang_cxx})
  zor_add_gnu_header_tests(clang-msvc ${header} c c99 c11 TOOL ZOR_CLANG
                           OPTIONS ${msvc_mode} ${clang_c})
  zor_add_gnu_header_tests(clang-msvc ${header} cpp c++11 c++20 TOOL ZOR_CLANG
                           OPTIONS ${msvc_mode} ${clang_cxx})
endforeach()

foreach(header ${cxx_header} ${session_header})
  zor_add_gnu_header_tests(gcc ${header} cpp c++17 c++20 TOOL ZOR_HOST_CXX OPTIONS ${gcc_warnings})
  zor_add_gnu_header_tests(clang ${header} cpp c++17 c++20 TOOL ZOR_CLANG OPTIONS ${clang_cxx})
endforeach()

# What must not be thrown away is reported when it is.
zor_add_tool_test(
  package.header.zor.hpp.nodiscard
  TOOLS ZOR_HOST_CXX
  COMMAND ${ZOR_HOST_CXX} -fsyntax-only -std=c++17 -I "${PROJECT_SOURCE_DIR}/src"
          "${CMAKE_CURRENT_SOURCE_DIR}/discarded.cpp")
set_tests_properties(
  package.header.zor.hpp.nodiscard
  PROPERTIES PASS_REGULAR_EXPRESSION "ScopedEventCallback.*nodiscard")

if(MINGW)
  foreach(header ${cxx_header} ${session_header})
    zor_add_gnu_header_tests(mingw ${header} cpp c++17 c++20 TOOL CMAKE_CXX_COMPILER
                             OPTIONS ${gcc_warnings})
  endforeach()
  zor_add_tool_test(
    package.header.zor.hpp.behind_windows_h
    TOOLS CMAKE_CXX_COMPILER
    COMMAND ${CMAKE_CXX_COMPILER} -fsyntax-only -std=c++17 ${gcc_warnings}
            -I "${PROJECT_SOURCE_DIR}/src" "${CMAKE_CURRENT_SOURCE_DIR}/behind_windows_h.cpp")
  zor_add_gnu_header_tests(mingw ${loader_header} c c99 c11 TOOL CMAKE_C_COMPILER
                           OPTIONS ${gcc_warnings} -Wstrict-prototypes)
  zor_add_gnu_header_tests(mingw ${loader_header} cpp c++11 c++20 TOOL CMAKE_CXX_COMPILER
                           OPTIONS ${gcc_warnings} -Wold-style-cast)
endif()

# The same compiler under MSVC's command line: /Wall is -Weverything.
# What follows "--" is a file, whatever the first letters of its path would mean as an option.
foreach(standard c11 c17)
  zor_add_header_test(
    clang-cl ${c_header} c ${standard}
    TOOLS ZOR_CLANG_CL
    COMMAND ${ZOR_CLANG_CL} /c /Zs /Wall /WX /std:${standard} /clang:-ffreestanding
            ${clang_c_exceptions} --)
endforeach()
foreach(standard c++14 c++20)
  zor_add_header_test(
    clang-cl ${c_header} cpp ${standard}
    TOOLS ZOR_CLANG_CL
    COMMAND ${ZOR_CLANG_CL} /c /Zs /Wall /WX /std:${standard} /clang:-ffreestanding
            ${clang_cxx_exceptions} --)
endforeach()

# A canary: a header that each of these must object to.
set(wrong_source "${CMAKE_CURRENT_BINARY_DIR}/wrong_header.c")
file(CONFIGURE OUTPUT "${wrong_source}" CONTENT "int f() { return 1.5; }\n")
zor_add_tool_test(
  canary.header
  TOOLS ZOR_CLANG
  COMMAND ${ZOR_CLANG} -fsyntax-only -std=c11 ${clang_c} "${wrong_source}")
