# zor_flags: what every target of this project is compiled with.
add_library(zor_flags INTERFACE)
if(MSVC)
  # Not /WX: no compiler of this family has seen all of this code yet.
  target_compile_options(zor_flags INTERFACE /W4 /permissive- /utf-8 /Zc:__cplusplus
                         /wd5030) # GNU attributes are skipped
  # CMake's default, /EHsc, takes it that no extern "C" function throws: the handlers around the exports'
  # bodies would be left out.
  string(REPLACE "/EHsc" "/EHs" CMAKE_CXX_FLAGS "${CMAKE_CXX_FLAGS}")
else()
  target_compile_options(
    zor_flags
    INTERFACE
      -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wcast-qual -Wcast-align
      -Wformat=2 -Wundef -Wdouble-promotion -Wwrite-strings -Werror
      $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
      -Wextra-semi -Wzero-as-null-pointer-constant>
      $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes -Wmissing-prototypes>
      # A formatter's format is an argument; clang objects even where there is a va_list.
      $<$<CXX_COMPILER_ID:Clang>:-Wno-format-nonliteral>)
  # For a file with classes of the system's interfaces, which have no virtual destructors.
  set(ZOR_NO_VIRTUAL_DESTRUCTOR -Wno-non-virtual-dtor)
  # No path of the building machine in a binary.
  add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
endif()

if(WIN32)
  # The target is Windows 10 or later.
  add_compile_definitions(_WIN32_WINNT=0x0A00 WINVER=0x0A00 WIN32_LEAN_AND_MEAN NOMINMAX)
endif()

if(MINGW)
  add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-ffunction-sections>
                      $<$<COMPILE_LANGUAGE:C,CXX>:-fdata-sections>)
  # No time stamp: two builds of one commit are equal byte for byte. A section starts on a page of
  # the file, as it does in memory, which makes loading cheaper.
  add_link_options(-static -Wl,--no-insert-timestamp -Wl,--high-entropy-va -Wl,--dynamicbase
                   -Wl,--nxcompat -Wl,--file-alignment=4096 -Wl,--gc-sections)
elseif(MSVC)
  # The compiler's and the C++ runtime are linked in; the Universal C Runtime is the system's own,
  # so that malloc and free are those of the application.
  set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
  # Symbols for whoever reads a crash dump; a binary names its .pdb without the building machine's folder.
  set(CMAKE_MSVC_DEBUG_INFORMATION_FORMAT ProgramDatabase)
  # Both kinds of protection are this family's alone: Debian's libstdc++ is not built for them.
  add_compile_options(/guard:cf)
  add_link_options(
    /guard:cf /CETCOMPAT
    /DEBUG /OPT:REF /OPT:ICF /PDBALTPATH:%_PDB%
    /Brepro
    $<IF:$<CONFIG:Debug>,/NODEFAULTLIB:libucrtd.lib,/NODEFAULTLIB:libucrt.lib>
    $<IF:$<CONFIG:Debug>,/DEFAULTLIB:ucrtd.lib,/DEFAULTLIB:ucrt.lib>)
endif()

# Leaves the symbols out of a program that is handed out.
function(zor_strip target)
  if(MINGW)
    target_link_options(${target} PRIVATE -s)
  endif()
endfunction()

if(ZOR_SANITIZE)
  # Under a sanitizer GCC takes the inside of std::regex for uninitialized.
  target_compile_options(
    zor_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:$<$<COMPILE_LANGUAGE:CXX>:-Wno-maybe-uninitialized>>)
  # What is fuzzed runs optimized; what is only tested compiles in half the time without.
  if(ZOR_FUZZ)
    add_compile_options(-O2)
  else()
    add_compile_options(-O0)
  endif()
  add_compile_options(-fsanitize=${ZOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZOR_SANITIZE})
  # The standard library looks at its callers too.
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()

if(ZOR_FUZZ)
  # The code reports to the fuzzer which way it went; only the targets have its main().
  add_compile_options(-fsanitize=fuzzer-no-link
                      -fsanitize-coverage-ignorelist=${PROJECT_SOURCE_DIR}/fuzz/not_counted.txt)
endif()

if(ZOR_COVERAGE AND NOT WIN32)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

# Counts what runs of Windows' half of the library, with GCC: Debian has clang's counters for Linux only.
# The rest is counted natively.
function(zor_count_windows_half target)
  if(ZOR_COVERAGE AND MINGW)
    target_compile_options(${target} PRIVATE --coverage -O0)
    target_link_options(${target} PUBLIC --coverage)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "SHARED_LIBRARY")
      set(writer "${PROJECT_SOURCE_DIR}/cmake/count_to_the_end.cpp")
      target_sources(${target} PRIVATE "${writer}")
      set_source_files_properties("${writer}" PROPERTIES COMPILE_OPTIONS -Wno-prio-ctor-dtor)
      target_link_options(${target} PRIVATE -Wl,--wrap=__gcov_exit)
    endif()
  endif()
endfunction()
