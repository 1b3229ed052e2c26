# The search for the algorithms of this machine, on real folders, libraries and COM objects.

# zor_algorithm_library(NAME [LIBRARY...]): a library that a test puts into a driver package.
function(zor_algorithm_library name)
  add_library(zor_test_${name} SHARED discovery/${name}.c)
  # Not next to the tests: what a library needs is found in the package or not at all.
  set_target_properties(zor_test_${name} PROPERTIES
                        PREFIX "" RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin/algorithms")
  target_link_libraries(zor_test_${name} PRIVATE ${ARGN} zor_flags)
endfunction()

zor_algorithm_library(answers)
zor_algorithm_library(refuses)
zor_algorithm_library(without_entry)
zor_algorithm_library(does_not_load)
zor_algorithm_library(helper)
zor_algorithm_library(tells_error_mode)
zor_algorithm_library(needs_helper zor_test_helper)

# What a test has for the machine: folders, libraries and the management service.
add_library(zor_machine STATIC discovery/machine.cpp discovery/wmi_stand_in.cpp)
# The system's interfaces have no virtual destructors.
set_source_files_properties(discovery/wmi_stand_in.cpp PROPERTIES
                            COMPILE_OPTIONS "${ZOR_NO_VIRTUAL_DESTRUCTOR}")
target_link_libraries(zor_machine PRIVATE zor_flags PUBLIC zor_integration_support ole32 oleaut32
                                                           wbemuuid)
add_dependencies(
  zor_machine
  zor_test_answers
  zor_test_refuses
  zor_test_without_entry
  zor_test_does_not_load
  zor_test_tells_error_mode
  zor_test_needs_helper)

add_executable(zor_discovery_tests discovery_test.cpp)
target_link_libraries(zor_discovery_tests PRIVATE zor_machine)
zor_add_pipe_tests(zor_discovery_tests SETS quick)

add_executable(zor_search_process_tests search_process_test.cpp)
target_link_libraries(zor_search_process_tests PRIVATE zor_machine)
zor_add_pipe_tests(zor_search_process_tests SETS quick)

# The search itself is linked into the test, too.
add_executable(zor_version_line_tests version_line_test.cpp)
target_link_libraries(zor_version_line_tests PRIVATE zor_core zor_platform zor_machine)
zor_add_pipe_tests(zor_version_line_tests SETS quick)

# The platform alone, whose calls to the system are answered by the test.
add_executable(zor_system_call_tests system_calls_test.cpp)
target_link_libraries(zor_system_call_tests PRIVATE zor_platform zor_machine gmock gtest gtest_main
                                                    zor_flags)
zor_add_tests(zor_system_call_tests SETS quick)

# The demo's second half.
add_executable(algorithms_demo discovery/algorithms_demo.cpp)
target_link_libraries(algorithms_demo PRIVATE ZorInterface zor_machine zor_flags)
