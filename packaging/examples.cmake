# The examples, against the package that they came in:
#   cmake -B build -DCMAKE_PREFIX_PATH=FOLDER_OF_THE_PACKAGE
cmake_minimum_required(VERSION 3.21)
project(ZorInterfaceExamples LANGUAGES C CXX)

find_package(ZorInterface CONFIG REQUIRED)

add_executable(session session.c)
add_executable(session_cpp session.cpp)
target_compile_features(session PRIVATE c_std_99)
target_compile_features(session_cpp PRIVATE cxx_std_17)

# These load the library themselves; linked all the same, for the headers and the copy beside them.
add_executable(survive survive.c)
add_executable(survive_cpp survive.cpp)
target_compile_features(survive PRIVATE c_std_99)
target_compile_features(survive_cpp PRIVATE cxx_std_17)

foreach(example session session_cpp survive survive_cpp)
  target_link_libraries(${example} PRIVATE ZorInterface::ZorInterface ole32)
  if(MINGW)
    # The compiler's own runtime libraries go into the program.
    target_link_options(${example} PRIVATE -static)
  endif()
  # Windows looks for a program's libraries beside the program.
  add_custom_command(
    TARGET ${example} POST_BUILD
    COMMAND "${CMAKE_COMMAND}" -E copy_if_different $<TARGET_RUNTIME_DLLS:${example}>
            $<TARGET_FILE_DIR:${example}>
    COMMAND_EXPAND_LISTS VERBATIM)
endforeach()
