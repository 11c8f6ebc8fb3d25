# SPDX-License-Identifier: MIT
"""Fractional delays against signals whose delayed form is known in closed form."""

import unittest

import numpy as np

from vekbf_lab.delay import GUARD, delay


def burst(time, frequency, centre):
    """A sinusoid under a Gaussian: band-limited to far below double precision, and over before the ends."""
    return np.exp(-(((time - centre) / 60.0) ** 2)) * np.cos(2 * np.pi * frequency * time + 0.3)


class DelayTest(unittest.TestCase):
    def test_a_delayed_sinusoid_is_the_sinusoid_at_an_earlier_time(self):
        time = np.arange(2000.0)
        for frequency in (0.01, 0.123, 0.31, 0.45):
            for samples in (0.25, -0.5, 3.7, -11.2, 0.001):
                expected = burst(time - samples, frequency, 1000.0)
                moved = delay(burst(time, frequency, 1000.0), samples)
                self.assertLess(np.abs(moved - expected).max(), 1e-12, (frequency, samples))

    def test_a_whole_delay_moves_samples(self):
        signal = np.random.default_rng(1).standard_normal(500)
        moved = delay(signal, 7)
        np.testing.assert_allclose(moved[7:], signal[:-7], atol=1e-12)
        np.testing.assert_allclose(moved[:7], 0, atol=1e-12)

    def test_nothing_comes_back_in_at_the_other_end(self):
        signal = np.zeros(300)
        signal[-1] = 1.0
        self.assertLess(np.abs(delay(signal, 100)).max(), 1e-12)

    def test_two_delays_are_their_sum(self):
        signal = burst(np.arange(2000.0), 0.2, 1000.0)
        np.testing.assert_allclose(delay(delay(signal, 0.3), -1.9), delay(signal, -1.6), atol=1e-12)

    def test_a_delay_beyond_the_guard_is_refused(self):
        with self.assertRaises(ValueError):
            delay(np.zeros(10), GUARD + 1)


if __name__ == "__main__":
    unittest.main()
