#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Fails if the binary interface of a shared object is not exactly the one of the baseline: additions count too.
#
#   compare.sh ABIDIFF BASELINE LIBRARY
set -u
[ -s "$2" ] || { echo "no baseline $2"; exit 1; }
"$1" --harmless --no-show-locs "$2" "$3"
status=$?
[ $status -eq 0 ] || echo "the binary interface is not that of $2 (abidiff ended with $status);
where that is meant: cmake --build BUILD --target abi_baseline, in the builds release, armhf and arm64"
exit $status
