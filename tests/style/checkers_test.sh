#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The checkers of this folder find what they are there for.
#
#   checkers_test.sh CLANG_FORMAT CLANG_TIDY ROOT
set -eu
format=$1
tidy=$2
root=$3
here=$root/tests/style
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() {
  echo "checkers_test.sh: $1"
  cat "$scratch/output"
  exit 1
}
# finds WORD COMMAND...: the command fails and says WORD.
finds() {
  word=$1
  shift
  if "$@" >"$scratch/output" 2>&1; then fail "passes: $*"; fi
  grep -q -- "$word" "$scratch/output" || fail "does not say $word: $*"
}
passes() { "$@" >"$scratch/output" 2>&1 || fail "fails: $*"; }

cp "$root/.clang-format" "$root/.clang-tidy" "$scratch"
mkdir "$scratch/src"
finds "nothing to look at" sh "$here/check_format.sh" "$format" "$scratch"
printf '// SPDX-License-Identifier: MIT\nint f(int x) { return x; }\n' >"$scratch/src/good.cpp"
passes sh "$here/check_format.sh" "$format" "$scratch"
printf 'int f( int x ) {\n      return x ;}\n' >"$scratch/src/bad.h"
finds "clang-format-violations" sh "$here/check_format.sh" "$format" "$scratch"
sh "$here/check_format.sh" "$scratch/no-such-program" "$scratch" >/dev/null 2>&1 && fail "passes without clang-format"

cd "$scratch/src"
cat >"$scratch/compile_commands.json" <<END
[{"directory": "$scratch/src", "file": "good.cpp", "command": "c++ -std=c++20 -c good.cpp"},
 {"directory": "$scratch/src", "file": "global.cpp", "command": "c++ -std=c++20 -c global.cpp"},
 {"directory": "$scratch/src", "file": "null.cpp", "command": "c++ -std=c++20 -c null.cpp"},
 {"directory": "$scratch/src", "file": "cast.cpp", "command": "c++ -std=c++20 -c cast.cpp"}]
END
echo 'int counter = 0;' >global.cpp
echo 'int f() { int *p = nullptr; return *p; }' >null.cpp
echo 'int f(float x) { return (int)x; }' >cast.cpp
passes sh "$here/check_tidy.sh" "$tidy" "$scratch" good.cpp
finds "avoid-non-const-global-variables" sh "$here/check_tidy.sh" "$tidy" "$scratch" good.cpp global.cpp
finds "clang-analyzer-core.NullDereference" sh "$here/check_tidy.sh" "$tidy" "$scratch" null.cpp good.cpp
finds "google-readability-casting" sh "$here/check_tidy.sh" "$tidy" "$scratch" cast.cpp
finds "nothing to look at" sh "$here/check_tidy.sh" "$tidy" "$scratch"
finds "no compile_commands.json" sh "$here/check_tidy.sh" "$tidy" "$scratch/src" good.cpp

mkdir "$scratch/tests"
cat >"$scratch/tests/CTestTestfile.cmake" <<'END'
add_test(one true)
set_tests_properties(one PROPERTIES LABELS "unit")
add_test(two true)
set_tests_properties(two PROPERTIES LABELS "unitary")
END
passes sh "$here/check_labels.sh" "$scratch/tests" unit unitary
finds "api: 0 tests" sh "$here/check_labels.sh" "$scratch/tests" unit unitary api
finds "without a label: 1 tests" sh "$here/check_labels.sh" "$scratch/tests" unit
echo "every checker finds what is planted"
