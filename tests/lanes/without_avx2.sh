#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The shared object as it is on a processor without AVX2, by the emulator: it gives the stored samples and reaches no
# instruction that such a processor lacks. So that this can be believed, a program that uses AVX2 anyway must end there
# as an illegal instruction does; and with AVX2 the emulator lets it give the stored samples too.
#
#   without_avx2.sh EMULATOR LOADED_OBJECT OBJECT STREAM_DIGEST_TEST DIGESTS
set -u
emulator=$1 loaded_object=$2 object=$3 digest_test=$4 digests=$5
share=40  # one scene in so many
export GTEST_TOTAL_SHARDS=$share GTEST_SHARD_INDEX=7 GTEST_BRIEF=1
fail() { echo "$*"; exit 1; }

# No core file of the program that is expected to end so.
ulimit -c 0
VEKBF_TEST_TARGET=avx2-anyway "$emulator" -cpu Nehalem "$digest_test" >/dev/null 2>&1
[ $? = 132 ] || fail "AVX2 on a processor without it was not an illegal instruction: this emulator proves nothing"
VEKBF_TEST_TARGET=avx2 "$emulator" -cpu Nehalem "$digest_test" | grep -q '^skipped: ' || fail "nothing was skipped"
"$emulator" -cpu Nehalem "$loaded_object" "$object" "$digests" $share || fail "without AVX2: other samples, or an illegal instruction"
VEKBF_TEST_TARGET=avx2 "$emulator" -cpu max "$digest_test" || fail "with AVX2: other samples"
