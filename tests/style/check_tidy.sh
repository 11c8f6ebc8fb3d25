#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Runs the checks of .clang-tidy over the library's sources, as the build compiles them.
#
#   check_tidy.sh CLANG_TIDY COMPILE_DATABASE_FOLDER SOURCE...
set -eu
tidy=$1
database=$2
shift 2
[ -f "$database/compile_commands.json" ] || { echo "no compile_commands.json in $database"; exit 1; }
[ $# -gt 0 ] || { echo "nothing to look at"; exit 1; }
# Flags of another compiler are no finding.
printf '%s\n' "$@" | xargs -P 2 -n 3 "$tidy" --quiet -p "$database" --extra-arg=-Wno-unknown-warning-option \
  --extra-arg=-Wno-ignored-optimization-argument
echo "$# sources are clean"
