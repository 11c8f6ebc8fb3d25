#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The rules of the source tree that no compiler checks.

    check_tree.py CHECK ROOT     prints every violation; fails if there is one, or nothing to look at

CHECK is the name of a function below. tests/style/check_tree_test.py plants violations of each.
"""
import os
import re
import sys

# Arrows point down only. What each folder of src/ may include, besides itself.
ARROWS = {
    "api": {"bf", "fft", "noise", "simd", "math", "base"},
    "bf": {"fft", "noise", "simd", "math", "base"},
    "fft": {"simd", "math", "base"},
    "noise": {"simd", "math", "base"},
    # The two of this level may know each other, file by file without a circle.
    "simd": {"math", "base"},
    "math": {"simd", "base"},
    "base": set(),
}
# The instance record is the one hall that api and bf share.
SHARED_RECORD = "api/instance.h"
PUBLIC_HEADER = "vek_bf.h"

# What the library may include from the system: the C library, and headers of C++ that need no run-time library.
SYSTEM_HEADERS = {
    "stddef.h", "stdint.h", "stdio.h", "stdlib.h", "string.h", "math.h", "algorithm", "array", "bit", "cmath", "cstddef",
    "cstdint", "cstdio", "cstdlib", "cstring", "limits", "new", "type_traits", "utility", "arm_neon.h", "emmintrin.h",
}

# The records that the plain model works on, and the sizes.
MODEL_MAY_INCLUDE = {
    "api/instance.h", "fft/fft.h", "fft/fft_engine.h", "noise/mcra2.h", "noise/vad.h", "base/complex.h", "base/sizes.h",
    "vek_bf.h",
}

LONGEST_FILE = 500
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
SKIPPED_FOLDERS = {".git", "build", "out", "__pycache__", ".cache", ".vscode"}


def files(root, folder="", suffixes=None):
    """Paths below root/folder, relative to root."""
    for where, folders, names in os.walk(os.path.join(root, folder)):
        folders[:] = sorted(f for f in folders if f not in SKIPPED_FOLDERS)
        for name in sorted(names):
            if suffixes is None or os.path.splitext(name)[1] in suffixes:
                yield os.path.relpath(os.path.join(where, name), root)


def lines(root, path):
    with open(os.path.join(root, path), encoding="utf-8") as file:
        return file.read().splitlines()


def includes(root, path):
    """(line number, '<' or '"', name) of every include line."""
    for number, line in enumerate(lines(root, path), 1):
        match = INCLUDE.match(line)
        if match:
            yield number, match.group(1), match.group(2)


def sources(root):
    return list(files(root, "src", {".h", ".cpp", ".c", ".inc"}))


def arrows(root):
    """No file of src/ includes one of a folder above its own; the instance record includes no module."""
    seen, bad = sources(root), []
    for path in seen:
        folder = path.split("/")[1]
        if folder not in ARROWS or path.count("/") < 2:
            bad.append(f"{path}: not in a folder that has its place in the arrows")
            continue
        for number, kind, name in includes(root, path):
            if kind == "<" or name == PUBLIC_HEADER:
                continue
            target = name.split("/")[0]
            allowed = target == folder or target in ARROWS[folder]
            if f"src/{SHARED_RECORD}" == path:
                allowed = target == "base"
            elif folder == "bf" and name == SHARED_RECORD:
                allowed = True
            if not allowed or "/" not in name or ".." in name or not os.path.exists(os.path.join(root, "src", name)):
                bad.append(f"{path}:{number}: may not include \"{name}\"")
    return seen, bad


def circles(root):
    """No header includes itself by a detour."""
    seen, bad = sources(root), []
    graph = {p: [f"src/{n}" for _, k, n in includes(root, p) if k == '"'] for p in seen}
    state = {}

    def visit(path, trail):
        if state.get(path) == "done":
            return
        if path in trail:
            bad.append("circle: " + " -> ".join(trail[trail.index(path):] + [path]))
            return
        for target in graph.get(path, []):
            visit(target, trail + [path])
        state[path] = "done"

    for path in seen:
        visit(path, [])
    return seen, bad


def system_headers(root):
    """The library includes the C library and light headers of C++ only."""
    seen, bad = sources(root), []
    for path in seen:
        for number, kind, name in includes(root, path):
            if kind == "<" and name not in SYSTEM_HEADERS:
                bad.append(f"{path}:{number}: <{name}> is not among the headers of the library")
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


def licence(root):
    """Every source file says its licence in its first line, or in the second behind a #! line."""
    seen, bad = [], []
    for path in files(root):
        suffix = os.path.splitext(path)[1]
        if suffix in {".h", ".hpp", ".c", ".cpp", ".inc", ".py", ".sh"}:
            pass
        elif suffix == "" and not path.endswith("LICENSE"):
            with open(os.path.join(root, path), "rb") as file:
                if file.read(2) != b"#!":
                    continue
        else:
            continue
        seen.append(path)
        head = lines(root, path)[:2]
        if head and head[0].startswith("#!"):
            head = head[1:]
        if not head or not re.fullmatch(r"(//|/\*|#) SPDX-License-Identifier: MIT( \*/)?", head[0]):
            bad.append(f"{path}:1: no SPDX-License-Identifier: MIT")
    return seen, bad


def length(root):
    """No file of src/ is longer than can be read in one go; tables that a program in the tree made are not read."""
    seen, bad = sources(root), []
    for path in seen:
        text = lines(root, path)
        made_by = re.search(r"^// Made by (\S+); do not edit\.$", "\n".join(text[:6]), re.MULTILINE)
        if made_by and os.path.isfile(os.path.join(root, made_by.group(1))):
            continue
        count = len(text)
        if count > LONGEST_FILE:
            bad.append(f"{path}: {count} lines, more than {LONGEST_FILE}")
    return seen, bad


def reciprocal_callers(root):
    """0 and subnormals are outside the reciprocal's domain: every caller needs its proof.

    The step sizes divide by a power plus a regularizer; reciprocal_test.cpp shows that this is at least 0.001.
    A new caller shows the like and is added here.
    """
    seen, bad = sources(root), []
    proven = {"src/bf/sidelobe_canceller.cpp"}
    for path in seen:
        if path.startswith(("src/simd/", "src/math/")) or path in proven:
            continue
        for number, line in enumerate(lines(root, path), 1):
            if re.search(r"\breciprocal_(two_step|estimate)\b", line.split("//")[0]):
                bad.append(f"{path}:{number}: a caller of the reciprocal without a proof of its divisors")
    return seen, bad


CHECKS = {c.__name__: c for c in (arrows, circles, system_headers, model, licence, length, reciprocal_callers)}


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in CHECKS:
        print(f"usage: check_tree.py {'|'.join(CHECKS)} ROOT", file=sys.stderr)
        return 2
    seen, bad = CHECKS[sys.argv[1]](sys.argv[2])
    for line in bad:
        print(line)
    if not seen:
        print("nothing to look at")
    print(f"{sys.argv[1]}: {len(seen)} files, {len(bad)} violations")
    return 1 if bad or not seen else 0


if __name__ == "__main__":
    sys.exit(main())
