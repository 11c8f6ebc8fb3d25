# SPDX-License-Identifier: MIT
"""Measured patterns against the closed form of delay-and-sum, and the files of `vekbf-lab pattern`."""

import csv
import os
import subprocess
import sys
import unittest
from unittest import mock

import numpy as np
from support import CommandTest, call

from vekbf_lab import arrays, beam_pattern

RATE = 16000
LINE = arrays.from_name("line:4:40mm")
SQUARE = arrays.from_name("square:64mm")
FREQUENCIES = np.arange(beam_pattern.PERIOD // 2 + 1) * RATE / beam_pattern.PERIOD


def delay_and_sum(geometry, look, angle, frequency):
    """Power response of M equally weighted microphones whose delays for the look direction are taken out."""
    positions = np.asarray(geometry.array.positions)

    def ahead(degrees):
        return positions @ [np.cos(np.radians(degrees)), np.sin(np.radians(degrees))] / 343.0

    phases = 2 * np.pi * np.outer(np.atleast_1d(frequency), ahead(angle) - ahead(look))
    return np.abs(np.exp(1j * phases).mean(axis=1)) ** 2


class ResponseTest(unittest.TestCase):
    def test_it_is_that_of_delay_and_sum_at_every_frequency(self):
        for geometry, look, angle in ((LINE, 60, 60), (LINE, 60, 0), (LINE, 90, 130), (SQUARE, 30, 200)):
            with self.subTest(geometry=geometry.name, look=look, angle=angle):
                gain = beam_pattern.response(geometry, RATE, look, angle)[2:-10]
                # From the look direction the library passes 0.7948 of the level.
                gain = np.sqrt(gain) / 0.7948
                expected = np.sqrt(delay_and_sum(geometry, look, angle, FREQUENCIES[2:-10]))
                self.assertLess(np.abs(gain - expected).max(), 0.02)

    def test_two_microphones_half_a_wavelength_apart_cancel_what_comes_along_the_line(self):
        pair = arrays.from_name("line:2:85.75mm")  # half a wavelength at 2 kHz
        gain = beam_pattern.response(pair, RATE, 90, 0)
        self.assertLess(10 * np.log10(gain[128]), -40)


class FiguresTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # Bands of a single frequency each, so that the closed form need not be averaged.
        cls.centres = FREQUENCIES[[32, 64, 128, 256]]
        cls.bands = [(centre, centre, centre) for centre in cls.centres]
        cls.line = beam_pattern.measure(LINE, RATE, 60, 2.0, cls.bands)
        cls.square = beam_pattern.measure(SQUARE, RATE, 30, 5.0, cls.bands)

    def test_directivity_of_a_line(self):
        x = np.asarray(LINE.array.positions)[:, 0]
        apart = x[:, None] - x[None]
        for frequency, index in zip(self.centres, self.line.directivity_index()):
            # The mean over the sphere of |sum|^2: every pair contributes cos(k d cos(look)) sin(k d) / (k d).
            k = 2 * np.pi * frequency / 343.0
            mean = np.mean(np.cos(k * apart * np.cos(np.radians(60))) * np.sinc(k * apart / np.pi))
            self.assertAlmostEqual(index, -10 * np.log10(mean), delta=0.1, msg=frequency)

    def test_the_directivity_needs_nothing_that_numpy_2_has_dropped(self):
        with mock.patch.object(np, "trapz", create=True) as trapz:
            self.line.directivity_index()
        trapz.assert_not_called()

    def test_directivity_of_a_square_in_its_plane(self):
        for frequency, index in zip(self.centres, self.square.directivity_index()):
            fine = [delay_and_sum(SQUARE, 30, angle, frequency)[0] for angle in np.arange(0, 360, 0.5)]
            self.assertAlmostEqual(index, -10 * np.log10(np.mean(fine)), delta=0.1, msg=frequency)

    def test_beam_width(self):
        for pattern, geometry, end in ((self.line, LINE, (0, 180)), (self.square, SQUARE, (-150, 210))):
            for frequency, width in zip(self.centres, pattern.beam_width()):
                angles = np.arange(end[0], end[1] + 0.05, 0.1)
                heard = np.array([delay_and_sum(geometry, pattern.look, a, frequency)[0] for a in angles])
                loud = heard >= 10**-0.3
                if loud.all():
                    self.assertTrue(np.isnan(width), frequency)
                    continue
                at = int(np.argmin(np.abs(angles - pattern.look)))
                up = np.argmin(loud[at:]) if not loud[at:].all() else len(loud) - 1 - at
                down = np.argmin(loud[at::-1]) if not loud[at::-1].all() else at
                self.assertAlmostEqual(width, 0.1 * (up + down), delta=1.0, msg=frequency)

    def test_the_look_direction_is_the_reference(self):
        np.testing.assert_allclose(self.line.decibels[30], 0, atol=1e-12)
        self.assertLess(self.line.decibels.max(), 0.2)

    def test_third_octaves_stay_below_half_the_rate(self):
        for rate in (8000, 16000, 48000):
            bands = beam_pattern.third_octaves(rate)
            self.assertLess(bands[-1][2], rate / 2)
            self.assertTrue(any(abs(centre - 1000) < 1e-9 for centre, _, _ in bands))


class PatternCommandTest(CommandTest):
    def test_files(self):
        names = [self.folder / f"p.{ending}" for ending in ("csv", "png", "svg")]
        status, out, err = call("pattern", *names, "--array", "line:2:50mm", "--angle", "-40", "--step", "10")
        self.assertEqual((status, err), (0, ""))
        with open(names[0], newline="", encoding="utf-8") as file:
            rows = list(csv.reader(file))
        self.assertEqual([float(row[0]) for row in rows[1:]], list(range(0, 181, 10)))
        self.assertEqual({len(row) for row in rows}, {1 + len(beam_pattern.third_octaves(RATE))})
        self.assertEqual(set(rows[5][1:]), {"0.00"})  # 40 degrees, which -40 is to a line
        self.assertEqual(names[1].read_bytes()[:8], b"\x89PNG\r\n\x1a\n")
        self.assertIn("frequency (third octaves)", names[2].read_text().replace("&#x20;", " "))
        self.assertEqual(len(out.splitlines()), len(rows[0]))

    def test_the_adaptive_algorithm(self):
        arguments = ("--array", "square:64mm", "--algorithm", "adaptive", "--step", "30")
        status, out, err = call("pattern", *arguments)
        self.assertEqual((status, err), (0, ""))
        self.assertIn("1000", out)

    def test_without_the_library(self):
        environment = {**os.environ, "VEKBF_LIBRARY": str(self.folder / "absent.so")}
        command = [sys.executable, "-B", "-m", "vekbf_lab", "pattern", "--array", "line:2:50mm"]
        result = subprocess.run(command, env=environment, capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout, result.stderr.count("\n")), (1, "", 1), result.stderr)
        self.assertIn("VEKBF_LIBRARY", result.stderr)

    def test_refusals(self):
        line = ("--array", "line:2:50mm")
        self.assertIn(".csv", self.refused(1, "pattern", self.folder / "p.jpg", *line))
        self.refused(1, "pattern", *line, "--step", "7")
        self.assertIn("8000 to 48000", self.refused(1, "pattern", *line, "--rate", "7000"))
        self.assertIn("intensity", self.refused(1, "pattern", *line, "--intensity", "11"))
        self.refused(2, "pattern", *line, "--algorithm", "best")
        self.refused(1, "pattern", self.folder / "no/p.csv", *line, "--step", "30")


if __name__ == "__main__":
    unittest.main()
