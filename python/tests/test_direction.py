# SPDX-License-Identifier: MIT
"""`vekbf.Direction`: the finder over streams of any chunk length."""

import unittest

import numpy as np
import vekbf

from vekbf_lab import arrays, scene, speech

RATE = speech.RATE
LINE = arrays.from_name("line:4:80mm")
SQUARE = arrays.from_name("square:100mm")


def recording(geometry, angle):
    silence = np.zeros(RATE // 2)
    talk = scene.at_level(np.concatenate([silence, speech.load(speech.TALKER[:1])[0][: 3 * RATE]]), -26.0)
    heard = scene.plane_wave(talk, geometry.array, angle, RATE)
    noise = scene.sensor_noise(*heard.shape, -60.0, np.random.default_rng(1))
    return np.rint(heard + noise).astype(np.int16)


def finder(geometry, **settings):
    return vekbf.Direction(RATE, geometry.array.positions, geometry.name, **settings)


class DirectionTest(unittest.TestCase):
    def test_a_talker_is_found(self):
        for geometry, angle in ((LINE, 60), (LINE, 137), (SQUARE, 0), (SQUARE, 251)):
            with self.subTest(geometry=geometry.name, angle=angle):
                track = finder(geometry).process(recording(geometry, angle))
                self.assertEqual(track.angle[0], -1)
                self.assertLessEqual(abs((int(track.angle[-1]) - angle + 180) % 360 - 180), 1)
                self.assertGreater(track.confidence[-1], 0.5)
                self.assertTrue(track.heard.any())

    def test_chunks_of_any_length_give_the_same(self):
        samples = recording(SQUARE, 100)
        whole = finder(SQUARE).process(samples)
        self.assertEqual(len(whole.angle), len(samples) // vekbf.BLOCK_FRAMES)
        pieces = finder(SQUARE)
        parts = [pieces.process(samples[at : at + 333]) for at in range(0, len(samples), 333)]
        for name in whole._fields:
            np.testing.assert_array_equal(np.concatenate([getattr(part, name) for part in parts]), getattr(whole, name))

    def test_sector_and_pause(self):
        samples = recording(SQUARE, 100)
        self.assertEqual(set(finder(SQUARE, sector=(180, 300)).process(samples).angle), {-1})
        inside = finder(SQUARE, sector=(60, 140))
        self.assertAlmostEqual(inside.process(samples).angle[-1], 100, delta=1)
        inside.configure(sector=(200, 220))
        self.assertEqual(inside.process(samples[:256]).angle[-1], -1)
        paused = finder(SQUARE)
        paused.pause()
        self.assertEqual(set(paused.process(samples).angle), {-1})
        paused.pause(False)
        self.assertAlmostEqual(paused.process(samples).angle[-1], 100, delta=1)

    def test_the_map_points_at_the_talker(self):
        found = finder(SQUARE)
        self.assertFalse(found.map().any())
        found.process(recording(SQUARE, 100))
        self.assertAlmostEqual(int(np.argmax(found.map())), 100, delta=20)

    def test_what_is_refused(self):
        for name, arguments in (
            ("SAMPLE_RATE", (7999, LINE.array.positions)),
            ("MIC_NUM", (RATE, [(0, 0)])),
            ("MIC_NUM", (RATE, [(0.1 * m, 0) for m in range(5)])),
            ("MIC_COORDINATE", (RATE, [(0, 0), (0, 0)])),
            ("GEOMETRY", (RATE, SQUARE.array.positions, "circular")),
            ("SOUND_SPEED", (RATE, LINE.array.positions, "linear", 0)),
        ):
            with self.assertRaises(vekbf.VekBfError) as caught:
                vekbf.Direction(*arguments)
            self.assertEqual(caught.exception.name, "VEK_DIR_ERR_" + name)
        for bad in ({"sector": (10, 370)}, {"hold": -1.0}, {"hold": 11.0}, {"focus": 0}, {"focus": 97}):
            with self.assertRaises(ValueError, msg=str(bad)):
                finder(LINE, **bad)
        with self.assertRaises(ValueError):
            vekbf.Direction(RATE, [0.0, 0.1])
        with self.assertRaises(ValueError):
            vekbf.Direction(RATE, LINE.array.positions, "ring")
        for samples in (np.zeros((128, 3), np.int16), np.zeros((128, 4)), np.zeros(512, np.int16)):
            with self.assertRaises(ValueError):
                finder(LINE).process(samples)


if __name__ == "__main__":
    unittest.main()
