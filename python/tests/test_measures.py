# SPDX-License-Identifier: MIT
"""The measures on signals for which the answer follows from their construction."""

import unittest

import numpy as np

from vekbf_lab import measures

RATE = 16000


def orthogonal_pair(frames=16000):
    """Two zero-mean signals of power 1/2 that are orthogonal over the whole length."""
    time = np.arange(frames)
    return np.cos(2 * np.pi * 50 * time / frames), np.sin(2 * np.pi * 50 * time / frames)


class SiSdrTest(unittest.TestCase):
    def test_orthogonal_distortion_gives_the_ratio_of_powers(self):
        target, distortion = orthogonal_pair()
        for decibels in (-10.0, 0.0, 3.0, 20.0):
            mixed = target + 10 ** (-decibels / 20) * distortion
            self.assertAlmostEqual(measures.si_sdr(target, mixed), decibels, places=9)

    def test_scale_sign_and_offset_do_not_matter(self):
        target, distortion = orthogonal_pair()
        mixed = target + 0.1 * distortion
        for scale in (0.79, 100.0, -1.0):
            self.assertAlmostEqual(measures.si_sdr(target, scale * mixed + 5.0), 20.0, places=9)

    def test_correlated_distortion_counts_only_by_its_orthogonal_part(self):
        target, distortion = orthogonal_pair()
        # 0.5 of the distortion lies along the target: the target becomes 1.5.
        mixed = target + 0.5 * target + 0.15 * distortion
        self.assertAlmostEqual(measures.si_sdr(target, mixed), 20.0, places=9)

    def test_one_sample_of_misalignment_is_seen(self):
        signal = np.random.default_rng(3).standard_normal(RATE)
        self.assertLess(measures.si_sdr(signal[1:], signal[:-1]), -20.0)


class PauseTest(unittest.TestCase):
    def setUp(self):
        # One second of talk, half a second of pause, one second of talk.
        rng = np.random.default_rng(5)
        self.talk = 1000.0 * rng.standard_normal(RATE * 5 // 2)
        self.talk[RATE : RATE * 3 // 2] = 0.0
        self.noise = rng.standard_normal(len(self.talk))

    def test_the_pause_is_found_and_nothing_else(self):
        expected = np.zeros(125, dtype=bool)
        expected[50:75] = True
        np.testing.assert_array_equal(measures.pauses(self.talk, RATE), expected)

    def test_the_limit_of_a_pause_is_40_db_below_the_talker(self):
        for decibels, pause in ((-39.0, False), (-41.0, True)):
            talk = np.ones(RATE)
            talk[: RATE // 2] = 10 ** (decibels / 20)
            self.assertEqual(bool(measures.pauses(talk, RATE)[0]), pause)

    def test_power_in_the_pause_is_that_of_the_noise_there(self):
        # Constant ±10 in the pause: 20·log10(10/32768).
        heard = self.talk.copy()
        heard[RATE : RATE * 3 // 2] = np.resize([10.0, -10.0], RATE // 2)
        expected = 20 * np.log10(10 / 32768)
        self.assertAlmostEqual(measures.pause_power_db(self.talk, heard, RATE), expected, places=9)

    def test_a_quieter_copy_is_no_better(self):
        heard = self.talk + 10 * self.noise
        whole = measures.pause_power_db(self.talk, heard, RATE)
        self.assertAlmostEqual(measures.pause_power_db(self.talk, 0.1 * heard, RATE), whole, places=9)

    def test_a_talker_without_pauses_is_refused(self):
        with self.assertRaises(ValueError):
            measures.pause_power_db(np.ones(RATE), np.ones(RATE), RATE)


if __name__ == "__main__":
    unittest.main()
