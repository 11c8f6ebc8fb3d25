# SPDX-License-Identifier: MIT
"""The demonstration from end to end, twice: the same figures and files, and figures that make sense."""

import os
import re
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np
from matplotlib import image
from vekbf_lab import demo, wav

TOOL = os.environ["VEKBF_TOOL"]
SOUNDS = ["adaptive.wav", "fixed.wav", "microphone0.wav", "microphones.wav", "talker.wav"]
FILES = sorted(SOUNDS + ["demo.png", "front.png"])


def run(folder):
    command = [sys.executable, "-B", "-m", "vekbf_lab.demo", "--tool", TOOL, "--out", folder, "--picture", f"{folder}/front.png"]
    return subprocess.run(command, check=True, capture_output=True, text=True)


def figures(text):
    """{signal: (SI-SDR, pause power, real-time factor)} of the printed table."""
    row = re.compile(r"^(microphone 0|fixed|adaptive) +(-?\d+\.\d) dB +(-?\d+\.\d) dBFS +(-|\d+\.\d{4})$", re.MULTILINE)
    return {m[1]: (float(m[2]), float(m[3]), m[4]) for m in row.finditer(text)}


class DemoTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folders = [tempfile.TemporaryDirectory(), tempfile.TemporaryDirectory()]
        cls.runs = [run(folder.name) for folder in cls.folders]
        cls.figures = figures(cls.runs[0].stdout)

    @classmethod
    def tearDownClass(cls):
        for folder in cls.folders:
            folder.cleanup()

    def test_all_but_the_real_time_factor_repeats(self):
        texts = []
        for result, folder in zip(self.runs, self.folders):
            text = result.stdout.replace(folder.name, "FOLDER")
            texts.append(re.sub(r" +\d+\.\d{4}$", " TIME", text, flags=re.MULTILINE))
        self.assertEqual(texts[0], texts[1])
        self.assertEqual(texts[0].count(" TIME"), 2)

    def test_every_file_repeats_byte_for_byte(self):
        for folder in self.folders:
            self.assertEqual(sorted(os.listdir(folder.name)), FILES)
        for name in FILES:
            contents = [Path(folder.name, name).read_bytes() for folder in self.folders]
            self.assertEqual(contents[0], contents[1], name)

    def test_standard_error_is_empty(self):
        self.assertEqual([result.stderr for result in self.runs], ["", ""])

    def test_the_table_has_its_three_rows(self):
        self.assertEqual(list(self.figures), ["microphone 0", "fixed", "adaptive"])
        self.assertEqual(self.figures["microphone 0"][2], "-")
        for name in ("fixed", "adaptive"):
            self.assertGreater(float(self.figures[name][2]), 0.0)

    def test_microphone_0_has_the_ratio_that_the_scene_was_made_with(self):
        # Second talker and noise together lie 3.8 dB below the talker while both speak; pauses of either move it.
        self.assertAlmostEqual(self.figures["microphone 0"][0], 3.8, delta=1.0)

    def test_the_fixed_beamformer_helps_as_four_microphones_can(self):
        # Independent noise falls by 10 log10(4) = 6 dB, the second talker by less at low frequencies.
        gain = self.figures["fixed"][0] - self.figures["microphone 0"][0]
        hush = self.figures["microphone 0"][1] - self.figures["fixed"][1]
        for figure in (gain, hush):
            self.assertGreater(figure, 2.0)
            self.assertLess(figure, 7.0)

    def test_the_verdict_follows_from_the_figures(self):
        rows = [demo.Row(name, *values[:2], None) for name, values in self.figures.items()]
        worse = "harms the talker more" in self.runs[0].stdout
        self.assertEqual(worse, rows[2].si_sdr < rows[1].si_sdr)

    def test_all_files_are_as_long_as_the_scene(self):
        lengths = {wav.read(Path(self.folders[0].name, name))[1].shape[0] for name in SOUNDS}
        self.assertEqual(len(lengths), 1)

    def test_the_picture_of_the_readme_is_that_of_the_demo(self):
        kept = image.imread(Path(__file__).resolve().parents[2] / "docs/pictures/before-and-after.png")
        drawn = image.imread(Path(self.folders[0].name, "front.png"))
        self.assertEqual(kept.shape, drawn.shape)
        # Another version of the drawing library may move a letter; other samples change every point of a spectrogram.
        self.assertLess(float(np.abs(kept - drawn).mean()), 0.005)

    def test_the_picture_is_a_page(self):
        head = Path(self.folders[0].name, "demo.png").read_bytes()[:24]
        self.assertEqual(head[:8], b"\x89PNG\r\n\x1a\n")
        width, height = struct.unpack(">II", head[16:])
        self.assertGreater(width, 1000)
        self.assertGreater(height, width)


class VerdictTest(unittest.TestCase):
    def test_both_outcomes_are_told(self):
        bare = demo.Row("microphone 0", 3.0, -30.0, None)
        fixed = demo.Row("fixed", 8.0, -35.0, 0.1)
        worse = demo.verdict(bare, fixed, demo.Row("adaptive", 6.5, -37.0, 0.1))
        self.assertIn("5.0 dB more SI-SDR and pauses 5.0 dB quieter", worse)
        self.assertIn("1.5 dB less SI-SDR and pauses 2.0 dB quieter: it harms the talker more", worse)
        better = demo.verdict(bare, fixed, demo.Row("adaptive", 8.5, -34.0, 0.1))
        self.assertIn("0.5 dB more SI-SDR and pauses 1.0 dB louder: it is the better choice", better)
        equal = demo.verdict(bare, fixed, demo.Row("adaptive", 8.04, -35.01, 0.1))
        self.assertIn("the same SI-SDR and pauses as quiet: the fixed one", equal)

    def test_differences_are_those_of_the_printed_figures(self):
        text = demo.verdict(
            demo.Row("microphone 0", 3.54, -30.0, None),
            demo.Row("fixed", 8.45, -35.0, 0.1),  # prints as 8.4 or 8.5
            demo.Row("adaptive", 8.05, -35.0, 0.1),
        )
        printed = round(8.45, 1) - round(3.54, 1)
        self.assertIn(f"{printed:.1f} dB more SI-SDR", text)


if __name__ == "__main__":
    unittest.main()
