#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The tools of the packages for different architectures give the same samples. A Cortex-A8, whose vector unit has no
# fused instruction, is the least processor that neon-support lets through: nothing else is emulated.
#
#   same_samples.sh PACKAGES ARCHITECTURE...     PACKAGES holds a folder per architecture
set -eu
packages=$1
shift
recording=$(dirname "$0")/../../debian/tests/recording.py
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
python3 -B "$recording" "$scratch/in.wav"
for arch in "$@"; do
  mkdir "$scratch/$arch"
  for package in libvekbf-stream2 vekbf-tools; do dpkg -x "$packages/$arch/$package"_*_"$arch".deb "$scratch/$arch"; done
  libraries=$(dirname "$(find "$scratch/$arch" -name libvekbf-stream.so.2)")
  case "$arch" in
    "$(dpkg --print-architecture)") run="env LD_LIBRARY_PATH=$libraries" ;;
    armhf) run="qemu-arm -cpu cortex-a8 -E LD_LIBRARY_PATH=$libraries" ;;
    *) echo "no emulator is known for $arch" >&2; exit 1 ;;
  esac
  for algorithm in fixed adaptive; do
    $run "$scratch/$arch/usr/bin/vekbf" process "$scratch/in.wav" "$scratch/$arch/$algorithm.wav" \
      --array line:4:8cm --angle 60 --algorithm $algorithm
  done
done
cd "$scratch"
sha256sum -- */*.wav
for algorithm in fixed adaptive; do
  [ "$(sha256sum -- */$algorithm.wav | cut -d' ' -f1 | sort -u | wc -l)" = 1 ] || { echo "$algorithm differs"; exit 1; }
done
! cmp -s "$1/fixed.wav" "$1/adaptive.wav" || { echo "one algorithm only"; exit 1; }
