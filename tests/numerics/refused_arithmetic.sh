#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Sources compiled without the project's flags stop, and say why, where arithmetic would not be that of IEEE 754.
#
#   refused_arithmetic.sh SOURCE_DIR COMPILER FLAG...     each flag is one that must be refused
set -eu
source=$1 compiler=$2
shift 2
compile() { echo '#include "base/complex.h"' | LC_ALL=C "$compiler" -std=c++20 -fsyntax-only -I"$source/src" "$@" -x c++ - 2>&1; }

said=$(compile -O2) || { echo "refused without a reason: $said"; exit 1; }
for flag in "$@"; do
  if said=$(compile "$flag"); then
    echo "$flag is not refused"
    exit 1
  fi
  case $said in
    *"VekBf needs"*) ;;
    *) echo "$flag is refused for another reason: $said"; exit 1 ;;
  esac
done
