# SPDX-License-Identifier: MIT
"""The commands of docs/lab.md do what the text says."""

import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

import numpy as np
from support import CommandTest

from vekbf_lab import arrays, scene, wav

ROOT = Path(__file__).resolve().parents[2]
RATE = 16000


class LabDocumentTest(CommandTest):
    def test_every_command(self):
        rng = np.random.default_rng(1)
        for name in ("talker", "other"):
            signal = 1000 * rng.standard_normal(RATE)
            signal[RATE // 2 : RATE * 3 // 4] = 0
            wav.write(self.folder / f"{name}.wav", RATE, signal)
        heard = scene.plane_wave(1000 * rng.standard_normal(RATE), arrays.from_name("line:4:80mm").array, 60, RATE)
        wav.write(self.folder / "meeting.wav", RATE, heard + 50 * rng.standard_normal(heard.shape))
        (self.folder / "vekbf").symlink_to(os.environ["VEKBF_TOOL"])
        (self.folder / "python3").write_text(f'#!/bin/sh\nexec {sys.executable} -B "$@"\n')
        (self.folder / "python3").chmod(0o755)
        environment = {**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"}
        text = (ROOT / "docs" / "lab.md").read_text(encoding="utf-8")
        scripts = re.findall(r"^```sh\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
        self.assertEqual(len(scripts), 3)
        said = []
        for script in scripts:
            command = ["sh", "-eu", "-c", script]
            result = subprocess.run(command, cwd=self.folder, env=environment, capture_output=True, text=True)
            self.assertEqual((result.returncode, result.stderr), (0, ""), script)
            said.append(result.stdout)
        self.assertRegex(said[1], r"^no fault found\nloudest talker: (59|60|61) degrees")
        self.assertRegex(said[2], r"(?m)^beam\.wav +0 ")
        files = ("clean.wav", "pattern.csv", "pattern.png", "before-and-after.png", "scene.wav", "beam.wav")
        for name in (*files, "scene-source1.wav", "scene-source2.wav"):
            self.assertGreater((self.folder / name).stat().st_size, 100, name)


if __name__ == "__main__":
    unittest.main()
