# Cross build for 64-bit Windows against the Universal C Runtime.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

# A compiler made for the UCRT needs nothing more; Debian 12 has none, so there its msvcrt compiler
# links the UCRT through edited specs.
find_program(ZOR_UCRT_CXX NAMES x86_64-w64-mingw32ucrt-g++-posix x86_64-w64-mingw32ucrt-g++)
if(ZOR_UCRT_CXX)
  set(zor_triple x86_64-w64-mingw32ucrt)
  string(REGEX REPLACE "g\\+\\+" "gcc" zor_c_compiler "${ZOR_UCRT_CXX}")
  set(CMAKE_C_COMPILER "${zor_c_compiler}")
  set(CMAKE_CXX_COMPILER "${ZOR_UCRT_CXX}")
else()
  set(zor_triple x86_64-w64-mingw32)
  set(CMAKE_C_COMPILER ${zor_triple}-gcc-posix)
  set(CMAKE_CXX_COMPILER ${zor_triple}-g++-posix)
  set(zor_specs "${CMAKE_BINARY_DIR}/ucrt.specs")
  if(NOT EXISTS "${zor_specs}")
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpspecs OUTPUT_VARIABLE zor_spec_text
                    COMMAND_ERROR_IS_FATAL ANY)
    string(REPLACE "-lmsvcrt" "-lucrt" zor_spec_text "${zor_spec_text}")
    file(WRITE "${zor_specs}" "${zor_spec_text}")
  endif()
  # Do not add -D_UCRT here: it changes mbstate_t under a libstdc++ that was built without it, and
  # every stream is then silently of the wrong size. Only the formatter's own file may define it.
  set(CMAKE_C_FLAGS_INIT "-specs=\"${zor_specs}\"")
  set(CMAKE_CXX_FLAGS_INIT "-specs=\"${zor_specs}\"")
  # winpthreads asks for msvcrt's _setjmp; the UCRT has it under another name.
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--defsym=_setjmp=__intrinsic_setjmpex")
  set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
endif()
set(CMAKE_RC_COMPILER ${zor_triple}-windres)

# A package is also looked for where the command line says.
set(CMAKE_FIND_ROOT_PATH /usr/${zor_triple} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian's wine64 binary itself: the wrapper named "wine" asks for the 32-bit half.
find_program(ZOR_WINE NAMES wine64 PATHS /usr/lib/wine NO_DEFAULT_PATH)
find_program(ZOR_WINE NAMES wine64 wine)
if(ZOR_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${ZOR_WINE}")
endif()
