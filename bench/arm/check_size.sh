#!/bin/sh
# SPDX-License-Identifier: MIT
#
# A stripped object has at most so many bytes: check_size.sh STRIP OBJECT BYTES
set -eu
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
"$1" -o "$stripped" "$2"
size=$(wc -c <"$stripped")
echo "$size bytes of at most $3"
[ "$size" -le "$3" ]
