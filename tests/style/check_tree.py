#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The rules of the source tree that no compiler checks.

    check_tree.py ROOT     prints every violation; fails if there is one, or nothing to look at
"""
import os
import re
import sys
from xml.etree import ElementTree

# Arrows point down only. What each folder of src/ may include, besides itself.
ARROWS = {
    # A host of the two libraries below it: it knows what they export and the rooms that hold them, not their parts.
    "stream": {"direction", "api", "simd", "base"},
    "direction": {"fft", "noise", "math", "simd", "base"},
    "api": {"bf", "fft", "noise", "math", "simd", "base"},
    "bf": {"fft", "noise", "math", "simd", "base"},
    "fft": {"math", "simd", "base"},
    "noise": {"math", "simd", "base"},
    "math": {"simd", "base"},
    "simd": {"base"},
    "base": set(),
}
PUBLIC_HEADERS = {"vek_bf.h", "vek_direction.h", "vek_stream.h"}

# The records that the plain model works on, and the sizes.
MODEL_MAY_INCLUDE = {
    "base/instance.h", "base/complex.h", "base/sizes.h", "fft/fft.h", "fft/fft_engine.h", "noise/mcra2.h", "noise/vad.h",
    "vek_bf.h",
}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def files(root, folder, suffixes):
    """Paths below root/folder, relative to root."""
    for where, _, names in os.walk(os.path.join(root, folder)):
        for name in sorted(names):
            if os.path.splitext(name)[1] in suffixes:
                yield os.path.relpath(os.path.join(where, name), root)


def includes(root, path):
    """(line number, '<' or '"', name) of every include line."""
    with open(os.path.join(root, path), encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            match = INCLUDE.match(line)
            if match:
                yield number, match.group(1), match.group(2)


def sources(root):
    return list(files(root, "src", {".h", ".cpp", ".c", ".inc"}))


def arrows(root):
    """No file of src/ includes one of a folder above its own."""
    seen, bad = sources(root), []
    for path in seen:
        folder = path.split("/")[1]
        if folder not in ARROWS or path.count("/") < 2:
            bad.append(f"{path}: not in a folder that has its place in the arrows")
            continue
        for number, kind, name in includes(root, path):
            if kind == "<" or name in PUBLIC_HEADERS:
                continue
            target = name.split("/")[0]
            allowed = target == folder or target in ARROWS[folder]
            if not allowed or "/" not in name or ".." in name or not os.path.exists(os.path.join(root, "src", name)):
                bad.append(f"{path}:{number}: may not include \"{name}\"")
    return seen, bad


def model(root):
    """The plain model includes the records of src/, and none of its code."""
    seen, bad = list(files(root, "tests/reference", {".h", ".cpp"})), []
    for path in seen:
        for number, kind, name in includes(root, path):
            own = os.path.exists(os.path.join(root, "tests", name)) and name.startswith("reference/")
            if kind == '"' and not own and name not in MODEL_MAY_INCLUDE:
                bad.append(f"{path}:{number}: the model may not include \"{name}\"")
    return seen, bad


def reached(drawn, start):
    """The folders that the drawn arrows lead to from this one."""
    found, todo = set(), [start]
    while todo:
        for target in drawn.get(todo.pop(), ()):
            if target not in found:
                found.add(target)
                todo.append(target)
    return found


def drawing(root):
    """The drawing of the arrows shows the rule above: each arrow is allowed, and what is allowed is a way along them."""
    path, drawn, bad = "docs/pictures/rooms.svg", {}, []
    if not os.path.exists(os.path.join(root, path)):
        return [], [f"{path}: missing"]
    for element in ElementTree.parse(os.path.join(root, path)).iter():
        if "data-from" in element.attrib:
            drawn.setdefault(element.get("data-from"), set()).add(element.get("data-to"))
    for folder in sorted({*ARROWS, *drawn}):
        allowed = ARROWS.get(folder, set())
        bad += [f"{path}: draws {folder} -> {target}" for target in sorted(drawn.get(folder, set()) - allowed)]
        bad += [f"{path}: no way from {folder} to {target}" for target in sorted(allowed - reached(drawn, folder))]
    return [path], bad


def main():
    if len(sys.argv) != 2:
        print("usage: check_tree.py ROOT", file=sys.stderr)
        return 2
    failed = 0
    for check in (arrows, model, drawing):
        seen, bad = check(sys.argv[1])
        for line in bad:
            print(line)
        print(f"{check.__name__}: {len(seen)} files, {len(bad)} violations")
        failed |= bool(bad) or not seen
    return int(failed)


if __name__ == "__main__":
    sys.exit(main())
