# How tests are registered with ctest. Each has a limit, which only a test that hangs reaches.
#
# SETS names the sets that a test belongs to: "quick", what `./dev test` runs, and "threads", what runs
# under TSan. The target tests_SET builds what the tests of a set need.
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)

set(zor_python "${Python3_EXECUTABLE}" -B)
foreach(set quick threads)
  add_custom_target(tests_${set})
endforeach()

# zor_add_test(NAME [SETS set...] [LOCK name] [LIMIT seconds] [TARGETS target...] COMMAND word...): a
# command of this machine, which TARGETS are built for. The command must not begin with a target: ctest would
# run that under the emulator, and Wine returns 0 for a program that is not one of Windows.
function(zor_add_test name)
  cmake_parse_arguments(arg "" "LOCK;LIMIT" "SETS;TARGETS;COMMAND" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "${name}: unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT arg_LIMIT)
    set(arg_LIMIT 900)
  endif()
  add_test(NAME ${name} COMMAND ${arg_COMMAND})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_LIMIT} LABELS "${arg_SETS}"
                                          ENVIRONMENT PYTHONDONTWRITEBYTECODE=1)
  if(arg_LOCK)
    set_tests_properties(${name} PROPERTIES RESOURCE_LOCK ${arg_LOCK})
  endif()
  if(arg_TARGETS)
    foreach(set ${arg_SETS})
      add_dependencies(tests_${set} ${arg_TARGETS})
    endforeach()
  endif()
  # A canary must fail: see scripts/summary.py.
  if(name MATCHES "^canary\\.")
    set_tests_properties(${name} PROPERTIES WILL_FAIL TRUE)
  endif()
endfunction()

# zor_add_program_test(NAME TARGET [CASES] [SETS set...] [LOCK name] [LIMIT seconds] [ARGUMENTS word...]):
# a program of the build, under Wine where that is needed. Its status is the verdict, or with CASES what it
# says of each of its GoogleTest cases.
function(zor_add_program_test name target)
  cmake_parse_arguments(arg "CASES" "LOCK;LIMIT" "SETS;ARGUMENTS" ${ARGN})
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "${name}: unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT arg_LIMIT)
    set(arg_LIMIT 900)
  endif()
  # It ends the program, and says where that hung, before ctest would end it.
  set(command ${zor_python} "${PROJECT_SOURCE_DIR}/scripts/run_test.py" --name ${name}
              --limit ${arg_LIMIT})
  math(EXPR arg_LIMIT "${arg_LIMIT} + 60")
  if(arg_CASES)
    list(APPEND command --cases)
  endif()
  if(CMAKE_CROSSCOMPILING)
    list(APPEND command --starter $<TARGET_FILE:wine_starter>)
    add_dependencies(${target} wine_starter)
  endif()
  zor_add_test(
    ${name}
    SETS ${arg_SETS}
    LOCK ${arg_LOCK}
    LIMIT ${arg_LIMIT}
    TARGETS ${target}
    COMMAND ${command} $<TARGET_FILE:${target}> ${arg_ARGUMENTS})
endfunction()

# zor_add_tests(TARGET [SETS set...] [LOCK name]): the cases of a GoogleTest program.
function(zor_add_tests target)
  zor_add_program_test(${target} ${target} CASES ${ARGN})
endfunction()
