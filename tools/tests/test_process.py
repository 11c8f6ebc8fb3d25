# SPDX-License-Identifier: MIT
"""The tool gives what the library gives, keeps standard output clean and shows the library's lines on demand."""

import os
import re
import subprocess
import unittest
from pathlib import Path

from support import LAG, LINE, TOOL, ToolTest, direct, line_of, noise, padded_with_tail, read_wav, write_wav

ROOT = Path(__file__).resolve().parents[2]
VERSION = re.search(r"^  VERSION ([\d.]+)$", (ROOT / "CMakeLists.txt").read_text(), re.MULTILINE)[1]
LINE_POSITIONS = [(0, 0), (0.05, 0), (0.1, 0), (0.15, 0)]
SQUARE = [(0.0707, 0), (0, 0.0707), (-0.0707, 0), (0, -0.0707)]


def mic_arguments(positions):
    return [part for x, y in positions for part in ("--mic", f"{x},{y}")]


class SameAsTheLibraryTest(ToolTest):
    def expect_same(self, positions, geometry, algorithm, rate, speed, angle, threshold, intensity, frames):
        channels = len(positions)
        samples = noise(frames * channels, seed=frames)
        whole, _ = direct(
            padded_with_tail(samples, channels), channels, rate, algorithm, geometry, speed, angle, threshold,
            intensity, positions,
        )
        write_wav(self.input, samples, channels, rate)
        result = self.run_tool(
            "process", self.input, self.output, *mic_arguments(positions),
            "--geometry", ["linear", "triangle"][geometry], "--algorithm", ["fixed", "adaptive"][algorithm],
            "--sound-speed", speed, "--angle", angle, "--vad-threshold", threshold, "--intensity", intensity,
        )
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(read_wav(self.output), (1, rate, whole[LAG : LAG + frames]))
        self.assertGreater(max(map(abs, whole)), 100)

    def test_fixed_line(self):
        for mics in (1, 2, 3, 4):
            self.expect_same(LINE_POSITIONS[:mics], 0, 0, 16000, 343, 60, 0.5, 5, 5000)

    def test_adaptive_line(self):
        self.expect_same(LINE_POSITIONS, 0, 1, 16000, 343, 60, 0.5, 5, 20000)

    def test_adaptive_square(self):
        self.expect_same(SQUARE, 1, 1, 48000, 340, -75, 0.9, 8, 20001)

    def test_fixed_three_corners(self):
        self.expect_same(SQUARE[:3], 1, 0, 8000, 331, 405, 0.0, 0, 3333)

    def test_the_defaults_are_fixed_90_degrees_343_metres_per_second(self):
        samples = noise(4 * 2000)
        _, by_default = self.process(samples, 4)
        _, spelled_out = self.process(
            samples, 4, "--geometry", "linear", "--algorithm", "fixed", "--angle", "90", "--sound-speed", "343",
            "--vad-threshold", "0.5", "--intensity", "3",
        )
        self.assertEqual(by_default, spelled_out)
        _, adaptive = self.process(samples, 4, "--algorithm", "adaptive")
        self.assertNotEqual(by_default, adaptive)

    def test_the_default_intensity_is_the_one_that_the_measurements_favour(self):
        measured = (ROOT / "docs" / "parameters.md").read_text()
        favoured = re.search(r"^Best mean over all scenes: intensity (\d+) by SI-SDR", measured, re.MULTILINE)[1]
        # Noise with bursts, which is speech to the detector.
        samples = [s * (1 if i // 12000 % 3 else 20) for i, s in enumerate(noise(4 * 32000, peak=700))]
        _, by_default = self.process(samples, 4, "--algorithm", "adaptive")
        results = {i: self.process(samples, 4, "--algorithm", "adaptive", "--intensity", i)[1] for i in range(11)}
        self.assertEqual([i for i, out in results.items() if out == by_default], [int(favoured)])

    def test_options_reach_the_library(self):
        # Every option by itself changes what comes out, but for the fixed beam, which uses no intensity.
        samples = noise(4 * 6000)
        _, plain = self.process(samples, 4, "--angle", "30", "--algorithm", "adaptive")
        for change in (["--angle", "31"], ["--sound-speed", "300"], ["--intensity", "10"], ["--geometry", "triangle"]):
            arguments = ["--angle", "30", "--algorithm", "adaptive"]
            if change[0] == "--angle":
                arguments = arguments[2:]
            write_wav(self.input, samples, 4)
            mics = mic_arguments(SQUARE) if change[0] == "--geometry" else LINE
            result = self.run_tool("process", self.input, self.output, *mics, *arguments, *change)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertNotEqual(read_wav(self.output)[2], plain, change)


class OutputsTest(ToolTest):
    def test_a_plain_run_prints_nothing_at_all(self):
        result, _ = self.process(noise(2000), 1)
        self.assertEqual((result.stdout, result.stderr), ("", ""))

    def test_verbose_shows_settings_that_make_a_file_of_options_and_the_counts(self):
        arguments = ["--angle", 30, "--algorithm", "adaptive", "--keep-time"]
        result, out = self.process(noise(2 * 2000) + [0] * 2 * 384, 2, *arguments, "--verbose")
        *settings, counts = [line.removeprefix("vekbf: ") for line in result.stderr.splitlines()]
        self.assertEqual(counts, "2384 frames at 16000 Hz in 19 blocks, 3 of them zero; 0 input samples clipped, 0 not a number; 0 wraps")
        (self.folder / "same.ini").write_text("\n".join(settings))
        result = self.run_tool("process", self.input, self.output, "--config", self.folder / "same.ini")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(read_wav(self.output)[2], out)

    def test_verbose_changes_no_sample(self):
        _, quiet = self.process(noise(4 * 3000), 4)
        _, verbose = self.process(noise(4 * 3000), 4, "--verbose")
        self.assertEqual(quiet, verbose)

    def test_closed_standard_descriptors_do_no_harm(self):
        samples = noise(3000)
        _, expected = self.process(samples, 1)
        for closing in (">&-", "2>&-", "<&- >&- 2>&-"):
            self.output.unlink()
            command = f'"$0" process "$1" "$2" --mic 0,0 --verbose {closing}'
            subprocess.run(["sh", "-c", command, TOOL, self.input, self.output], check=True, timeout=60)
            self.assertEqual(read_wav(self.output), (1, 16000, expected), closing)

    def test_an_older_result_is_replaced(self):
        self.output.write_bytes(b"old")
        _, out = self.process(noise(1000), 1)
        self.assertEqual(len(out), 1000)

    def test_a_failed_run_leaves_the_older_result(self):
        write_wav(self.input, noise(1000), 2)
        self.output.write_bytes(b"old")
        result = self.run_tool("process", self.input, self.output, "--mic", "0,0")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(self.output.read_bytes(), b"old")

    def test_an_extensible_header_is_read(self):
        # wave.open cannot write one: a plain file is given a 40-byte format chunk by hand.
        write_wav(self.input, noise(4 * 500), 4)
        plain = self.input.read_bytes()
        guid = bytes.fromhex("0100000000001000800000aa00389b71")
        body = plain[20:36] + (22).to_bytes(2, "little") + (16).to_bytes(2, "little") + bytes([0x33, 0, 0, 0]) + guid
        body = (0xFFFE).to_bytes(2, "little") + body[2:]
        wave = b"WAVEfmt " + len(body).to_bytes(4, "little") + body + plain[36:]
        _, expected = self.process(noise(4 * 500), 4)
        self.input.write_bytes(b"RIFF" + len(wave).to_bytes(4, "little") + wave)
        result = self.run_tool("process", self.input, self.output, *LINE)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(read_wav(self.output)[2], expected)

    def test_a_header_of_unknown_length_is_read_to_the_end(self):
        # What a recorder leaves that wrote to a pipe.
        write_wav(self.input, noise(1000))
        plain = self.input.read_bytes()
        _, expected = self.process(noise(1000), 1)
        for length in (0xFFFFFFFF, 0x7FFFFFFF, 0x80000000):
            self.input.write_bytes(plain[:40] + length.to_bytes(4, "little") + plain[44:])
            result = self.run_tool("process", self.input, self.output, "--mic", "0,0")
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertEqual(read_wav(self.output)[2], expected)

    def test_coordinates_that_the_library_reads_differently_are_noted(self):
        write_wav(self.input, noise(2 * 500), 2)
        cases = [
            (["--mic", "0,0", "--mic", "0.05,0.02"], "linear geometry takes microphone 1 to be at (0.05, 0)"),
            (["--geometry", "triangle", "--mic", "0.05,0", "--mic", "-0.05,0"],
             "triangle geometry takes microphone 1 to be at (0, 0.05) instead of (-0.05, 0)"),
        ]
        for arguments, text in cases:
            result = self.run_tool("process", self.input, self.output, *arguments)
            self.assertEqual(result.returncode, 0)
            self.assertRegex(result.stderr, r"\Avekbf: note: [^\n]+\n\Z")
            self.assertIn(text, result.stderr)
        # A line parallel to the x axis is as good as one on it.
        result = self.run_tool("process", self.input, self.output, "--mic", "0,0.3", "--mic", "0.05,0.3")
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_help_and_version_go_to_standard_output(self):
        for arguments, text in ((["--help"], "process"), (["process", "--help"], "--sound-speed"),
                                (["--version"], f"vekbf {VERSION}")):
            result = self.run_tool(*arguments)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn(text, result.stdout)

    def test_negative_numbers_and_any_order_of_arguments_are_understood(self):
        write_wav(self.input, noise(2 * 500), 2)
        result = self.run_tool(
            "process", "--mic", "-0.05,0", "--mic", "5e-2,-0.0", "--angle", "-30", self.input, self.output
        )
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertTrue(os.path.exists(self.output))


if __name__ == "__main__":
    unittest.main()
