# SPDX-License-Identifier: MIT
"""Scenes against what physics says about them."""

import unittest
from pathlib import Path

import numpy as np
from support import CommandTest, call

from vekbf_lab import arrays, doctor, measures, room, scene, simulate, wav
from vekbf_lab.errors import LabError

RATE = 16000
LINE = arrays.from_name("line:4:80mm")
SIZE = (5.0, 4.0, 3.0)


def noise(frames, seed=1):
    return 1000 * np.random.default_rng(seed).standard_normal(frames)


class RoomTest(unittest.TestCase):
    def test_direct_sound_and_first_echoes_are_where_and_as_loud_as_they_should(self):
        source, microphone = np.array([1.0, 2.0, 1.5]), np.array([3.0, 2.2, 1.4])
        seconds = 0.4
        beta = room.reflection(SIZE, seconds, 343.0)
        response = room.impulse_response(SIZE, source, microphone, seconds, RATE)
        # Low-pass pulses at the arrivals of the direct sound and the seven mirror images that come first.
        mirrored = [source.copy() for _ in range(6)]
        for axis in range(3):
            mirrored[2 * axis][axis] *= -1
            mirrored[2 * axis + 1][axis] = 2 * SIZE[axis] - source[axis]
        paths = [(np.linalg.norm(source - microphone), 1.0)]
        paths += [(np.linalg.norm(image - microphone), beta) for image in mirrored]
        expected = np.zeros(len(response))
        time = np.arange(len(response))
        for distance, factor in paths:
            expected += factor / distance * np.sinc(time - distance * RATE / 343.0)
        expected = room.high_pass(expected, RATE)
        # Before the first image of second order (over a corner) nothing else arrives.
        second = min(
            np.linalg.norm([a - b for a, b in zip((x, y, z), microphone)])
            for x in (-1.0, 1.0, 9.0)
            for y in (-2.0, 2.0, 6.0)
            for z in (-1.5, 1.5, 4.5)
            if (x != 1.0) + (y != 2.0) + (z != 1.5) == 2
        )
        until = int(second * RATE / 343.0) - room.REACH
        self.assertGreater(sum(distance * RATE / 343.0 < until for distance, _ in paths), 2)
        # The sinc is cut off by a window: compare the energy of the difference.
        rest = np.sum((response - expected)[:until] ** 2) / np.sum(expected[:until] ** 2)
        self.assertLess(rest, 0.01)

    def test_the_reverberation_time_is_what_was_asked_for(self):
        for seconds in (0.15, 0.3, 0.5):
            response = room.impulse_response(SIZE, (1.2, 1.1, 1.3), (3.1, 2.7, 1.6), seconds, 8000)
            # Schroeder's backward integral, from 5 to 25 dB below the beginning.
            decay = np.cumsum(response[::-1] ** 2)[::-1]
            decibels = 10 * np.log10(decay / decay[0])
            a, b = np.argmax(decibels < -5), np.argmax(decibels < -25)
            measured = 3 * (b - a) / 8000
            self.assertAlmostEqual(measured / seconds, 1, delta=0.1)

    def test_source_and_microphone_can_be_exchanged(self):
        a, b = (1.2, 1.1, 1.3), (3.1, 2.7, 1.6)
        forth, back = (room.impulse_response(SIZE, *pair, 0.1, RATE) for pair in ((a, b), (b, a)))
        np.testing.assert_allclose(forth, back, atol=1e-9)

    def test_impossible_rooms(self):
        for source, seconds in (((5.1, 1, 1), 0.3), ((0, 1, 1), 0.3), ((1, 1, 1), 0), ((1, 1, 1), 100)):
            with self.assertRaises(LabError):
                room.impulse_response(SIZE, source, (2, 2, 2), seconds, RATE)


class SourceTest(unittest.TestCase):
    def test_a_talker_in_a_room_is_found_where_he_stands(self):
        square = arrays.from_name("square:100mm")
        walls = simulate.Room(SIZE, 0.2)
        source = simulate.Source(noise(RATE), 40.0, distance=1.2)
        heard = simulate.alone(source, square.array, RATE, walls)
        heard += scene.sensor_noise(*heard.shape, -60.0, np.random.default_rng(3))
        result = doctor.examine(heard, square, RATE)
        self.assertEqual(result["faults"], [])
        self.assertAlmostEqual(result["angle"], 40, delta=2)

    def test_what_stands_still_is_one_plane_wave(self):
        signal = noise(4000)
        for to in (None, 60.0):
            heard = simulate.alone(simulate.Source(signal, 60.0, to), LINE.array, RATE)
            np.testing.assert_array_equal(heard, scene.plane_wave(signal, LINE.array, 60.0, RATE))

    def test_pieces_add_up(self):
        signal = noise(5000)
        total = np.zeros(8000)
        for start, piece in simulate.pieces(signal, 512):
            total[start + 1000 : start + 1000 + 512] += piece
        np.testing.assert_allclose(total[1000:6000], signal, atol=1e-9)
        np.testing.assert_allclose(total[:1000], 0, atol=1e-9)

    def test_a_source_that_hardly_moves_is_nearly_one_that_stands(self):
        # Nothing at half the rate, which has no delay by a fraction of a sample.
        signal = np.convolve(noise(4000), [0.25, 0.5, 0.25], "same")
        heard = simulate.alone(simulate.Source(signal, 60.0, 60.0 + 1e-7), LINE.array, RATE)
        still = scene.plane_wave(signal, LINE.array, 60.0, RATE)
        np.testing.assert_allclose(heard[200:-200], still[200:-200], atol=0.2)

    def test_a_moving_source_goes_from_angle_to_angle(self):
        heard = simulate.alone(simulate.Source(noise(4 * RATE), 30.0, 150.0), LINE.array, RATE)
        heard += scene.sensor_noise(*heard.shape, -60.0, np.random.default_rng(3))
        for share, angle in ((0.125, 45), (0.5, 90), (0.875, 135)):
            middle = round(share * 4 * RATE)
            part = heard[middle - 2000 : middle + 2000]
            self.assertAlmostEqual(doctor.examine(part, LINE, RATE)["angle"], angle, delta=4)


class DiffuseTest(unittest.TestCase):
    def test_level_and_coherence(self):
        heard = simulate.diffuse_noise(20 * RATE, LINE.array, -40.0, RATE, np.random.default_rng(5))
        for m in range(4):
            self.assertAlmostEqual(measures.level_dbfs(heard[:, m]), -40.0, delta=0.1)
        spectra = np.fft.rfft(heard.reshape(-1, 512, 4) * np.hanning(512)[:, None], axis=1)
        frequencies = np.fft.rfftfreq(512, 1 / RATE)
        for j, distance in ((1, 0.08), (3, 0.24)):
            cross = np.mean(spectra[:, :, j] * np.conj(spectra[:, :, 0]), axis=0)
            power = np.mean(np.abs(spectra[:, :, [0, j]]) ** 2, axis=0)
            coherence = np.real(cross) / np.sqrt(power[:, 0] * power[:, 1])
            expected = np.sinc(2 * frequencies * distance / 343.0)
            self.assertLess(np.abs(coherence - expected)[4:-4].max(), 0.2)
            self.assertLess(np.sqrt(np.mean((coherence - expected)[4:-4] ** 2)), 0.05)


class SimulateCommandTest(CommandTest):
    def setUp(self):
        super().setUp()
        for name, seed in (("a", 1), ("b", 2)):
            wav.write(self.folder / f"{name}.wav", RATE, noise(RATE // 2, seed))
        self.a, self.b = self.folder / "a.wav", self.folder / "b.wav"
        self.out = self.folder / "scene.wav"

    def make(self, *arguments):
        status, out, err = call("simulate", self.out, *arguments)
        self.assertEqual((status, out, err), (0, "", ""))
        return wav.read(self.out)[1]

    def test_a_scene_is_the_sum_of_its_sources(self):
        sources = ["--source", f"{self.a},angle=60,level=-30", "--source", f"{self.b},angle=150,level=-36,start=0.25"]
        mixture = self.make("--array", "line:3:50mm", *sources)
        self.assertEqual(mixture.shape, (round(0.75 * RATE), 3))
        first, second = (wav.read(self.folder / f"scene-source{n}.wav")[1] for n in (1, 2))
        self.assertLessEqual(np.abs(mixture - first - second).max(), 1.5)
        self.assertAlmostEqual(measures.level_dbfs(first[: RATE // 2, 0]), -30.0, delta=0.1)
        self.assertAlmostEqual(measures.level_dbfs(second[RATE // 4 :, 0]), -36.0, delta=0.1)
        # Delays by fractions of a sample spread the noise's sudden beginning a little.
        self.assertLess(np.abs(second[: RATE // 4 - 100]).max(), 5)

    def test_the_seed_decides_about_the_noise(self):
        arguments = ["--array", "line:2:50mm", "--source", f"{self.a},angle=60", "--sensor-noise", "-50"]
        arguments += ["--diffuse-noise=-50", "--room", "4,3,2.5", "--rt60", "0.1", "--seed"]
        first, again, other = (self.make(*arguments, seed) for seed in (1, 1, 2))
        np.testing.assert_array_equal(first, again)
        rest = self.make(*arguments[:4])
        self.assertFalse(np.array_equal(first, other))
        self.assertFalse(np.array_equal(first, rest))

    def test_a_moving_source_in_a_room(self):
        arguments = ["--array", "line:2:50mm", "--room", "4,3,2.5", "--rt60", "0.1"]
        moved = self.make(*arguments, "--source", f"{self.a},angle=20,to=160")
        still = self.make(*arguments, "--source", f"{self.a},angle=20")
        self.assertEqual(moved.shape, still.shape)
        self.assertAlmostEqual(measures.level_dbfs(moved[:, 0]), measures.level_dbfs(still[:, 0]), delta=3)

    def test_refusals(self):
        line = ["--array", "line:2:50mm"]
        wrong = [f"{self.a}{options}" for options in ("", ",angle=x", ",angel=1", ",angle=1,distance=0")]
        for source in (*wrong, "no.wav,angle=1"):
            self.refused(1, "simulate", self.out, *line, "--source", source)
        good = ["--source", f"{self.a},angle=60"]
        self.refused(1, "simulate", self.out, *line, *good, "--rt60", "0.3")
        self.refused(1, "simulate", self.out, *line, *good, "--room", "4,3")
        self.refused(1, "simulate", self.out, *line, *good, "--room", "1,1,1", "--rt60", "0.2")  # distance 1 m
        self.refused(1, "simulate", self.out, *line, *good, "--seed", "-1")
        loud = ["--source", f"{self.a},angle=60,level=0"]
        self.assertIn("too loud", self.refused(1, "simulate", self.out, *line, *loud))
        self.refused(2, "simulate", self.out, *line)
        wav.write(self.folder / "slow.wav", 8000, noise(100))
        self.refused(1, "simulate", self.out, *line, *good, "--source", f"{self.folder / 'slow.wav'},angle=1")
        wav.write(self.folder / "silent.wav", RATE, np.zeros(100))
        self.refused(1, "simulate", self.out, *line, "--source", f"{self.folder / 'silent.wav'},angle=1")
        self.assertFalse(Path(self.out).exists())


if __name__ == "__main__":
    unittest.main()
