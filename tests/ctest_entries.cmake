# CTest entries, by label:
#   case     one entry per test, discovered by running the programs
#   program  one entry per program, with `ctest -C programs` only: for systems where starting processes costs more
#            than most tests. Use with -L, or every test runs twice.
#   check    the demo, the languages: scripts/check.sh
# Each GoogleTest run writes its XML report to test-results, named after the entry. Paths are relative, because
# Windows programs interpret absolute ones differently.
set(test_timeout 300)

# What runs on one thread, and long, tells ThreadSanitizer nothing.
set(left_out "")
if(VEKAPI_SANITIZE MATCHES "thread")
  set(left_out --gtest_filter=-Model.*:Memory.*:Interleaving.*:CutTest.*)
endif()

function(add_ctest_entries name)
  gtest_discover_tests(test_${name}
    DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 NO_PRETTY_TYPES NO_PRETTY_VALUES
    TEST_PREFIX ${name}. XML_OUTPUT_DIR test-results WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
    PROPERTIES LABELS case TIMEOUT ${test_timeout})
  add_test(NAME ${name} CONFIGURATIONS programs WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
    COMMAND test_${name} --gtest_output=xml:test-results/${name}.xml ${left_out})
  set_tests_properties(${name} PROPERTIES LABELS program TIMEOUT ${test_timeout})
  # For the report: a program without tests has no entry.
  set_property(GLOBAL APPEND_STRING PROPERTY vekapi_test_programs "${name}\n")
endfunction()

# The scripts identify builds by the preset's name.
function(add_ctest_checks)
  get_property(programs GLOBAL PROPERTY vekapi_test_programs)
  file(WRITE ${PROJECT_BINARY_DIR}/test-programs.txt "${programs}")
  get_filename_component(preset ${PROJECT_BINARY_DIR} NAME)
  if(NOT PROJECT_BINARY_DIR STREQUAL "${PROJECT_SOURCE_DIR}/build/${preset}")
    return()
  endif()
  set(script ${PROJECT_SOURCE_DIR}/scripts/check.sh)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${script} ${PROJECT_SOURCE_DIR}/scripts/languages.sh)
  execute_process(COMMAND bash ${script} --list ${preset} OUTPUT_VARIABLE checks COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" checks "${checks}")
  foreach(check ${checks})
    add_test(NAME check.${check} COMMAND bash ${script} ${check} ${preset})
    # They build, and most of them in directories that others use, too.
    set_tests_properties(check.${check} PROPERTIES LABELS check TIMEOUT ${test_timeout} RUN_SERIAL ON)
  endforeach()
endfunction()
