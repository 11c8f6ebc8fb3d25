#!/bin/sh
# SPDX-License-Identifier: MIT
#
# scripts/release, the parts of it that need no other compiler: made twice with the same bytes, and complete.
#
#   release.sh TREE VERSION SCRATCH
set -eu
tree=$1 version=$2 scratch=$3
git -C "$tree" rev-parse --git-dir >/dev/null 2>&1 || { echo "no git repository"; exit 77; }
rm -rf "$scratch"
"$tree/scripts/release" --no-install --only source --only python --check "$scratch/made"
cd "$scratch/made"
sha256sum -c SHA256SUMS
name=vekbf-$version
git -C "$tree" ls-tree -r --name-only HEAD | sort >"$scratch/wanted"
tar -tf "$name.tar.xz" | sed -n "s,^$name/\(.*[^/]\)\$,\1,p" | sort | diff "$scratch/wanted" - || exit 1
# What was unpacked is the commit, and names its version everywhere.
tar -xf "$name.tar.xz"
git -C "$tree" show HEAD:CMakeLists.txt | cmp - "$name/CMakeLists.txt"
/usr/bin/python3 -B "$name/tests/packaging/check_recipes.py" "$name" "$version"
/usr/bin/python3 -m zipfile -l "$name-py3-none-any.whl" >"$scratch/wheel"
tar -tf "$name.tar.gz" >"$scratch/sdist"
for module in vekbf/beamformer.py vekbf_lab/demo.py; do
  grep -q "^$module " "$scratch/wheel" || { echo "the wheel lacks $module"; exit 1; }
  grep -qx "$name/$module" "$scratch/sdist" || { echo "the source distribution lacks $module"; exit 1; }
done
for wanted in "DocumentName: $name" 'FileName: ./src/api/exports.cpp' 'LicenseInfoInFile: MIT' 'PackageName: libsndfile1'; do
  grep -qx "$wanted" "$name.spdx" || { echo "the bill of materials lacks '$wanted'"; exit 1; }
done
