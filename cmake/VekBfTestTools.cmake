# What the tests of all folders share.

# Debian's own Python first: NumPy and the other modules that tests need are installed for it.
find_program(VEKBF_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
find_program(VEKBF_PYTHON NAMES python3 REQUIRED)

# vekbf_test(<name> <label> <command>... [PROPERTIES <property> <value>...]): a test with its label, which is one of
# those by which scripts/test selects.
set(VEKBF_TEST_LABELS unit direction vectors api plugins memory realtime endurance fuzz numerics packaging style tools python budgets slow)
function(vekbf_test name label)
  cmake_parse_arguments(PARSE_ARGV 2 test "" "" "PROPERTIES")
  if(NOT label IN_LIST VEKBF_TEST_LABELS)
    message(FATAL_ERROR "${name}: no test label ${label}")
  endif()
  add_test(NAME ${name} COMMAND ${test_UNPARSED_ARGUMENTS})
  set_tests_properties(${name} PROPERTIES LABELS ${label} ${test_PROPERTIES})
endfunction()
