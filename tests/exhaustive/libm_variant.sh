#!/bin/sh
# SPDX-License-Identifier: MIT
# usage: libm_variant.sh PROGRAM TUNABLE - fails unless the tunable changes the mathematics library's doubles.
if ! grep -qw fma /proc/cpuinfo; then
  echo "this processor has no fused multiply-add: there is only one variant"
  exit 0
fi
usual=$("$1") || exit 1
plain=$(env "$2" "$1") || exit 1
echo "usual $usual, plain $plain"
[ "$usual" != "$plain" ]
