#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The reference is made without a warning and explains all that the header declares; what is left unexplained is found.
#
#   reference.sh DOXYGEN DOXYFILE HEADER SCRATCH_DIR
set -eu
doxygen=$1
doxyfile=$2
header=$3
scratch=$4
rm -rf "$scratch"
mkdir -p "$scratch"

# What stands later in the file counts.
make_reference() {
  mkdir "$2"
  { cat "$doxyfile" && printf 'INPUT = "%s"\nOUTPUT_DIRECTORY = "%s"\n' "$1" "$2"; } >"$2.doxyfile"
  "$doxygen" "$2.doxyfile" >"$2.log" 2>&1
}

make_reference "$header" "$scratch/whole" || { cat "$scratch/whole.log"; exit 1; }
names=$(grep -o '\bVek[A-Za-z_]*\|\bVEK_[A-Z_]*[A-Z]' "$header" |
  grep -vx 'VekBf\|VekBfInstance\|VEK_BF_H\|VEK_BF_ERR\|VEK_BF_ENUM_WIDTH' | sort -u)
[ "$(echo "$names" | wc -l)" -ge 30 ] || { echo "next to no names in the header"; exit 1; }
for name in $names; do
  grep -rqE "(memItemRight|fieldname).*\b$name\b" "$scratch/whole" --include='*.html' ||
    { echo "$name is not in the reference"; exit 1; }
done
grep -q 'Call order' "$scratch/whole/index.html" || { echo "the manual is not the main page"; exit 1; }

# A function without a word is found.
printf '/** @file */\n/** More. */\nstruct More { int word; };\nvoid VekBf_More(int times);\n' >"$scratch/planted.h"
! make_reference "$scratch/planted.h" "$scratch/planted" || { echo "a function without a word is not noticed"; exit 1; }
grep -q 'not documented' "$scratch/planted.log" || { cat "$scratch/planted.log"; exit 1; }
echo "$(echo "$names" | wc -l) names"
