# SPDX-License-Identifier: MIT
"""The README's list of options is the tool's, and its figures are those of the demonstration. What it shows otherwise is
run by tests/documents."""

import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

from support import TOOL, ToolTest

ROOT = Path(__file__).resolve().parents[2]
README = (ROOT / "README.md").read_text()


class OptionsTest(ToolTest):
    def test_every_option_is_listed_with_its_default(self):
        text = self.run_tool("process", "--help").stdout
        offered = set(re.findall(r"--[a-z-]+", text)) - {"--help"}
        listed = dict(re.findall(r"^\| `(--[a-z-]+)[^|]*\|[^|]*\| ([^|]+) \|$", README, re.MULTILINE))
        self.assertEqual(set(listed), offered)
        for option in ("--geometry", "--algorithm", "--angle", "--sound-speed", "--vad-threshold", "--intensity"):
            self.assertEqual(listed[option].strip("`"), re.search(rf"{option} [^\s=]+=(\S+)", text)[1])


class FiguresTest(ToolTest):
    def test_the_table_is_that_of_the_demo(self):
        environment = {**os.environ, "PYTHONPATH": str(ROOT / "python")}
        command = [sys.executable, "-B", "-m", "vekbf_lab.demo", "--tool", TOOL, "--out", self.folder]
        result = subprocess.run(command, env=environment, check=True, capture_output=True, text=True)
        row = r"^(?:\| )?(microphone 0|fixed|adaptive) +(?:\| +)?(-?[\d.]+ dB) +(?:\| +)?(-?[\d.]+ dBFS)"
        printed = re.findall(row, result.stdout, re.MULTILINE)
        self.assertEqual(len(printed), 3)
        self.assertEqual(re.findall(row, README, re.MULTILINE), printed)


if __name__ == "__main__":
    unittest.main()
