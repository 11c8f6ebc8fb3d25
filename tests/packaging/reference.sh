#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The reference is made without a warning and explains all that the headers declare; what is left unexplained is found.
#
#   reference.sh DOXYGEN DOXYFILE SCRATCH_DIR HEADER...
set -eu
doxygen=$1
doxyfile=$2
scratch=$3
shift 3
rm -rf "$scratch"
mkdir -p "$scratch"

# make_reference FOLDER HEADER...: what stands later in the file counts.
make_reference() {
  folder=$1
  shift
  mkdir "$folder"
  { cat "$doxyfile" && printf 'OUTPUT_DIRECTORY = "%s"\nINPUT =\n' "$folder" && printf 'INPUT += "%s"\n' "$@"; } >"$folder.doxyfile"
  "$doxygen" "$folder.doxyfile" >"$folder.log" 2>&1
}

make_reference "$scratch/whole" "$@" || { cat "$scratch/whole.log"; exit 1; }
names=$(cat "$@" | grep -o '\bVek[A-Za-z_]*\|\bVEK_[A-Z0-9_]*[A-Z0-9]' |
  grep -vx 'VekBf\|VekBfInstance\|VEK_BF_H\|VEK_BF_ERR\|VEK_BF_ENUM_WIDTH\|VEK_DIRECTION_H\|VEK_STREAM_H\|VekDirInstance\|VekBfLayoutOfTheRecords' | sort -u)
[ "$(echo "$names" | wc -l)" -ge 30 ] || { echo "next to no names in the headers"; exit 1; }
for name in $names; do
  grep -rqE "(memItemRight|fieldname).*\b$name\b" "$scratch/whole" --include='*.html' ||
    { echo "$name is not in the reference"; exit 1; }
done
grep -q 'Call order' "$scratch/whole/index.html" || { echo "the manual is not the main page"; exit 1; }

# A function without a word is found.
printf '/** @file */\n/** More. */\nstruct More { int word; };\nvoid VekBf_More(int times);\n' >"$scratch/planted.h"
! make_reference "$scratch/planted" "$scratch/planted.h" || { echo "a function without a word is not noticed"; exit 1; }
grep -q 'not documented' "$scratch/planted.log" || { cat "$scratch/planted.log"; exit 1; }
echo "$(echo "$names" | wc -l) names"
