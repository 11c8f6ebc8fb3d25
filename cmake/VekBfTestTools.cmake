# What the tests of all folders share.

# Debian's own Python first: NumPy and the other modules that tests need are installed for it.
find_program(VEKBF_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
find_program(VEKBF_PYTHON NAMES python3 REQUIRED)

# Licences of all files.
find_program(VEKBF_REUSE reuse)

# vekbf_test(<name> <label> <command>... [PROPERTIES <property> <value>...]): a test with its label, which is one of
# those by which scripts/test selects. A test that takes long has the property COST and starts before the others, so
# that it does not run alone at the end.
set(VEKBF_TEST_LABELS unit direction vectors api plugins memory realtime endurance fuzz numerics packaging style tools python budgets slow)
function(vekbf_test name label)
  cmake_parse_arguments(PARSE_ARGV 2 test "" "" "PROPERTIES")
  if(NOT label IN_LIST VEKBF_TEST_LABELS)
    message(FATAL_ERROR "${name}: no test label ${label}")
  endif()
  add_test(NAME ${name} COMMAND ${test_UNPARSED_ARGUMENTS})
  set_tests_properties(${name} PROPERTIES LABELS ${label} ${test_PROPERTIES})
endfunction()

# vekbf_target_test(<name> <label> <command>...): as vekbf_test, once for each instruction set that the library chooses from,
# as <name>_on_<set>; skipped where the processor lacks it. The program holds tests/support/forced_target.cpp.
function(vekbf_target_test name)
  cmake_parse_arguments(PARSE_ARGV 1 test "" "" "")  # keeps lists that are one argument
  if(NOT VEKBF_AVX2)
    vekbf_test(${name} ${test_UNPARSED_ARGUMENTS})
    return()
  endif()
  foreach(set sse2 avx2)
    vekbf_test(${name}_on_${set} ${test_UNPARSED_ARGUMENTS})
    set_property(TEST ${name}_on_${set} APPEND PROPERTY ENVIRONMENT VEKBF_TEST_TARGET=${set})
    set_property(TEST ${name}_on_${set} PROPERTY SKIP_RETURN_CODE 77)
  endforeach()
endfunction()

# vekbf_choose_target(<program>...): VEKBF_TEST_TARGET chooses the instruction set of the library in these programs.
function(vekbf_choose_target)
  if(VEKBF_AVX2)
    foreach(program ${ARGN})
      target_sources(${program} PRIVATE $<TARGET_OBJECTS:vekbf_forced_target>)
    endforeach()
  endif()
endfunction()
