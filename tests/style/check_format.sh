#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Fails on C and C++ text that clang-format would change.
#
#   check_format.sh CLANG_FORMAT ROOT
set -eu
cd "$2"
list=$(find . -type d \( -name .git -o -name build -o -name out \) -prune -o \
  -type f \( -name '*.h' -o -name '*.c' -o -name '*.cpp' \) -print)
[ -n "$list" ] || { echo "nothing to look at"; exit 1; }
echo "$list" | xargs -P 2 -n 12 "$1" --dry-run -Werror --style=file
echo "$(echo "$list" | wc -l) files are formatted"
