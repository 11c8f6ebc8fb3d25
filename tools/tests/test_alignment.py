# SPDX-License-Identifier: MIT
"""Input and output line up, to the last sample, for every length."""

import unittest

from support import BLOCK, ToolTest, direct, noise

# Analysis and synthesis window and output gain together, for a signal from the look direction.
GAIN = 0.7948


def interleaved(frames, channels):
    return [sample for sample in frames for _ in range(channels)]


class AlignmentTest(ToolTest):
    def test_a_click_in_the_very_last_sample_comes_out_there(self):
        for frames in (1, 127, 128, 129, 500, 512, 1000):
            samples = [0] * (frames - 1) + [20000]
            _, out = self.process(samples, 1)
            self.assertEqual(len(out), frames)
            self.assertAlmostEqual(out[-1], GAIN * 20000, delta=4, msg=f"{frames} frames")
            self.assertLessEqual(max(map(abs, out[:-1]), default=0), 4, f"{frames} frames")

    def test_also_with_four_microphones_and_both_beamformers(self):
        # The first 128 values of a block decide whether it is dropped: keep them from being all zero.
        for algorithm in ("fixed", "adaptive"):
            frames = [1, -1] * 319 + [20000]
            _, out = self.process(interleaved(frames, 4), 4, "--algorithm", algorithm)
            self.assertEqual(len(out), len(frames))
            loudest = max(range(len(out)), key=lambda i: abs(out[i]))
            self.assertEqual(loudest, len(frames) - 1, algorithm)

    def test_a_click_in_the_first_sample_stays_first(self):
        _, out = self.process([20000] + [1, -1] * 350, 1)
        self.assertAlmostEqual(out[0], GAIN * 20000, delta=4)
        self.assertLessEqual(max(map(abs, out[1:])), 4)

    def test_output_is_the_input_times_the_gain_from_first_to_last(self):
        samples = noise(1777)
        _, out = self.process(samples, 1)
        self.assertEqual(len(out), len(samples))
        for given, heard in zip(samples, out):
            self.assertAlmostEqual(heard, GAIN * given, delta=4)

    def test_length_is_kept_for_every_remainder(self):
        for frames in (1, 31, 32, 33, 127, 128, 129, 255, 256, 383, 384, 385, 641):
            for channels in (1, 3, 4):
                _, out = self.process(noise(frames * channels), channels)
                self.assertEqual(len(out), frames)


class ZeroBlockTest(ToolTest):
    def test_without_zero_blocks_nothing_is_said(self):
        result, _ = self.process(noise(5 * BLOCK), 1)
        self.assertEqual(result.stderr, "")

    def test_zero_blocks_are_counted_in_one_line(self):
        samples = noise(4 * BLOCK) + [0] * (3 * BLOCK) + noise(4 * BLOCK, seed=2)
        result, _ = self.process(samples, 1)
        self.assertRegex(result.stderr, r"\Avekbf: [^\n]*dropped 3 of 11 blocks as zero blocks[^\n]*\n\Z")

    def test_the_count_is_that_of_the_library(self):
        # Four channels: 32 zero frames at the head of a block are enough. Four values of -32768 square to 2^32.
        head = [0] * (32 * 4) + noise(96 * 4)
        wrapped = ([-32768] * 4 + [0] * 124) + noise(96 * 4, seed=3)
        almost = ([-32768] * 3 + [0] * 125) + noise(96 * 4, seed=4)
        samples = noise(128 * 4) + head + wrapped + almost + head
        result, _ = self.process(samples, 4)
        self.assertIn("dropped 3 of 5 blocks", result.stderr)
        _, said = direct(samples, 4, 16000, 0, 0, 343, 90, 0.5, 3, [(0, 0), (0.05, 0), (0.1, 0), (0.15, 0)])
        self.assertEqual(said.count("[ALGO_MSG_WRN, VekBf_Run] Zero Frame!\n"), 3)

    def test_a_padded_last_block_counts_too(self):
        result, out = self.process(noise(2 * BLOCK) + [0] * 5, 1)
        self.assertIn("dropped 1 of 3 blocks", result.stderr)
        self.assertEqual(len(out), 2 * BLOCK + 5)

    def test_a_silent_file_gives_silence(self):
        result, out = self.process([0] * 300, 1)
        self.assertIn("dropped 3 of 3 blocks", result.stderr)
        self.assertEqual(out, [0] * 300)

    def test_what_was_pending_before_a_pause_comes_out_at_its_end(self):
        before, pause, after = 6, 10, 6
        samples = noise(before * BLOCK) + [0] * (pause * BLOCK) + noise(after * BLOCK, seed=2)
        _, out = self.process(samples, 1)
        expected = (
            samples[: (before - 3) * BLOCK]
            + [0] * (pause * BLOCK)
            + samples[(before - 3) * BLOCK : before * BLOCK]
            + samples[(before + pause) * BLOCK :]
        )
        self.assertEqual(len(out), len(samples))
        for given, heard in zip(expected, out):
            self.assertAlmostEqual(heard, GAIN * given, delta=4)


if __name__ == "__main__":
    unittest.main()
