# SPDX-License-Identifier: MIT
"""The tool on recordings of real and simulated rooms, which are not part of this project.

VEKBF_RECORDINGS names the folder that holds real_line/ and simulated_square/. Without it the tests are skipped.
"""

import math
import os
import sys
import unittest
from pathlib import Path

from support import ToolTest, read_wav, write_wav

FOLDER = os.environ.get("VEKBF_RECORDINGS", "")
SKIPPED = 77
LINE = ["--mic", "-0.113,0", "--mic", "0.036,0", "--mic", "0.076,0", "--mic", "0.113,0"]
SQUARE = ["--mic", "0.0707,0", "--mic", "0,0.0707", "--mic", "-0.0707,0", "--mic", "0,-0.0707"]
SQUARE += ["--geometry", "triangle"]
FRAME = 320


def frame_powers(samples):
    return [sum(s * s for s in samples[i : i + FRAME]) / FRAME for i in range(0, len(samples) - FRAME + 1, FRAME)]


def decibels(ratio):
    return 10 * math.log10(ratio)


class RecordingTest(ToolTest):
    def beam(self, source, arguments, angle, algorithm="fixed"):
        result = self.run_tool("process", source, self.output, *arguments, "--angle", angle, "--algorithm", algorithm)
        self.assertEqual(result.returncode, 0, result.stderr)
        return read_wav(self.output)[2]


class RealLineTest(RecordingTest):
    """One talker in an office at 74 to 75 degrees."""

    def setUp(self):
        super().setUp()
        channels, rate, samples = read_wav(Path(FOLDER, "real_line", "talker_75deg_4ch_16k.wav"))
        # Quiet samples would be rounded to zero in the pauses and flatter the result.
        write_wav(self.input, [16 * s for s in samples], channels, rate)
        powers = frame_powers(samples[::channels])
        order = sorted(powers)
        self.speech = [p > order[len(order) * 3 // 4] for p in powers]
        self.pause = [p < order[len(order) // 5] for p in powers]
        self.bare = self.speech_to_pause([16 * s for s in samples[::channels]])

    def speech_to_pause(self, samples):
        powers = frame_powers(samples)
        speech = sum(p for p, on in zip(powers, self.speech) if on)
        pause = sum(p for p, on in zip(powers, self.pause) if on)
        return decibels(speech / sum(self.speech) / (pause / sum(self.pause)))

    def test_the_beam_is_best_towards_the_talker(self):
        for algorithm in ("fixed", "adaptive"):
            ratios = {a: self.speech_to_pause(self.beam(self.input, LINE, a, algorithm)) for a in range(0, 181, 5)}
            best = max(ratios, key=ratios.get)
            print(f"real line, {algorithm}: microphone 0 {self.bare:.1f} dB, best {ratios[best]:.1f} dB at {best} degrees, "
                  f"180 degrees {ratios[180]:.1f} dB")
            self.assertLessEqual(abs(best - 75), 10, algorithm)
            self.assertGreater(ratios[best], self.bare)
            self.assertGreater(ratios[best], ratios[180] + 2.0)


class SimulatedSquareTest(RecordingTest):
    """A talker at 101.3 degrees, and two kinds of noise alone, in the same room."""

    def gain(self, noise, angle):
        """What the ratio of talker to noise gains over microphone 0. The fixed beam is linear but for rounding."""
        ratios = []
        for name in ("speech_101deg.wav", noise):
            source = Path(FOLDER, "simulated_square", name)
            bare = read_wav(source)[2][::4]
            ratios.append(sum(frame_powers(self.beam(source, SQUARE, angle))) / sum(frame_powers(bare)))
        return decibels(ratios[0] / ratios[1])

    def test_the_talker_gains_over_either_noise(self):
        for noise in ("noise_270deg.wav", "noise_independent.wav"):
            gain = self.gain(noise, 101)
            print(f"square, {noise}: {gain:.1f} dB over microphone 0")
            self.assertGreater(gain, 4.0)
            self.assertLess(gain, 8.0)

    def test_the_back_is_the_worst_direction(self):
        gains = {angle: self.gain("noise_270deg.wav", angle) for angle in range(11, 371, 30)}
        print("square, angle: gain in dB", {a: round(g, 1) for a, g in gains.items()})
        self.assertEqual(max(gains, key=gains.get), 101)
        self.assertLessEqual(abs(min(gains, key=gains.get) - 281), 30)


if __name__ == "__main__":
    if not Path(FOLDER, "real_line").is_dir() or not FOLDER:
        print("skipped: VEKBF_RECORDINGS names no folder with the recordings")
        sys.exit(SKIPPED)
    unittest.main()
