#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Fails when one of the labels selects no test of a build, or a test has none of them.
#
#   check_labels.sh BUILD LABEL...
set -eu
build=$1
shift
bad=0
count() { ctest --test-dir "$build" -N "$@" | sed -n 's/^Total Tests: //p'; }
known=
for label in "$@"; do
  tests=$(count -L "^$label\$")
  echo "$label: ${tests:-0} tests"
  [ "${tests:-0}" -gt 0 ] || bad=1
  known="$known|$label"
done
without=$(count -LE "^(${known#|})\$")
echo "without a label: ${without:-0} tests"
[ "${without:-0}" -eq 0 ] || { ctest --test-dir "$build" -N -LE "^(${known#|})\$"; bad=1; }
[ $bad -eq 0 ] || echo "labels and tests do not fit"
exit $bad
