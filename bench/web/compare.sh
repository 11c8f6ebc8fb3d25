#!/bin/bash
# SPDX-License-Identifier: MIT
#
# Blocks under node beside the native library, in turns, the best of each: the table of "In a browser" in docs/performance.md.
#
#   bench/web/compare.sh RELEASE_BUILD WASM_BUILD
set -euo pipefail
native=$(realpath "$1")/bench/web_blocks package=$(realpath "$2")/web/package
cd "$(dirname "$0")"
results=$(mktemp)
trap 'rm -f "$results"' EXIT
for turn in 1 2 3 4 5 6 7 8; do
  "$native" | sed 's/^/native /' >>"$results"
  node blocks.mjs "$package" | sed 's/^/node /' >>"$results"
done
echo "| block of 128 frames | native, µs | under node, µs | ratio |"
echo "|---|---|---|---|"
awk '{ key = $2 ", " $3; if (!(($1, key) in best) || $4 < best[$1, key]) best[$1, key] = $4; if (!(key in seen)) { seen[key]; order[++n] = key } }
  END { for (i = 1; i <= n; ++i) { a = best["native", order[i]]; b = best["node", order[i]]; printf "| %s | %.2f | %.2f | %.2f |\n", order[i], a, b, b / a } }' "$results"
echo
echo "vekbf.wasm: $(wc -c <"$package/vekbf.wasm") bytes, $(gzip -9c "$package/vekbf.wasm" | wc -c) compressed."
