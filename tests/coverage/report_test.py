#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The coverage report counts what an export says, names what is missing, and fails where it must."""
from __future__ import annotations

import json
import os
import subprocess
import sys
import tempfile
import unittest

REPORT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "report.py")

SOURCE = """int f(int a) {
  if (a > 1 && a < 9) {
    return 1;
  }
  if constexpr (sizeof(a) == 8) return 2;
  return 0;
}
int g() {
  return 7;
}
"""


def export(path: str, inner: int, last: int, below_nine: list[int]) -> dict:
    """f ran ten times, `inner` of them with a > 1 && a < 9; g ran `last` times."""
    def entry(line: int, column: int, count: int) -> list:
        return [line, column, count, True, True, False]

    def back(line: int, column: int, count: int) -> list:
        return [line, column, count, True, False, False]

    end = [0, 0, 0, False, False, False]
    segments = [entry(1, 14, 10), entry(2, 23, inner), back(4, 4, 10), [7, 2, *end[2:]], entry(8, 9, last),
                [10, 2, *end[2:]]]
    branches = [[2, 7, 2, 12, 5, 5, 0, 0, 4], [2, 16, 2, 21, *below_nine, 0, 0, 4], [5, 17, 5, 31, 0, 0, 0, 0, 4]]
    return {"data": [{"files": [{"filename": path, "segments": segments, "branches": branches}]}]}


class ReportTest(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = os.path.realpath(folder.name)
        self.write("code.cpp", SOURCE)

    def write(self, name: str, text: str) -> str:
        path = os.path.join(self.root, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def report(self, *exports: dict, justified: str = "", extra: tuple[str, ...] = ()) -> tuple[int, str]:
        paths = [self.write(f"{i}.json", json.dumps(e)) for i, e in enumerate(exports)]
        command = [sys.executable, "-B", REPORT, *extra, "--justified", self.write("justified.txt", justified), self.root,
                   "code.cpp", *paths]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def one(self, inner: int, last: int, below_nine: list[int]) -> dict:
        return export(os.path.join(self.root, "code.cpp"), inner, last, below_nine)

    def test_everything_reached(self) -> None:
        status, text = self.report(self.one(3, 1, [3, 2]))
        self.assertEqual(status, 0, text)
        self.assertRegex(text, r"all +10/10 +100.0 % +4/4 +100.0 %")

    def test_a_line_and_a_branch_are_missing(self) -> None:
        status, text = self.report(self.one(3, 0, [3, 0]))
        self.assertEqual(status, 1, text)
        self.assertRegex(text, r"all +7/10 +70.0 % +3/4 +75.0 %")
        self.assertIn("code.cpp:9: line not reached: return 7;", text)
        self.assertIn("code.cpp:2: branch not reached: a < 9: false", text)

    def test_only_lines_are_asked_for(self) -> None:
        status, text = self.report(self.one(3, 1, [3, 0]), extra=("--lines",))
        self.assertEqual(status, 0, text)
        self.assertRegex(text, r"all +10/10 +100.0 % +3/4 +75.0 %")

    def test_what_one_build_reaches_is_reached(self) -> None:
        status, text = self.report(self.one(0, 1, [0, 2]), self.one(3, 0, [3, 0]))
        self.assertEqual(status, 0, text)

    def test_reasons_are_accepted(self) -> None:
        reasons = ("library | code.cpp | branch | a < 9: false | nobody counts so far\n"
                   "library | code.cpp | rest | int g() { | g is for others\n")
        status, text = self.report(self.one(3, 0, [3, 0]), justified=reasons)
        self.assertEqual(status, 0, text)
        self.assertIn("4 not reached, 4 of them justified", text)

    def test_an_entry_takes_one_line(self) -> None:
        # The two unreached lines 3 and 9 have the same text, and so have 4 and 10.
        self.write("code.cpp", SOURCE.replace("return 1;", "return 7;"))

        def entries(*texts: str) -> str:
            return "".join(f"library | code.cpp | line | {text} | why\n" for text in texts)

        gaps = self.one(0, 0, [3, 2])
        status, text = self.report(gaps, justified=entries("return 7;", "}", "}", "int g() {"))
        self.assertEqual(status, 1, text)
        self.assertIn("code.cpp:9: line not reached: return 7;", text)
        status, text = self.report(gaps, justified=entries("return 7;", "return 7;", "}", "}", "int g() {"))
        self.assertEqual(status, 0, text)
        status, text = self.report(gaps, justified=entries(*["return 7;"] * 3, "}", "}", "int g() {"))
        self.assertEqual(status, 1, text)
        self.assertEqual(text.count("justified, but reached or gone: line: return 7;"), 1, text)

    def test_a_reason_for_what_is_reached_is_an_error(self) -> None:
        status, text = self.report(self.one(3, 1, [3, 2]), justified="library | code.cpp | line | return 7; | why\n")
        self.assertEqual(status, 1, text)
        self.assertIn("code.cpp: justified, but reached or gone: line: return 7;", text)

    def test_an_entry_without_a_reason_is_an_error(self) -> None:
        status, text = self.report(self.one(3, 1, [3, 2]), justified="library | code.cpp | line | return 7; |\n")
        self.assertEqual(status, 1, text)
        self.assertIn("justified.txt:1: not", text)

    def test_an_export_without_the_files_is_an_error(self) -> None:
        status, text = self.report(export("/elsewhere/code.cpp", 1, 1, [1, 1]))
        self.assertEqual(status, 1, text)


if __name__ == "__main__":
    unittest.main()
