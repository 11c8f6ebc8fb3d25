#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Which lines and branches the tests reach, from clang's source-based coverage.

    report.py [--justified FILE] [--scope NAME] [--lines] ROOT PATH[,PATH...] EXPORT...

EXPORT is what `llvm-cov export` wrote; several are added up, so that code that only one of the builds has counts there.
PATHs select files by their beginning below ROOT. Prints a table of the files and every line and branch that was not
reached. Fails when one of those is not in the list of justified ones, or the list names one that is reached. Each
entry of the list takes one line or branch: what is missed twice with the same text stands there twice.

With --lines, branches are counted, but none of them is missed.
A branch is one outcome, true or false, of a condition or of a part of one. Template instantiations are added up.
A line of FILE: scope | file | line, branch or rest | its text | reason
"rest" alone takes more than one: everything from the line with that text to the end of the file.
"""
from __future__ import annotations

import argparse
import json
import os
import sys
from collections import Counter, defaultdict
from typing import NamedTuple

Position = tuple[int, int, int, int]  # line, column, last line, column behind the end


class FileCoverage:
    """Counts of one source file."""

    def __init__(self) -> None:
        self.lines: dict[int, int] = defaultdict(int)
        self.branches: dict[Position, list[int]] = defaultdict(lambda: [0, 0])

    def add(self, exported: dict) -> None:
        for line, count in line_counts(exported["segments"]):
            self.lines[line] += count
        for *position, taken, not_taken, _file, _expanded, _kind in exported["branches"]:
            counts = self.branches[tuple(position)]  # type: ignore[index]
            counts[0] += taken
            counts[1] += not_taken


class Gap(NamedTuple):
    """Something that no test reaches."""

    path: str
    line: int
    kind: str
    text: str


def line_counts(segments: list[list]):
    """(line, count) of every line with code: the largest count of what begins there or comes in from above."""
    by_line: dict[int, list[list]] = defaultdict(list)
    for segment in segments:
        by_line[segment[0]].append(segment)
    if not segments:
        return
    wrapped = None
    for line in range(segments[0][0], segments[-1][0] + 1):
        here = by_line.get(line, [])
        starts = [s[2] for s in here if s[3] and s[4] and not s[5]]  # counted, an entry, no gap
        skipped = bool(here) and not here[0][3] and here[0][4]
        from_above = wrapped is not None and wrapped[3]
        if not skipped and (from_above or starts):
            yield line, max(starts + ([wrapped[2]] if from_above else []))
        if here:
            wrapped = here[-1]


def text_of(source: list[str], position: Position) -> str:
    first, start, last, end = position
    if first == last:
        return source[first - 1][start - 1:end - 1]
    parts = [source[first - 1][start - 1:], *source[first:last - 1], source[last - 1][:end - 1]]
    return " ".join(part.strip() for part in parts)


def gaps_of(path: str, coverage: FileCoverage, source: list[str]) -> tuple[list[Gap], int, int]:
    """What is not reached, and how many lines and outcomes of branches there are."""
    gaps = [Gap(path, line, "line", source[line - 1].strip()) for line, count in sorted(coverage.lines.items())
            if count == 0]
    outcomes = 0
    for position, counts in sorted(coverage.branches.items()):
        # The compiler decides these, instantiation by instantiation.
        if "if constexpr" in source[position[0] - 1]:
            continue
        outcomes += 2
        for outcome, count in zip(("true", "false"), counts):
            if count == 0:
                gaps.append(Gap(path, position[0], "branch", f"{text_of(source, position)}: {outcome}"))
    return gaps, len(coverage.lines), outcomes


def read_exports(root: str, prefixes: list[str], exports: list[str]) -> dict[str, FileCoverage]:
    files: dict[str, FileCoverage] = defaultdict(FileCoverage)
    for export in exports:
        with open(export, encoding="utf-8") as file:
            for exported in json.load(file)["data"][0]["files"]:
                path = os.path.relpath(exported["filename"], root)
                if path.startswith(tuple(prefixes)):
                    files[path].add(exported)
    return files


Entry = tuple[str, str, str]  # file, kind, text


def read_justified(path: str, scope: str) -> Counter[Entry]:
    entries: Counter[Entry] = Counter()
    with open(path, encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            if not line.strip() or line.startswith("#"):
                continue
            fields = [field.strip() for field in line.split(" | ")]
            if len(fields) != 5 or not fields[4] or fields[2] not in ("line", "branch", "rest"):
                sys.exit(f"{path}:{number}: not \"scope | file | line, branch or rest | text | reason\"")
            if fields[0] == scope:
                entries[(fields[1], fields[2], fields[3])] += 1
    return entries


def justification(gap: Gap, justified: Counter[Entry], used: Counter[Entry], source: list[str]) -> Entry | None:
    """The entry that covers a gap: a "rest", or one of its own that no other gap has used up."""
    for entry in justified:
        if entry[:2] == (gap.path, "rest") and any(line.strip() == entry[2] for line in source[:gap.line]):
            return entry
    own = (gap.path, gap.kind, gap.text)
    return own if used[own] < justified[own] else None


def stale_entries(justified: Counter[Entry], used: Counter[Entry]) -> list[Entry]:
    """Every entry that no gap used, as often as that. The gaps use one "rest" together."""
    once = Counter({entry: min(count, 1) if entry[1] == "rest" else count for entry, count in used.items()})
    return sorted((justified - once).elements())


def percent(reached: int, of: int) -> str:
    return "-" if of == 0 else f"{100 * reached / of:.1f} %"


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("--justified")
    parser.add_argument("--scope", default="library")
    parser.add_argument("--lines", action="store_true")
    parser.add_argument("root")
    parser.add_argument("paths")
    parser.add_argument("exports", nargs="+")
    options = parser.parse_args()
    root = os.path.realpath(options.root)
    files = read_exports(root, options.paths.split(","), options.exports)
    if not files:
        sys.exit(f"no file of {options.paths} in the exports")
    justified = read_justified(options.justified, options.scope) if options.justified else Counter()

    totals = [0, 0, 0, 0]  # lines reached, lines, outcomes reached, outcomes
    missed: list[str] = []
    used: Counter[Entry] = Counter()
    unexplained = 0
    print(f"{options.scope:40} {'lines':>12} {'':>8} {'branches':>12}")
    for path in sorted(files):
        with open(os.path.join(root, path), encoding="utf-8") as file:
            source = file.read().splitlines()
        gaps, lines, outcomes = gaps_of(path, files[path], source)
        lines_left = sum(gap.kind == "line" for gap in gaps)
        row = [lines - lines_left, lines, outcomes - (len(gaps) - lines_left), outcomes]
        totals = [a + b for a, b in zip(totals, row)]
        print_row(path, row)
        for gap in gaps:
            if options.lines and gap.kind == "branch":
                continue
            entry = justification(gap, justified, used, source)
            if entry is not None:
                used[entry] += 1
            unexplained += entry is None
            known = "" if entry is None else " (justified)"
            missed.append(f"{path}:{gap.line}: {gap.kind} not reached{known}: {gap.text}")
    print_row("all", totals)
    stale = stale_entries(justified, used)
    print("\n".join(missed + [f"{path}: justified, but reached or gone: {kind}: {text}" for path, kind, text in stale]
                    + [f"{len(missed)} not reached, {len(missed) - unexplained} of them justified"]))
    return 1 if unexplained or stale else 0


def print_row(name: str, row: list[int]) -> None:
    lines, branches = f"{row[0]}/{row[1]}", f"{row[2]}/{row[3]}"
    print(f"{name:40} {lines:>12} {percent(row[0], row[1]):>8} {branches:>12} {percent(row[2], row[3]):>8}")


if __name__ == "__main__":
    sys.exit(main())
