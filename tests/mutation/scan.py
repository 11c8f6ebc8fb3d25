# SPDX-License-Identifier: MIT
"""What of a source text may be mutated: the code of this build, without comments, strings and directives."""
from __future__ import annotations

import re
import subprocess
from pathlib import Path

_HIDDEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/"""  # comments
    r"""|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])'"""  # strings and characters
    r"""|^[ \t]*\#(?:\\\n|[^\n])*""",  # directives
    re.MULTILINE | re.DOTALL,
)
_ASSERTION = re.compile(r"static_assert\(")
_MARKER = re.compile(r'^# (\d+) "([^"]*)"')


def _blank(text: str) -> str:
    return re.sub(r"[^\n]", " ", text)


def closing(text: str, opening: int) -> int:
    """The place of the bracket that closes the one at `opening`; -1 without one."""
    pairs = {"(": ")", "{": "}", "[": "]"}
    stack = []
    for at in range(opening, len(text)):
        if text[at] in pairs:
            stack.append(pairs[text[at]])
        elif text[at] in ")}]":
            if not stack or stack.pop() != text[at]:
                return -1
            if not stack:
                return at
    return -1


def masked(text: str) -> str:
    """The same text with spaces for everything that no rule may touch, so that places stay the same."""
    code = _HIDDEN.sub(lambda match: _blank(match.group()), text)
    for match in list(_ASSERTION.finditer(code)):
        end = closing(code, match.end() - 1)
        code = code[: match.start()] + _blank(code[match.start() : end]) + code[end:]
    return code


def compiled_lines(compiler: str, root: Path, path: str, options: list[str]) -> set[int]:
    """The numbers of the lines of `path` that a compiler keeps after its preprocessor."""
    command = [compiler, "-std=c++20", "-E", "-x", "c++", "-Iinclude", "-Isrc", *options, path]
    output = subprocess.run(command, cwd=root, capture_output=True, text=True, check=True).stdout
    kept: set[int] = set()
    where, number = "", 0
    for line in output.split("\n"):
        marker = _MARKER.match(line)
        if marker:
            number, where = int(marker.group(1)), marker.group(2)
            continue
        if where == path and line.strip():
            kept.add(number)
        number += 1
    return kept


def without_other_lines(code: str, kept: set[int]) -> str:
    """Blanks the lines that are not kept."""
    lines = code.split("\n")
    return "\n".join(line if number in kept else " " * len(line) for number, line in enumerate(lines, 1))
