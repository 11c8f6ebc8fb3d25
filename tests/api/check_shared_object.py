#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks what a shared object shows and needs: the functions of its header, libc and libm, hardened."""

import argparse
import os
import re
import subprocess
import sys
from pathlib import Path

NEEDED = {"libc.so.6", "libm.so.6"}
# 32-bit ARM names its loader too where the stack protector is on.
NEEDED_ON_ARM = {"ld-linux-armhf.so.3"}


def read(readelf, *arguments):
    # readelf would write in the language of its user.
    environment = {**os.environ, "LC_ALL": "C"}
    return subprocess.run(
        [readelf, "--wide", *arguments], check=True, capture_output=True, text=True, env=environment
    ).stdout


# What the objects whose header promises no allocation, lock, system call or line may take from libc and libm. (`raise` is
# what division by zero ends in on 32-bit ARM; the weak names and those of the stack protector are in every object.)
MATHEMATICS = {"exp", "j0", "j1", "log", "pow"}
IMPORTS = {"vekbf-direction": {"memcpy", "memmove", "memset", "raise"} | MATHEMATICS}
IN_EVERY_OBJECT = r"_ITM_\w+|__gmon_start__|__cxa_finalize|__stack_chk_\w+|__mem\w+_chk"

# Machines on which debuggers and profilers walk the stack by tables. (32-bit ARM has tables of its own, for exceptions.)
UNWOUND = r"Machine:\s+(Advanced Micro Devices X86-64|AArch64)"


def unwind_faults(readelf, library, symbols):
    frames = read(readelf, "--debug-dump=frames", library)
    ranges = [(int(a, 16), int(b, 16)) for a, b in re.findall(r" FDE .*pc=([0-9a-f]+)\.\.([0-9a-f]+)", frames)]
    for value, size, name in re.findall(r":\s+([0-9a-f]+)\s+(\d+)\s+FUNC\s+GLOBAL\s+DEFAULT\s+\d+\s+(\w+)", symbols):
        start = int(value, 16)
        if not any(a <= start and start + int(size) <= b for a, b in ranges):
            yield f"has no unwind table for {name}"
    sections = read(readelf, "--section-headers", library)
    text = int(re.search(r"\]\s+\.text\s+PROGBITS\s+\S+\s+\S+\s+([0-9a-f]+)", sections).group(1), 16)
    covered = sum(b - a for a, b in ranges)
    if covered < 0.9 * text:
        yield f"has unwind tables for {covered} of {text} bytes of code"


def declared(header):
    """The functions that a public header declares."""
    text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.DOTALL)
    return set(re.findall(r"\b(Vek[A-Z]\w+_\w+)\(", text))


def faults(readelf, library, product, public_header):
    version_node = product.upper().replace("-", "_") + "_2"
    header = read(readelf, "--file-header", library)
    dynamic = read(readelf, "--dynamic", library)
    segments = read(readelf, "--program-headers", library)
    symbols = read(readelf, "--dyn-syms", library)

    allowed = NEEDED | (NEEDED_ON_ARM if re.search(r"Machine:\s+ARM\b", header) else set())
    needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic))
    if not needed <= allowed or "libc.so.6" not in needed:
        yield f"needs {sorted(needed)} instead of {sorted(allowed)}"

    soname = re.findall(r"\(SONAME\).*\[(.*)\]", dynamic)
    if soname != [f"lib{product}.so.2"]:
        yield f"SONAME is {soname} instead of lib{product}.so.2"

    for tag in ("TEXTREL", "RPATH", "RUNPATH"):
        if f"({tag})" in dynamic or (tag == "TEXTREL" and re.search(r"FLAGS.*TEXTREL", dynamic)):
            yield f"has {tag}"

    if "GNU_RELRO" not in segments:
        yield "has no GNU_RELRO segment"
    if not re.search(r"\(FLAGS\).*BIND_NOW|\(FLAGS_1\).*\bNOW\b|\(BIND_NOW\)", dynamic):
        yield "is not bound at load time, so that its tables stay writable"

    stack = re.findall(r"GNU_STACK\s+(?:0x\S+\s+){5}(.{3})", segments)
    if len(stack) != 1 or "E" in stack[0]:
        yield f"has an executable stack, or does not say: {stack}"
    for line in segments.splitlines():
        if re.match(r"\s+LOAD\s", line) and re.search(r"\sRWE\s", line):
            yield f"has a segment that is writable and executable: {line.strip()}"

    defined = set()
    for line in symbols.splitlines():
        columns = line.split()
        if len(columns) < 8 or not columns[0].rstrip(":").isdigit():
            continue
        kind, binding, section, name = columns[3], columns[4], columns[6], columns[7]
        if section == "UND" or binding == "LOCAL":
            continue
        if kind == "OBJECT" and section == "ABS" and name.split("@")[0] == version_node:
            continue
        base, _, version = name.partition("@@")
        if kind != "FUNC" or version != version_node:
            yield f"defines {kind} {name}"
        defined.add(base)
    if re.search(UNWOUND, header):
        yield from unwind_faults(readelf, library, symbols)

    wanted = declared(public_header)
    if defined != wanted or not wanted:
        yield f"exports {sorted(defined ^ wanted)} too many or too few"

    undefined = re.findall(r"\sUND[ \t]+(\S+)", symbols)
    if product in IMPORTS:
        imports = {name.split("@")[0] for name in undefined}
        more = [n for n in sorted(imports - IMPORTS[product]) if not re.fullmatch(IN_EVERY_OBJECT, n)]
        if more:
            yield f"imports {more}"
    runtime = [name for name in undefined if re.match(r"_Z|__cxa_(?!finalize)|__gxx|_Unwind", name)]
    if runtime:
        yield f"needs the C++ run-time library: {runtime}"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--readelf", default="readelf")
    parser.add_argument("--product", required=True, help="vekbf for libvekbf.so.2")
    parser.add_argument("--header", required=True, type=Path)
    parser.add_argument("library")
    arguments = parser.parse_args()
    found = list(faults(arguments.readelf, arguments.library, arguments.product, arguments.header))
    for fault in found:
        print(f"{arguments.library} {fault}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
