# SPDX-License-Identifier: MIT
"""All mutants of the library's sources, and a sample of them that a seed fixes."""
from __future__ import annotations

import random
from collections.abc import Iterable
from dataclasses import dataclass
from pathlib import Path

import rules
import scan

MODULES = ("api", "bf", "fft", "noise", "simd", "math", "base", "tables", "neon")
# Numbers that programs in the tree made: so many that a sample of `math` would hold little else.
TABLES = "tables"
# Text that only 32-bit ARM compiles.
NEON = "neon"
NEON_COMPILER = "arm-linux-gnueabihf-g++"
NEON_OPTIONS = ["-mcpu=cortex-a7", "-mfpu=neon", "-mfloat-abi=hard"]


@dataclass(frozen=True)
class Mutant:
    module: str
    path: str
    line: int
    column: int
    rule: str
    variant: int
    start: int
    end: int
    text: str

    @property
    def id(self) -> str:
        return f"{self.path}:{self.line}:{self.column}:{self.rule}:{self.variant}"

    def applied(self, source: str) -> str:
        return source[: self.start] + self.text + source[self.end :]

    def shown(self, source: str) -> str:
        """The changed lines before and after, on one line each."""

        def lines(text: str, end: int) -> str:
            begin = text.rfind("\n", 0, self.start) + 1
            return " ".join(text[begin : text.find("\n", end)].split())

        changed = self.applied(source)
        return f"- {lines(source, self.end)}\n+ {lines(changed, self.start + len(self.text))}"


def in_text(path: str, module: str, source: str, code: str) -> list[Mutant]:
    """Every mutant of one file; `code` is what of `source` may be touched."""
    found: list[Mutant] = []
    seen = {source}
    for rule in rules.RULES:
        variants: dict[int, int] = {}
        for change in sorted(rule(code), key=lambda c: c.start):
            line = source.count("\n", 0, change.start) + 1
            column = change.start - (source.rfind("\n", 0, change.start) + 1) + 1
            variants[change.start] = variants.get(change.start, -1) + 1
            mutant = Mutant(module, path, line, column, rule.__name__, variants[change.start],
                            change.start, change.end, change.text)  # fmt: skip
            text = mutant.applied(source)
            if text not in seen:
                seen.add(text)
                found.append(mutant)
    return found


def of_tree(root: Path, wanted: Iterable[str] = MODULES) -> list[Mutant]:
    """Every mutant of src/ below `root` in the wanted modules, in the order of paths and places."""
    wanted = set(wanted)
    found: list[Mutant] = []
    for file in sorted((root / "src").rglob("*")):
        if file.suffix not in {".h", ".cpp"}:
            continue
        path = str(file.relative_to(root))
        folder = path.split("/")[1]
        module = TABLES if path.endswith("_table.h") else folder
        source = file.read_text(encoding="utf-8")
        code = scan.masked(source)
        here = scan.compiled_lines("g++", root, path, []) if "neon" not in path else set()
        if module in wanted:
            found += in_text(path, module, source, scan.without_other_lines(code, here))
        if NEON in wanted and "__ARM_NEON" in source or "neon" in path and NEON in wanted:
            there = scan.compiled_lines(NEON_COMPILER, root, path, NEON_OPTIONS) - here
            found += in_text(path, NEON, source, scan.without_other_lines(code, there))
    return found


def order(mutants: list[Mutant], seed: int, module: str) -> list[Mutant]:
    """The mutants of a module in the order in which a sample takes them: one of each rule in turn, each rule
    shuffled by the seed, so that the many constants do not crowd out the rest."""
    piles: dict[str, list[Mutant]] = {}
    for mutant in mutants:
        if mutant.module == module:
            piles.setdefault(mutant.rule, []).append(mutant)
    for rule, pile in piles.items():
        random.Random(f"{seed}:{module}:{rule}").shuffle(pile)
    ordered: list[Mutant] = []
    while any(piles.values()):
        for pile in piles.values():
            if pile:
                ordered.append(pile.pop())
    return ordered
