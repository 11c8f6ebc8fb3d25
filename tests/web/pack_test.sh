#!/bin/sh
# SPDX-License-Identifier: MIT
#
# `npm pack` makes an archive of the package that holds the module, its sources and its types, and works when unpacked.
#
#   pack_test.sh NPM PACKAGE SCRATCH
set -eu
npm=$1 package=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"
"$npm" pack --offline --silent --cache "$scratch/cache" --pack-destination "$scratch" "$package" >/dev/null
tar xzf vekbf-*.tgz
for file in package.json README.md LICENSE vekbf.wasm src/index.js src/worklet.js types/index.d.ts; do
  [ -s "package/$file" ] || { echo "$file is missing in the archive"; exit 1; }
done
echo "$(wc -c <package/vekbf.wasm) bytes of module, $(gzip -9c package/vekbf.wasm | wc -c) compressed"
