# SPDX-License-Identifier: MIT
"""Samples of other widths, the gain before they are rounded, and what leaves the 16-bit range."""

import array
import math
import struct
import subprocess
import unittest

from support import TOOL, ToolTest, noise, read_wav, write_wav

PCM, FLOAT = 1, 3


def write_format(path, tag, width, data, rate=16000):
    """A mono WAV file of any sample format."""
    head = struct.pack("<HHIIHH", tag, 1, rate, rate * width, width, 8 * width)
    body = b"WAVEfmt " + struct.pack("<I", len(head)) + head + b"data" + struct.pack("<I", len(data)) + data
    path.write_bytes(b"RIFF" + struct.pack("<I", len(body)) + body)


def packed(values, width):
    return b"".join(v.to_bytes(width, "little", signed=True) for v in values)


class FormatsTest(ToolTest):
    def run_quietly(self, *arguments):
        self.output.unlink(missing_ok=True)
        result = self.run_tool("process", self.input, self.output, "--mic", "0,0", *arguments)
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
        return read_wav(self.output)[2], result.stderr

    def of_rounded(self, samples, *arguments):
        """The result for 16-bit samples, to which the input under test should be rounded."""
        write_wav(self.input, samples)
        return self.run_quietly(*arguments)[0]


class WidthTest(FormatsTest):
    def test_24_and_32_bit_samples_are_rounded_to_the_nearest_halves_to_even(self):
        base = noise(2000, peak=20000)
        for width in (3, 4):
            one = 1 << (8 * width - 16)
            wide = [b * one for b in base]
            # Just below half, half on an even and on an odd number, just above half.
            for i, (start, part, rounded) in enumerate([(100, one // 2 - 1, 100), (100, one // 2, 100), (101, one // 2, 102),
                                                        (100, one // 2 + 1, 101), (-100, -one // 2, -100),
                                                        (-101, -one // 2, -102)]):
                for j in range(i, 1800, 9):
                    base[j], wide[j] = rounded, start * one + part
            expected = self.of_rounded(base)
            write_format(self.input, PCM, width, packed(wide, width))
            self.assertEqual(self.run_quietly(), (expected, ""))

    def test_float_samples_have_1_as_full_scale(self):
        base = noise(2000, peak=20000)
        expected = self.of_rounded(base)
        for code, width in (("f", 4), ("d", 8)):
            write_format(self.input, FLOAT, width, array.array(code, [(b + 0.3) / 32768 for b in base]).tobytes())
            self.assertEqual(self.run_quietly(), (expected, ""))

    def test_float_samples_out_of_range_are_clipped_and_counted(self):
        wild = [1.5, -2.0, 1.0, -1.0, math.inf, -math.inf, math.nan, 0.5] + [0.01] * 500
        tame = [32767, -32768, 32767, -32768, 32767, -32768, 0, 16384] + [328] * 500
        write_wav(self.input, tame)
        expected, _ = self.run_quietly()
        write_format(self.input, FLOAT, 4, array.array("f", wild).tobytes())
        out, said = self.run_quietly()
        self.assertEqual(out, expected)
        # -1.0 is in range, 1.0 is not; not-a-number is silence.
        self.assertIn("clipped 5 input samples", said)


class PreGainTest(FormatsTest):
    def test_the_gain_comes_before_the_rounding(self):
        base = noise(2000)
        gain = 10 ** (-7 / 20)
        expected = self.of_rounded([round(b * gain) for b in base])
        write_wav(self.input, base)
        self.assertEqual(self.run_quietly("--pre-gain", -7), (expected, ""))

    def test_a_quiet_recording_of_24_bits_keeps_its_detail(self):
        # 48.16 dB are a factor of 256 but for rounding: what lay below 16 bits becomes the sample.
        base = noise(2000)
        gain = 20 * math.log10(256)
        expected = self.of_rounded(base)
        write_format(self.input, PCM, 3, packed(base, 3))
        self.assertEqual(self.run_quietly("--pre-gain", f"{gain:.15f}"), (expected, ""))

    def test_bad_gains(self):
        write_wav(self.input, noise(300))
        for text in ("-61", "61", "nan", "inf", "loud", ""):
            self.assert_refused(self.run_tool("process", self.input, self.output, "--mic", "0,0", "--pre-gain", text), 2, "--pre-gain")


class WrapTest(FormatsTest):
    # Full scale up and down at half the sample rate comes out at 0.79 of it: steps of 52000 without a
    # gain, 36900 at -3 dB, 26100 at -6 dB.
    LOUD = [32767, -32767] * 1000

    def counted(self, said):
        self.assertRegex(said, r"\Avekbf: [^\n]+\n\Z")
        return int(said.split("wrap around ")[1].split()[0])

    def test_steps_of_more_than_32768_are_counted_and_the_first_gain_without_is_named(self):
        write_wav(self.input, self.LOUD)
        unasked = self.run_quietly()
        self.assertRegex(unasked[1], "; a lower --pre-gain may help: --find-pre-gain looks for it\n\\Z")
        out, said = self.run_quietly("--find-pre-gain")
        self.assertEqual(out, unasked[0])
        steps = sum(abs(b - a) > 32768 for a, b in zip(out, out[1:]))
        self.assertGreater(steps, 1000)
        self.assertEqual(self.counted(said), steps)
        self.assertIn("--pre-gain -6\n", said)
        quiet, nothing = self.run_quietly("--pre-gain", -6)
        self.assertEqual(nothing, "")
        self.assertLessEqual(max(abs(b - a) for a, b in zip(quiet, quiet[1:])), 32768)

    def test_steps_go_down_from_the_given_gain(self):
        write_wav(self.input, self.LOUD)
        self.assertIn("--pre-gain -5\n", self.run_quietly("--pre-gain", -2, "--find-pre-gain")[1])

    def test_the_last_gain_that_is_tried_is_24_decibels_down(self):
        # Steps of 2 x 0.7948 x 32768 x level: 32768 of them are a level of 0.629, which is 9 times full scale less
        # 23.1 dB, and 11 times full scale less 24.9 dB.
        for level, ending in ((9.0, "is --pre-gain -24"), (11.0, "no --pre-gain down to -24 dB helps")):
            write_format(self.input, FLOAT, 4, array.array("f", [level, -level] * 1000).tobytes())
            said = self.run_quietly("--find-pre-gain")[1].splitlines()[-1]
            self.assertTrue(said.endswith(ending), said)

    def test_when_no_gain_helps_it_says_so_and_points_to_the_fixed_beamformer(self):
        # So loud that even 24 dB less is clipped to full scale.
        write_format(self.input, FLOAT, 4, array.array("f", [100.0, -100.0] * 1000).tobytes())
        fixed = self.run_quietly("--find-pre-gain")[1].splitlines()[-1]
        self.assertTrue(fixed.endswith("no --pre-gain down to -24 dB helps"), fixed)
        adaptive = self.run_quietly("--algorithm", "adaptive", "--find-pre-gain")[1].splitlines()[-1]
        self.assertTrue(adaptive.endswith("helps: try --algorithm fixed"), adaptive)

    def test_a_pipe_cannot_be_read_again(self):
        command = [TOOL, "process", "-", self.output, "--mic", "0,0", "--rate", "16000"]
        result = subprocess.run(command, input=array.array("h", self.LOUD).tobytes(), capture_output=True, check=True)
        self.assertGreater(self.counted(result.stderr.decode()), 1000)
        self.assertIn(b"a lower --pre-gain may help", result.stderr)


if __name__ == "__main__":
    unittest.main()
