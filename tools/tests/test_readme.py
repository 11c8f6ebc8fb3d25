# SPDX-License-Identifier: MIT
"""The README's figures are those of the demonstration. What it shows otherwise is run by tests/documents."""

import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

from support import TOOL, ToolTest

ROOT = Path(__file__).resolve().parents[2]
README = (ROOT / "README.md").read_text()


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
