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
zor_algorithm_library(needs_helper zor_test_helper)

add_executable(
  zor_discovery_tests discovery_test.cpp discovery/machine.cpp discovery/wmi_stand_in.cpp)
# The system's interfaces have no virtual destructors.
set_source_files_properties(discovery/wmi_stand_in.cpp PROPERTIES
                            COMPILE_OPTIONS -Wno-non-virtual-dtor)
target_link_libraries(zor_discovery_tests PRIVATE ole32 oleaut32 wbemuuid)
add_dependencies(
  zor_discovery_tests
  zor_test_answers
  zor_test_refuses
  zor_test_without_entry
  zor_test_does_not_load
  zor_test_needs_helper)
zor_add_pipe_tests(zor_discovery_tests 60)

# The demo's second half.
add_executable(
  algorithms_demo discovery/algorithms_demo.cpp discovery/machine.cpp discovery/wmi_stand_in.cpp)
target_link_libraries(algorithms_demo PRIVATE ZorInterface zor_integration_support ole32 oleaut32
                                              wbemuuid zor_flags)
target_include_directories(algorithms_demo PRIVATE "${PROJECT_SOURCE_DIR}")
add_dependencies(algorithms_demo zor_test_answers)
