#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the recipes say about the library is true: version, options, licence, symbols. They themselves are not run.

    check_recipes.py ROOT VERSION
"""

import hashlib
import re
import sys
from pathlib import Path


def check_symbols(root, product, package, major):
    """The package's symbols are those that the library exports."""
    symbols = (root / f"debian/{package}.symbols").read_text()
    assert symbols.startswith(f"lib{product}.so.{major} {package} #MINVER#\n")
    exported = set(re.findall(r"^    (Vek\w+);$", (root / f"cmake/{product}.map").read_text(), re.MULTILINE))
    assert exported
    node = f"{product.upper().replace('-', '_')}_{major}"
    assert set(re.findall(r"^ (\w+)@(\w+) ", symbols, re.MULTILINE)) == {(n, node) for n in exported | {node}}


def check_debian(root, version):
    debian = root / "debian"
    assert (debian / "changelog").read_text().startswith(f"vekbf ({version}) "), "version of debian/changelog"
    major = version.split(".")[0]
    for product in ("vekbf", "vekbf-direction", "vekbf-stream"):
        check_symbols(root, product, f"lib{product}{major}", major)
    licence = (root / "LICENSE").read_text().split("\n\n", 2)[2]
    copyright_file = (debian / "copyright").read_text().replace("\n .\n", "\n\n").replace("\n ", "\n")
    assert licence in copyright_file, "the licence in debian/copyright"
    control = (debian / "control").read_text()
    packages = re.findall(r"^Package: (.*)$", control, re.MULTILINE)
    libraries = [f"libvekbf{major}", f"libvekbf-direction{major}", f"libvekbf-stream{major}", "libvekbf-dev"]
    plugins = ["vekbf-ladspa", "vekbf-lv2", "gstreamer1.0-vekbf", "libasound2-plugin-vekbf", "vekbf-pipewire"]
    assert packages == [*libraries, "vekbf-tools", "vekbf-data", "python3-vekbf", *plugins], packages
    assert "neon-support [armhf]" in control and "-mfpu=neon" in (debian / "rules").read_text()


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
    check_debian(root, version)
    changes = re.search(r"^## (.*)$", (root / "CHANGELOG.md").read_text(), re.MULTILINE)[1]
    assert changes == version, f"CHANGELOG.md begins with {changes}"
    print("the recipes fit")


if __name__ == "__main__":
    main()
