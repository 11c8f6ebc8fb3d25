#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the recipes say about the library is true: version, options, licence. They themselves are not run.

    check_recipes.py ROOT VERSION
"""

import hashlib
import re
import sys
from pathlib import Path


def main():
    root, version = Path(sys.argv[1]), sys.argv[2]
    # What is on unless somebody says otherwise.
    option = r'^option\((VEKBF_BUILD_\w+) "[^"]*" \$\{VEKBF_IS_TOP_LEVEL\}\)'
    options = set(re.findall(option, (root / "CMakeLists.txt").read_text(), re.MULTILINE))
    assert options
    buildroot = (root / "packaging/buildroot/vekbf/vekbf.mk").read_text()
    (yocto,) = (root / "packaging/yocto").glob("*.bb")
    assert yocto.name == f"vekbf_{version}.bb", yocto.name
    assert f"VEKBF_VERSION = {version}\n" in buildroot
    licence = hashlib.md5((root / "LICENSE").read_bytes()).hexdigest()
    assert f"file://LICENSE;md5={licence}\"" in yocto.read_text()
    for text in (buildroot, yocto.read_text()):
        given = set(re.findall(r"-D(VEKBF_\w+)=OFF", text))
        assert given == options, given
        assert "ntested" in text
    print("the recipes fit")


if __name__ == "__main__":
    main()
