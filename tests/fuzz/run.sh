#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Lets libFuzzer search with one target for VEKBF_FUZZ_SECONDS (25) seconds, from what earlier runs of this build
# found and the stored inputs.
#
#   run.sh PROGRAM WORK CORPUS REGRESSIONS
#
# An input that fails is kept as WORK/findings/...: give it to PROGRAM to see it fail again, and put it into the
# regressions with its repair.
set -eu
program=$1 work=$2 corpus=$3 regressions=$4
mkdir -p "$work/grown" "$work/findings"
exec "$program" -max_total_time="${VEKBF_FUZZ_SECONDS:-25}" -max_len=4096 -timeout=30 -print_final_stats=1 \
  -verbosity=1 -artifact_prefix="$work/findings/" "$work/grown" "$corpus" "$regressions"
