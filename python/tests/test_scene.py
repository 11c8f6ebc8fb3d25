# SPDX-License-Identifier: MIT
"""The scene's physics: who hears first, how loud, and the same every time."""

import unittest

import numpy as np

from vekbf_lab import demo, scene, wav

RATE = 16000


class ArrivalTest(unittest.TestCase):
    def test_a_wave_along_x_reaches_the_far_microphone_first(self):
        array = scene.Array(positions=((0.0, 0.0), (0.343, 0.0)))
        np.testing.assert_allclose(array.arrival_delays(0), [0.0, -0.001], atol=1e-15)
        np.testing.assert_allclose(array.arrival_delays(180), [0.0, 0.001], atol=1e-15)
        np.testing.assert_allclose(array.arrival_delays(90), [0.0, 0.0], atol=1e-15)
        np.testing.assert_allclose(array.arrival_delays(60), [0.0, -0.0005], atol=1e-15)

    def test_angles_count_from_x_towards_y(self):
        array = scene.Array(positions=((0.0, 0.343), (0.0, -0.343)))
        np.testing.assert_allclose(array.arrival_delays(90), [-0.001, 0.001], atol=1e-15)

    def test_a_plane_wave_is_the_signal_moved(self):
        array = scene.Array(positions=((0.0, 0.0), (0.343, 0.0)))
        click = np.zeros(200)
        click[100] = 1.0
        heard = scene.plane_wave(click, array, 0, RATE)
        self.assertEqual(np.argmax(heard[:, 0]), 100)
        self.assertEqual(np.argmax(heard[:, 1]), 100 - 16)  # 1 ms earlier


class LevelTest(unittest.TestCase):
    def test_silence_between_words_does_not_count(self):
        signal = np.concatenate([np.full(100, 3.0), np.zeros(900)])
        np.testing.assert_allclose(scene.at_level(signal, -20.0)[:100], 3276.8)

    def test_sensor_noise_has_its_level_and_is_independent(self):
        noise = scene.sensor_noise(200000, 2, -40.0, np.random.default_rng(1))
        power = 10 * np.log10(np.mean(noise**2, axis=0) / 32768.0**2)
        np.testing.assert_allclose(power, -40.0, atol=0.05)
        self.assertLess(abs(np.corrcoef(noise.T)[0, 1]), 0.01)


class DemoSceneTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.alone, cls.mixture = demo.make_scene()

    def test_it_is_the_same_every_time(self):
        alone, mixture = demo.make_scene()
        np.testing.assert_array_equal(alone, self.alone)
        np.testing.assert_array_equal(mixture, self.mixture)

    def test_there_is_headroom(self):
        self.assertLess(np.abs(self.mixture).max(), 0.7 * wav.FULL_SCALE)

    def test_the_levels_are_those_that_the_text_states(self):
        def level(signal):
            return 10 * np.log10(np.mean(signal**2) / 32768.0**2)

        frames = round(0.5 * RATE)
        talker = self.alone[:, 0]
        # Exact silence in the source spreads a little through the delays: look at what is louder than one step.
        self.assertAlmostEqual(level(talker[np.abs(talker) > 0.5]), demo.TALKER_DB, delta=0.3)
        rest = (self.mixture - self.alone)[:, 0]
        expected = 10 * np.log10(10 ** (demo.SECOND_TALKER_DB / 10) + 10 ** (demo.NOISE_DB / 10))
        self.assertAlmostEqual(level(rest[frames:]), expected, delta=1.0)

    def test_no_block_is_a_zero_block(self):
        heads = np.rint(self.mixture[: len(self.mixture) // 128 * 128]).reshape(-1, 128, 4)[:, :32]
        self.assertTrue(np.all(np.any(heads != 0, axis=(1, 2))))


class WavTest(unittest.TestCase):
    def test_too_loud_is_refused_not_clipped(self):
        with self.assertRaises(ValueError):
            wav.write("/nonexistent/never-opened.wav", RATE, np.array([32768.0]))


class WrapTest(unittest.TestCase):
    def test_a_wrapped_sample_is_counted_and_a_loud_one_is_not(self):
        self.assertEqual(demo.wraps(np.array([0.0, 16000.0, 32767.0, -32768.0, -20000.0])), 1)
        self.assertEqual(demo.wraps(np.array([0.0, 32767.0, 0.0, -32768.0])), 0)


if __name__ == "__main__":
    unittest.main()
