# SPDX-License-Identifier: MIT
"""What the plots draw is what was given, and `vekbf-lab plot`."""

import unittest

import numpy as np
import vekbf
from support import CommandTest, call

from vekbf_lab import plots, wav

RATE = 16000


class SignalTest(unittest.TestCase):
    def test_a_sinusoid_stands_at_its_frequency_and_level(self):
        signal = 3276.8 * np.sin(2 * np.pi * 2000 * np.arange(RATE) / RATE)
        frequencies, times, levels = plots.spectrogram_db(signal, RATE)
        self.assertEqual(frequencies[np.argmax(levels[:, 50])], 2000)
        # One of the two halves of a sinusoid's amplitude, 20 dB below full scale.
        self.assertAlmostEqual(levels[:, 50].max(), -20 - 6.02, delta=0.1)
        self.assertAlmostEqual(times[-1], 1.0, delta=0.05)

    def test_levels_over_time(self):
        signals = {"before": np.full(RATE, 3276.8), "after": np.repeat([3276.8, 327.68], RATE // 2)}
        axes = plots.levels(plots.figure(4, 3).subplots(), signals, RATE)
        before, after = (line.get_ydata() for line in axes.get_lines())
        np.testing.assert_allclose(before, -20, atol=1e-9)
        np.testing.assert_allclose(after, [-20] * 10 + [-40] * 10, atol=1e-9)
        self.assertEqual((axes.get_xlabel(), axes.get_ylabel()), ("time (s)", "level (dBFS)"))


class DirectionTest(unittest.TestCase):
    def test_a_track_over_time(self):
        angle = np.repeat(np.array([-1, 60, 120], np.int32), 125)
        heard = np.arange(375) % 4 == 0
        track = vekbf.Track(angle, heard, np.linspace(0, 1, 375, dtype=np.float32), np.zeros(375, np.uint32))
        axes = plots.direction_track(plots.figure(6, 3).subplots(), track, RATE)
        (line,) = axes.get_lines()
        seconds, degrees = line.get_data()
        self.assertAlmostEqual(seconds[-1], 3.0)
        self.assertTrue(np.isnan(degrees[:125]).all())
        self.assertEqual(set(degrees[125:]), {60, 120})
        (dots,) = axes.collections
        # One for each update that counted once there was an angle, with its confidence.
        expected = np.flatnonzero(heard & (angle >= 0))
        np.testing.assert_allclose(dots.get_offsets(), np.stack([(expected + 1) * 0.008, angle[expected]], axis=1))
        np.testing.assert_allclose(dots.get_array(), track.confidence[expected])
        self.assertEqual(axes.get_ylim(), (0, 180))

    def test_a_track_across_the_end_of_the_circle(self):
        angle = np.array([350, 350, 10, 10], np.int32)
        track = vekbf.Track(angle, np.ones(4, bool), np.ones(4, np.float32), np.zeros(4, np.uint32))
        axes = plots.direction_track(plots.figure(6, 3).subplots(), track, RATE)
        np.testing.assert_array_equal(axes.get_lines()[0].get_ydata(), [350, 350, np.nan, 10])
        self.assertEqual(axes.get_ylim(), (0, 360))

    def test_nothing_heard_can_be_drawn(self):
        track = vekbf.Direction(RATE, [(0, 0), (0.05, 0)]).process(np.zeros((1280, 2), np.int16))
        page = plots.figure(6, 3)
        self.assertTrue(np.isnan(plots.direction_track(page.subplots(), track, RATE).get_lines()[0].get_ydata()).all())

    def test_a_map(self):
        evidence = np.cos(np.radians(np.arange(360) - 70)).astype(np.float32) * 3
        axes = plots.direction_map(plots.figure(4, 4).add_subplot(projection="polar"), evidence, 70)
        curve, mark = axes.get_lines()
        turn, size = curve.get_data()
        self.assertEqual(len(turn), 361)
        self.assertAlmostEqual(np.degrees(turn[np.argmax(size)]), 70)
        self.assertAlmostEqual(size.max(), 1)
        self.assertEqual(size.min(), 0)
        self.assertAlmostEqual(np.degrees(mark.get_xdata()[0]), 70)
        plots.direction_map(plots.figure(4, 4).add_subplot(projection="polar"), np.zeros(360, np.float32))


class PlotCommandTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.names = []
        for n in range(2):
            self.names.append(self.folder / f"{n}.wav")
            wav.write(self.names[-1], RATE, 1000 * np.random.default_rng(n).standard_normal(RATE // 2))

    def test_pictures_repeat(self):
        for ending, head in (("png", b"\x89PNG"), ("svg", b"<?xml")):
            contents = []
            for n in range(2):
                out = self.folder / f"{n}.{ending}"
                self.assertEqual(call("plot", *self.names, "--out", out), (0, "", ""))
                contents.append(out.read_bytes())
            self.assertEqual(contents[0][: len(head)], head)
            self.assertEqual(contents[0], contents[1])

    def test_silence_can_be_drawn(self):
        wav.write(self.names[0], RATE, np.zeros(RATE))
        self.assertEqual(call("plot", self.names[0], "--out", self.folder / "silence.png"), (0, "", ""))

    def test_refusals(self):
        picture = self.folder / "picture.png"
        self.assertIn(".svg", self.refused(1, "plot", *self.names, "--out", self.folder / "picture.bmp"))
        self.refused(1, "plot", self.folder / "absent.wav", "--out", picture)
        self.refused(1, "plot", self.names[0], self.names[0], "--out", picture)
        self.refused(2, "plot", *self.names)
        wav.write(self.folder / "short.wav", RATE, np.ones(10))
        self.refused(1, "plot", self.folder / "short.wav", "--out", picture)
        wav.write(self.folder / "slow.wav", 8000, np.ones(8000))
        self.refused(1, "plot", self.names[0], self.folder / "slow.wav", "--out", picture)
        self.assertFalse(picture.exists())


if __name__ == "__main__":
    unittest.main()
