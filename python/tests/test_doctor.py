# SPDX-License-Identifier: MIT
"""`vekbf-lab doctor` on planted faults, and on real recordings where VEKBF_RECORDINGS names their folder."""

import json
import os
import unittest
from pathlib import Path

import numpy as np
from support import CommandTest, call

from vekbf_lab import arrays, doctor, scene, speech, wav
from vekbf_lab.delay import delay

RATE = 16000
RECORDINGS = os.environ.get("VEKBF_RECORDINGS", "")
LINE = arrays.from_name("line:4:80mm")
UNEVEN = arrays.from_positions([(-0.113, 0), (0.036, 0), (0.076, 0), (0.113, 0)])
SQUARE = arrays.from_name("square:100mm")


def talker():
    return scene.at_level(speech.load(speech.TALKER[:1])[0][: 4 * RATE], -26.0)


TALKER = talker()


def recording(geometry, angle, noise_db=-46.0):
    """Speech from one direction with a little noise of the microphones, shape (frames, microphones)."""
    heard = scene.plane_wave(TALKER, geometry.array, angle, RATE)
    return heard + scene.sensor_noise(*heard.shape, noise_db, np.random.default_rng(1))


def kinds(samples, geometry=LINE, angle=None):
    """[(kind, channels)] and the angle that was found."""
    result = doctor.examine(np.rint(samples), geometry, RATE, angle)
    return [(fault["kind"], fault["channels"]) for fault in result["faults"]], result["angle"]


class HealthyTest(unittest.TestCase):
    def test_nothing_is_found_and_the_talker_is(self):
        for geometry, angles in ((LINE, (20, 60, 90, 137)), (UNEVEN, (75,)), (SQUARE, (0, 101, 200, 315))):
            for angle in angles:
                with self.subTest(geometry=geometry.name, angle=angle):
                    faults, found = kinds(recording(geometry, angle), geometry)
                    self.assertEqual(faults, [])
                    self.assertAlmostEqual(found, angle, delta=1)

    def test_the_louder_of_two_talkers_is_found(self):
        second = scene.at_level(speech.load(speech.SECOND_TALKER[:1])[0], -34.0)
        second = scene.plane_wave(np.resize(second, 4 * RATE), SQUARE.array, 240, RATE)
        _, found = kinds(recording(SQUARE, 100) + second, SQUARE)
        self.assertAlmostEqual(found, 100, delta=3)

    def test_steady_noise_from_another_side_is_not_the_talker(self):
        hiss = scene.plane_wave(np.random.default_rng(3).standard_normal(len(TALKER)), SQUARE.array, 270, RATE)
        talk = recording(SQUARE, 101)
        for softer_db in (10, 5, 0):
            with self.subTest(softer_db=softer_db):
                level = np.sqrt(np.mean(talk[:, 0] ** 2)) * 10 ** (-softer_db / 20)
                _, found = kinds(talk + level * hiss[: len(talk)], SQUARE)
                self.assertAlmostEqual(found, 101, delta=5)

    def test_a_talker_above_the_array(self):
        # Delays in the plane shrink by the cosine of the elevation.
        for degrees in (30, 45):
            with self.subTest(degrees=degrees):
                positions = np.cos(np.radians(degrees)) * np.asarray(SQUARE.array.positions)
                seen = arrays.Geometry("triangle", scene.Array(tuple(map(tuple, positions))))
                faults, found = kinds(recording(seen, 60), SQUARE)
                self.assertEqual(faults, [])
                self.assertAlmostEqual(found, 60, delta=2)

    def test_two_microphones(self):
        pair = arrays.from_name("line:2:50mm")
        faults, found = kinds(recording(pair, 120), pair)
        self.assertEqual(faults, [])
        self.assertAlmostEqual(found, 120, delta=2)


class PlantedTest(unittest.TestCase):
    def setUp(self):
        self.samples = recording(LINE, 60)

    def expect(self, *faults, delta=2, geometry=LINE, angle=60, known=None):
        found, where = kinds(self.samples, geometry, known)
        self.assertEqual(found, list(faults))
        self.assertAlmostEqual(where, angle, delta=delta)

    def test_dead(self):
        for m in range(4):
            with self.subTest(channel=m):
                self.samples = recording(LINE, 60)
                self.samples[:, m] = 0
                self.expect(("dead", [m + 1]))

    def test_nearly_dead(self):
        self.samples[:, 2] = np.random.default_rng(2).integers(-1, 2, len(self.samples)) + 100
        self.expect(("dead", [3]))

    def test_all_dead(self):
        found, where = kinds(np.zeros((RATE, 4)))
        self.assertEqual(found, [("dead", [m]) for m in (1, 2, 3, 4)])
        self.assertIsNone(where)

    def test_duplicated(self):
        for i, j in ((0, 1), (1, 3), (0, 2)):
            with self.subTest(channels=(i, j)):
                self.samples = recording(LINE, 60)
                self.samples[:, j] = self.samples[:, i]
                self.expect(("duplicated", [i + 1, j + 1]))

    def test_sound_from_where_two_microphones_hear_the_same(self):
        # Without noise of their own, microphones 0 and 2 of a square hear a wave from 270 degrees alike.
        heard = scene.plane_wave(TALKER, SQUARE.array, 270, RATE)
        for seconds in (4, 0.6):
            result = doctor.examine(np.rint(heard[: round(seconds * RATE)]), SQUARE, RATE)
            self.assertEqual(result["faults"], [])
            self.assertAlmostEqual(result["angle"], 270, delta=1)

    def test_duplicated_upside_down(self):
        self.samples[:, 3] = -self.samples[:, 1]
        result = doctor.examine(np.rint(self.samples), LINE, RATE)
        self.assertIn("channels 2 and 4 carry the same signal, inverted", [f["text"] for f in result["faults"]])

    def test_clipped(self):
        limit = 0.5 * np.abs(self.samples[:, 1]).max()
        self.samples[:, 1] = np.clip(self.samples[:, 1], -limit, limit)
        self.expect(("clipped", [2]))

    def test_clipped_at_full_scale(self):
        self.samples = np.clip(20 * self.samples, -32768, 32767)
        self.expect(*(("clipped", [m]) for m in (1, 2, 3, 4)))

    def test_inverted(self):
        for m in range(4):
            with self.subTest(channel=m):
                self.samples = recording(LINE, 60)
                self.samples[:, m] *= -1
                self.expect(("inverted", [m + 1]))

    def test_delayed(self):
        for m, samples in ((0, 300), (1, 40), (2, -64), (3, 1500)):
            with self.subTest(channel=m):
                self.samples = recording(LINE, 60)
                self.samples[:, m] = delay(self.samples[:, m], samples)
                self.expect(("delayed", [m + 1]))
                text = doctor.examine(self.samples, LINE, RATE)["faults"][0]["text"]
                word = "late" if samples > 0 else "early"
                self.assertRegex(text, rf"^channel {m + 1} comes {abs(samples)}\.\d samples too {word}$")

    def test_delayed_by_less_than_the_way_between_two_microphones(self):
        self.samples[:, 1] = delay(self.samples[:, 1], 2.5)
        found, where = kinds(self.samples)
        self.assertEqual(found, [("delayed", [2])])
        self.assertAlmostEqual(where, 60, delta=2)

    def test_swapped(self):
        self.samples = self.samples[:, [0, 2, 1, 3]]
        self.expect(("swapped", [2, 3]))
        text = doctor.examine(self.samples, LINE, RATE, 60)["faults"][0]["text"]
        self.assertEqual(text, "channels 2 and 3 are swapped")
        self.samples = recording(UNEVEN, 60)[:, [2, 1, 0, 3]]
        self.expect(("swapped", [1, 3]), geometry=UNEVEN)
        self.samples = recording(SQUARE, 110)[:, [1, 0, 2, 3]]
        found, _ = kinds(self.samples, SQUARE)
        self.assertEqual([kind for kind, _ in found], ["swapped"])

    def test_a_mirrored_order_needs_the_talkers_angle(self):
        self.samples = recording(LINE, 60)[:, ::-1]
        found, where = kinds(self.samples)
        self.assertEqual(found, [])
        self.assertAlmostEqual(where, 120, delta=2)
        self.expect(("swapped", [1, 2, 3, 4]), known=60)
        self.samples = recording(SQUARE, 110)[:, [0, 3, 2, 1]]
        self.expect(("swapped", [2, 4]), geometry=SQUARE, angle=110, known=110)

    def test_a_known_angle_that_is_right_changes_nothing(self):
        self.expect(known=60)

    def test_unrelated(self):
        self.samples[:, 3] = scene.sensor_noise(len(self.samples), 1, -30.0, np.random.default_rng(9))[:, 0]
        self.expect(("unrelated", [4]))

    def test_two_faults_at_once(self):
        self.samples[:, 0] = 0
        self.samples[:, 2] *= -1
        self.expect(("dead", [1]), ("inverted", [3]))


class DoctorCommandTest(CommandTest):
    def file(self, samples, rate=RATE):
        path = self.folder / "recording.wav"
        wav.write(path, rate, samples)
        return path

    def test_a_healthy_recording(self):
        path = self.file(recording(LINE, 60))
        status, out, err = call("doctor", path, "--array", "line:4:80mm")
        self.assertEqual((status, err), (0, ""))
        self.assertRegex(out, r"^no fault found\nloudest talker: (59|60|61) degrees \(")

    def test_a_fault_has_a_status_of_its_own(self):
        samples = recording(SQUARE, 60)
        samples[:, 1] *= -1
        microphones = ["--mic=0.0707,0", "--mic=9,9", "--mic=9,9", "--mic=9,9", "--geometry", "triangle"]
        status, out, _ = call("doctor", self.file(samples), *microphones)
        self.assertEqual(status, 3)
        self.assertRegex(out, r"^channel 2 is inverted\nloudest talker: (59|60|61) degrees\n$")
        status, out, _ = call("doctor", "--json", self.file(samples), *microphones)
        self.assertEqual(json.loads(out)["faults"][0]["channels"], [2])

    def test_what_cannot_be_examined(self):
        path = self.file(recording(LINE, 60))
        self.assertIn("4 channels", self.refused(1, "doctor", path, "--array", "line:3:80mm"))
        for array in ("line:5:80mm", "line:4:80", "line:4:0mm", "ring:4:80mm", "square:x", "line:4:-3mm"):
            self.assertIn(array.rsplit(":", 1)[-1], self.refused(1, "doctor", path, "--array", array))
        self.refused(1, "doctor", path)
        self.refused(1, "doctor", path, "--mic", "0")
        self.assertIn("1 microphones", self.refused(1, "doctor", path, "--mic", "-0.1,0"))
        self.refused(2, "doctor", path, "--mic")
        self.refused(1, "doctor", path, "--mic", "nan,0")
        self.refused(1, "doctor", self.folder / "absent.wav", "--array", "line:4:80mm")
        self.refused(1, "doctor", self.file(np.ones((10, 4))), "--array", "line:4:80mm")


@unittest.skipUnless(RECORDINGS and Path(RECORDINGS, "real_line").is_dir(), "VEKBF_RECORDINGS names no recordings")
class RealTest(unittest.TestCase):
    def examine(self, name, *array):
        status, out, err = call("doctor", "--json", Path(RECORDINGS, name), *array)
        self.assertEqual(err, "")
        return status, json.loads(out)

    def test_an_office(self):
        microphones = ["--mic", "-0.113,0", "--mic", "0.036,0", "--mic", "0.076,0", "--mic", "0.113,0"]
        status, result = self.examine("real_line/talker_75deg_4ch_16k.wav", *microphones)
        self.assertEqual((status, result["faults"]), (0, []))
        self.assertIn(result["angle"], (74, 75))

    def test_a_simulated_room(self):
        status, result = self.examine("simulated_square/speech_101deg.wav", "--array", "square:100mm")
        self.assertEqual((status, result["faults"], result["angle"]), (0, [], 101))

    def test_noise_that_the_channels_do_not_share(self):
        status, result = self.examine("simulated_square/noise_independent.wav", "--array", "square:100mm")
        self.assertEqual([fault["kind"] for fault in result["faults"]], ["unrelated"] * 4)
        self.assertEqual((status, result["angle"]), (3, None))


if __name__ == "__main__":
    unittest.main()
