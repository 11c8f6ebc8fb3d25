#!/bin/sh
# SPDX-License-Identifier: MIT
#
# The tests of the page, in a chromium that is installed; 77 with a line where that or what drives it is missing.
#
#   page_test.sh NODE NPM CHROMIUM SOURCE SCRATCH
set -eu
node=$1 npm=$2 chromium=$3 source=$4 scratch=$5
if [ ! -x "$chromium" ] || [ ! -x "$npm" ]; then
  echo "skipped: chromium or npm is missing"
  exit 77
fi
mkdir -p "$scratch"
if ! cmp -s "$source/package-lock.json" "$scratch/package-lock.json" || [ ! -f "$scratch/complete" ]; then
  rm -rf "$scratch"
  mkdir -p "$scratch"
  cp "$source/package.json" "$source/package-lock.json" "$scratch"
  if ! (cd "$scratch" && "$npm" ci --ignore-scripts --no-audit --no-fund >log 2>&1); then
    tail -3 "$scratch/log"
    echo "skipped: npm could not install what drives the browser"
    exit 77
  fi
  touch "$scratch/complete"
fi
VEKBF_NODE_MODULES=$scratch VEKBF_CHROMIUM=$chromium exec "$node" --test "$source/page_test.mjs"
