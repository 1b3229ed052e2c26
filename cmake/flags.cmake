# zor_flags: what every target of this project is compiled with.
add_library(zor_flags INTERFACE)
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

# No path of the building machine in a binary.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)

if(WIN32)
  # The target is Windows 10 or later.
  add_compile_definitions(_WIN32_WINNT=0x0A00 WINVER=0x0A00 WIN32_LEAN_AND_MEAN NOMINMAX)
  add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-ffunction-sections>
                      $<$<COMPILE_LANGUAGE:C,CXX>:-fdata-sections>)
endif()

if(ZOR_SANITIZE)
  # Under a sanitizer GCC takes the inside of std::regex for uninitialized.
  target_compile_options(
    zor_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:$<$<COMPILE_LANGUAGE:CXX>:-Wno-maybe-uninitialized>>)
  add_compile_options(-fsanitize=${ZOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
  add_link_options(-fsanitize=${ZOR_SANITIZE})
endif()

if(ZOR_FUZZ)
  # All code reports to the fuzzer which way it went; only the targets have its main().
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
