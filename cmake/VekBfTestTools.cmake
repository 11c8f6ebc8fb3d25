# What the tests of all folders share.

# Debian's own Python first: NumPy and the other modules that tests need are installed for it.
find_program(VEKBF_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
find_program(VEKBF_PYTHON NAMES python3 REQUIRED)

# vekbf_test(<name> <label> <command>...): a test with its label.
function(vekbf_test name label)
  add_test(NAME ${name} COMMAND ${ARGN})
  set_tests_properties(${name} PROPERTIES LABELS "${label}")
endfunction()
