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


def beam(geometry):
    return vekbf.Beamformer(RATE, geometry.array.positions, geometry.name, keep_time=True)


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

    def test_the_beam_finds_its_talker(self):
        for geometry, angle in ((LINE, 60), (SQUARE, 251)):
            samples = recording(geometry, angle)
            track = finder(geometry).process(samples)
            found = track.angle
            # What is found with a block steers the next one; straight ahead until something is heard.
            angles = np.concatenate([[90], np.where(found < 0, 90, found)])
            with beam(geometry) as steered, beam(geometry) as auto:
                expected = steered.process(samples, angles[: steered.blocks(len(samples))])
                given = [auto.process(samples[at : at + 1000], "auto") for at in range(0, len(samples), 1000)]
                np.testing.assert_array_equal(np.concatenate([*given, auto.flush()])[: len(expected)], expected)
                self.assertEqual(auto.talker.angle, -1)  # a new signal
                auto.process_float(samples / 32768.0, "auto")
                self.assertEqual((auto.talker, auto.angle), (tuple(each[-1] for each in track), found[-1]))
                self.assertEqual(steered.talker, (-1, False, 0.0, 0))
                # By hand, and back: it has listened meanwhile.
                auto.process(samples[:256], 10)
                self.assertEqual(auto.angle, 10)
                auto.process(samples[:256], "auto")
                self.assertEqual(auto.angle, found[-1])

    def test_auto_that_cannot_be(self):
        samples = recording(LINE, 60)
        with beam(LINE) as late:
            late.process(samples[:100])
            with self.assertRaisesRegex(ValueError, "beginning"):
                late.process(samples[100:], "auto")
            with self.assertRaisesRegex(ValueError, "'car'"):
                late.process(samples[100:], "car")
            late.flush()
            late.process(samples, "auto")
            self.assertAlmostEqual(late.talker.angle, 60, delta=1)
        with vekbf.Beamformer(RATE, [(0, 0)]) as alone:
            with self.assertRaises(vekbf.VekBfError):
                alone.process(samples[:, :1], "auto")
            self.assertGreater(len(alone.process(samples[:, :1], 60)), 0)
        settings = vekbf.Settings({"array": "line:4:80mm", "angle": "60"})
        with vekbf.Beamformer.from_settings(settings, RATE, 4) as fixed, self.assertRaisesRegex(ValueError, "setting"):
            fixed.process(samples, "auto")
        settings["angle"] = "auto"
        with vekbf.Beamformer.from_settings(settings, RATE, 4) as auto:
            auto.process(samples)
            self.assertAlmostEqual(auto.talker.angle, 60, delta=1)

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
