#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Fails when a function that one of the objects defines for others does not lie in the namespace of its instruction set:
# the linker could take it for the function of the same name in an object for another instruction set.
#
#   check_names.sh NM NAMESPACE OBJECT...
set -eu
nm=$1 namespace=$2
shift 2
# CMake joins a list of objects by semicolons.
functions=$(echo "$*" | tr '; ' '\n\n' | xargs "$nm" --defined-only --extern-only --demangle --no-sort | sed -n 's/^[0-9a-f]* [TWi] //p')
[ -n "$functions" ] || { echo "no functions"; exit 1; }
foreign=$(echo "$functions" | grep -v -F "vekbf::$namespace::") || { echo "$(echo "$functions" | wc -l) functions lie in it"; exit 0; }
echo "outside vekbf::$namespace:"
echo "$foreign"
exit 1
