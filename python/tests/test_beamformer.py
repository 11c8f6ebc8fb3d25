# SPDX-License-Identifier: MIT
"""The binding against the command-line tool, cut into any parts, and what it says when something is wrong."""

import os
import pickle
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from pathlib import Path

import numpy as np

import vekbf
from vekbf_lab import wav

TOOL = os.environ.get("VEKBF_TOOL")
RATE = 16000
BLOCK = vekbf.BLOCK_FRAMES
LINE = [(0.0, 0.0), (0.04, 0.0), (0.08, 0.0), (0.12, 0.0)]
# The fixed beamformer passes one microphone on at this level.
LEVEL = 0.7948


def noise(frames, channels, seed=1, peak=4000):
    return np.random.default_rng(seed).integers(-peak, peak + 1, (frames, channels)).astype(np.int16)


def with_pauses(frames, channels, seed=1):
    """Noise with digital silence within, some of it from the middle of a block on."""
    signal = noise(frames, channels, seed)
    signal[1000:1400] = 0
    signal[2048:2700] = 0
    return signal


def parts(length, seed, longest):
    """Random lengths that add up to `length`; some are 0."""
    random = np.random.default_rng(seed)
    while length > 0:
        part = min(int(random.integers(0, longest + 1)), length)
        yield part
        length -= part


def whole(signal, angle=90, microphones=LINE, **options):
    with vekbf.Beamformer(RATE, microphones, **options) as beam:
        return np.concatenate([beam.process(signal, angle), beam.flush()])


@unittest.skipUnless(TOOL, "without the command-line tool")
class ToolTest(unittest.TestCase):
    """The same bytes as `vekbf process` writes."""

    def compare(self, signal, microphones, rate=RATE, angle=90, **options):
        with tempfile.TemporaryDirectory() as folder:
            source, target = Path(folder, "in.wav"), Path(folder, "out.wav")
            wav.write(source, rate, signal)
            command = [TOOL, "process", source, target, "--angle", str(angle)]
            for x, y in microphones:
                command += ["--mic", f"{x},{y}"]
            for name, value in options.items():
                command += ["--" + name.replace("_", "-"), str(value)]
            subprocess.run(command, check=True, capture_output=True)
            _, wanted = wav.read(target)
        with vekbf.Beamformer(rate, microphones, **options) as beam:
            result = np.concatenate([beam.process(signal, angle), beam.flush()])
        self.assertEqual(result.dtype, np.int16)
        self.assertEqual(result.tobytes(), wanted[:, 0].astype(np.int16).tobytes())
        self.assertGreater(np.abs(result.astype(int)).max(initial=0), 100)

    def test_every_number_of_microphones_and_both_algorithms(self):
        for count in (1, 2, 3, 4):
            for algorithm in ("fixed", "adaptive"):
                with self.subTest(count=count, algorithm=algorithm):
                    self.compare(with_pauses(5000, count), LINE[:count], angle=60, algorithm=algorithm)

    def test_lengths_around_the_block(self):
        for frames in (1, 127, 128, 129, 1280):
            with self.subTest(frames=frames):
                self.compare(noise(frames, 2, peak=30000), LINE[:2])

    def test_every_option(self):
        options = {"geometry": "triangle", "algorithm": "adaptive", "sound_speed": 331, "intensity": 9}
        circle = [(0.03, 0), (0, 0.03), (-0.03, 0), (0, -0.03)]
        self.compare(noise(6000, 4), circle, rate=48000, angle=-200, vad_threshold=0.9, **options)


class ChunksTest(unittest.TestCase):
    def test_results_do_not_depend_on_the_parts(self):
        signal = with_pauses(4321, 3)
        for algorithm in ("fixed", "adaptive"):
            wanted = whole(signal, 70, LINE[:3], algorithm=algorithm)
            self.assertEqual(len(wanted), len(signal))
            for seed, longest in ((1, 1), (2, 50), (3, 128), (4, 1000)):
                with self.subTest(algorithm=algorithm, longest=longest):
                    with vekbf.Beamformer(RATE, LINE[:3], algorithm=algorithm) as beam:
                        got, at = [], 0
                        for part in parts(len(signal), seed, longest):
                            got.append(beam.process(signal[at : at + part], 70))
                            at += part
                        got.append(beam.flush())
                        # Frames 1024 to 1407 and 2048 to 2687; what follows within a block is not looked at.
                        self.assertEqual(beam.zero_blocks, 8)
                    np.testing.assert_array_equal(np.concatenate(got), wanted)

    def test_nor_with_an_angle_for_each_block(self):
        signal = noise(3000, 2)
        angles = np.arange(24) * 15  # blocks begin at frames 0, 128, ... 2944
        wanted = whole(signal, angles, LINE[:2])
        self.assertFalse(np.array_equal(wanted, whole(signal, 0, LINE[:2])))
        with vekbf.Beamformer(RATE, LINE[:2]) as beam:
            got, at, used = [], 0, 0
            for part in parts(len(signal), 5, 300):
                begun = beam.blocks(part)
                got.append(beam.process(signal[at : at + part], angles[used : used + begun]))
                at, used = at + part, used + begun
            got.append(beam.flush())
        self.assertEqual(used, 24)
        np.testing.assert_array_equal(np.concatenate(got), wanted)

    def test_a_block_keeps_the_angle_that_it_began_with(self):
        signal = noise(256, 2)
        with vekbf.Beamformer(RATE, LINE[:2]) as beam:
            got = [beam.process(signal[:1], 20), beam.process(signal[1:129], 130), beam.process(signal[129:], 75)]
            got.append(beam.flush())
        np.testing.assert_array_equal(np.concatenate(got), whole(signal, [20, 130], LINE[:2]))

    def test_samples_come_as_soon_as_they_are_ready(self):
        with vekbf.Beamformer(RATE, LINE[:1]) as beam:
            signal = noise(1000, 1)
            lengths = [len(beam.process(signal[t : t + 100])) for t in range(0, 1000, 100)]
            # After n frames n // 128 blocks are through, the last three of which are still on their way.
            done = [max(n // BLOCK * BLOCK - vekbf.LAG_SAMPLES, 0) for n in range(0, 1001, 100)]
            self.assertEqual(lengths, np.diff(done).tolist())
            self.assertEqual(len(beam.flush()), 1000 - sum(lengths))

    def test_output_lines_up_with_input(self):
        signal = noise(1000, 1)
        np.testing.assert_allclose(whole(signal, 33, LINE[:1]), LEVEL * signal[:, 0], atol=4)

    def test_flush_leaves_a_beamformer_like_a_new_one(self):
        first, second = noise(1000, 4, 1), noise(1500, 4, 2)
        with vekbf.Beamformer(RATE, LINE, algorithm="adaptive") as beam:
            for signal in (first, second, second):
                got = np.concatenate([beam.process(signal, 40), beam.flush()])
                np.testing.assert_array_equal(got, whole(signal, 40, algorithm="adaptive"))
            self.assertEqual(len(beam.flush()), 0)

    def test_memory_layout_does_not_matter(self):
        signal = noise(1000, 2)
        wanted = whole(signal, 45, LINE[:2])
        for other in (np.asfortranarray(signal), signal.astype(">i2"), np.repeat(signal, 2, axis=1)[:, ::2]):
            np.testing.assert_array_equal(whole(other, 45, LINE[:2]), wanted)
        kept = signal.copy()
        whole(signal, 45, LINE[:2])
        np.testing.assert_array_equal(signal, kept)
        mono = noise(500, 1)
        np.testing.assert_array_equal(whole(mono[:, 0], 45, LINE[:1]), whole(mono, 45, LINE[:1]))

    def test_the_caller_may_use_its_buffer_again(self):
        signal = noise(1000, 2)
        buffer = np.empty((100, 2), np.int16)
        with vekbf.Beamformer(RATE, LINE[:2]) as beam:
            got = []
            for t in range(0, 1000, 100):
                buffer[:] = signal[t : t + 100]
                got.append(beam.process(buffer, 45))
                buffer[:] = 32767
            got.append(beam.flush())
        np.testing.assert_array_equal(np.concatenate(got), whole(signal, 45, LINE[:2]))

    def test_angles_are_rounded_to_degrees(self):
        signal = noise(500, 2)
        np.testing.assert_array_equal(whole(signal, 44.6, LINE[:2]), whole(signal, 45, LINE[:2]))


class ZeroBlocksTest(unittest.TestCase):
    def test_they_are_counted(self):
        signal = noise(10 * BLOCK, 2)
        signal[3 * BLOCK : 3 * BLOCK + 64] = 0  # only the first 128 values count
        signal[7 * BLOCK : 7 * BLOCK + 63] = 0
        signal[9 * BLOCK :] = -32768  # squares that add up to 0 modulo 2**32
        with vekbf.Beamformer(RATE, LINE[:2]) as beam:
            beam.process(signal[:500])
            self.assertEqual(beam.zero_blocks, 0)
            beam.process(signal[500:])
            self.assertEqual(beam.zero_blocks, 2)


    def test_time_can_be_kept(self):
        signal = with_pauses(4321, 2)
        # Blocks 8 to 10 and 16 to 20 begin with 128 values of silence: one of them loses its zero.
        spoilt = signal.copy()
        for block in (8, 9, 10, 16, 17, 18, 19, 20):
            self.assertFalse(spoilt[block * BLOCK : block * BLOCK + 64].any())
            spoilt[block * BLOCK, 0] = 1
        wanted = whole(spoilt, 60, LINE[:2])
        np.testing.assert_array_equal(whole(signal, 60, LINE[:2], keep_time=True), wanted)
        self.assertFalse(np.array_equal(whole(signal, 60, LINE[:2]), wanted))
        with vekbf.Beamformer(RATE, LINE[:2], keep_time=True) as beam:
            beam.process(signal)
            self.assertEqual(beam.zero_blocks, 8)
        self.assertEqual(beam.zero_blocks, 8)  # also of one that is closed


class FloatTest(unittest.TestCase):
    def test_it_is_rounded_to_nearest_and_clipped(self):
        whole_samples = noise(3000, 2)
        exact = whole_samples / 32768
        spoilt = exact + 0.4 / 32768
        spoilt[5, 0], spoilt[6, 1], spoilt[7, 0] = 1.5, -7.0, np.nan
        whole_samples[5, 0], whole_samples[6, 1], whole_samples[7, 0] = 32767, -32768, 0
        wanted = whole(whole_samples, 60, LINE[:2])
        for samples in (spoilt, spoilt.astype(np.float32), np.asfortranarray(spoilt)):
            with vekbf.Beamformer(RATE, LINE[:2]) as beam:
                got = [beam.process_float(samples[:1000], 60), beam.process_float(samples[1000:], [60] * 16)]
                got.append(beam.flush())
            np.testing.assert_array_equal(np.concatenate(got), wanted)
            counts = beam.counts
            self.assertEqual((counts.frames, counts.blocks, counts.clipped, counts.not_numbers), (3000, 24, 2, 1))

    def test_other_types_are_refused(self):
        with vekbf.Beamformer(RATE, LINE[:2]) as beam:
            for kind in (np.int16, np.float16, np.complex64):
                with self.assertRaisesRegex(TypeError, "32 or 64 bits"):
                    beam.process_float(np.zeros((10, 2), kind))


class SettingsTest(unittest.TestCase):
    def test_a_beam_from_the_words_of_the_tool(self):
        signal = noise(3000, 4)
        settings = vekbf.Settings({"array": "line:4:40mm", "algorithm": "adaptive", "angle": "60", "keep-time": "no"})
        settings["intensity"] = "9"
        self.assertEqual((settings["angle"], settings["sound-speed"], settings["angle-track"]), ("60", "343", None))
        with vekbf.Beamformer.from_settings(settings, RATE, 4) as beam:
            got = np.concatenate([beam.process(signal), beam.flush()])
            steered = np.concatenate([beam.process(signal, 100), beam.flush()])
        options = {"algorithm": "adaptive", "intensity": 9}
        np.testing.assert_array_equal(got, whole(signal, 60, **options))
        np.testing.assert_array_equal(steered, whole(signal, 100, **options))

    def test_an_option_file_and_an_angle_track(self):
        signal = noise(3000, 4)
        with tempfile.TemporaryDirectory() as folder:
            track, options = Path(folder, "track.txt"), Path(folder, "beam.conf")
            track.write_text("0.04 30\n0.1 150\n")
            options.write_text(f"array = line:4:40mm\nangle = 80\nangle-track = {track}\n")
            settings = vekbf.Settings()
            settings.read(options)
            options.write_text("angle = north\n")
            with self.assertRaisesRegex(vekbf.VekBfError, "beam.conf:1: angle is a whole number"):
                settings.read(options)
        with vekbf.Beamformer.from_settings(settings, RATE, 4) as beam:
            got = np.concatenate([beam.process(signal[:640]), beam.process(signal[640:]), beam.flush()])
            self.assertEqual(beam.angle, 80)  # of the first block of the next signal
            beam.process(signal[:641])
            self.assertEqual(beam.angle, 30)
        # From the first block on that begins at 640 frames or later, then at 1600.
        angles = [80] * 5 + [30] * 8 + [150] * 11
        np.testing.assert_array_equal(got, whole(signal, angles))

    def test_the_array(self):
        name, positions, sound_speed = vekbf.Settings({"array": "square:64mm", "sound-speed": "340"}).array()
        self.assertEqual((name, sound_speed), ("triangle", 340))
        radius = 0.064 / np.sqrt(2)
        np.testing.assert_allclose(positions, [(radius, 0), (0, radius), (-radius, 0), (0, -radius)], atol=1e-8)

    def test_faults_are_one_line(self):
        def refused(text, call):
            with self.assertRaisesRegex(vekbf.VekBfError, text) as caught:
                call()
            self.assertNotIn("\n", str(caught.exception))

        settings = vekbf.Settings({"array": "line:2:5cm"})
        refused("'tempo' is not a setting", lambda: settings.__setitem__("tempo", "1"))
        refused("angle is a whole number", lambda: settings.__setitem__("angle", "6\n0"))
        refused("null character", lambda: settings.__setitem__("angle", "60\0"))
        refused("absent", lambda: settings.read("absent.conf"))
        refused("3 channels", lambda: settings.check(RATE, 3))
        refused("the sample rate", lambda: settings.check(96000))
        refused("array is missing", lambda: vekbf.Settings().check())
        refused("array is missing", lambda: vekbf.Settings().array())
        refused("3 channels", lambda: vekbf.Beamformer.from_settings(settings, RATE, 3))
        settings.check(RATE, 2)


class FaultsTest(unittest.TestCase):
    def refused(self, code, name, **options):
        arguments = {"sample_rate": RATE, "microphones": LINE[:2], **options}
        with self.assertRaises(vekbf.VekBfError) as caught:
            vekbf.Beamformer(**arguments)
        error = caught.exception
        self.assertEqual((error.code, error.name, error.call), (code, name, "VekBf_SetConfig"))
        self.assertIn(f"0x{code:08x}", str(error))
        self.assertIsInstance(error, ValueError)

    def test_the_codes_of_the_library(self):
        for rate in (7999, 48001, -1, 2**32 + RATE):
            self.refused(0x30000403, "VEK_BF_ERR_SAMPLE_RATE", sample_rate=rate)
        for speed in (0, -343, -(2**40)):
            self.refused(0x30000405, "VEK_BF_ERR_SOUND_SPEED", sound_speed=speed)
        self.refused(0x30000406, "VEK_BF_ERR_MIC_NUM", microphones=[(0.01 * m, 0) for m in range(5)])
        for threshold in (-0.01, 1.01, float("nan"), float("inf")):
            self.refused(0x30000409, "VEK_BF_ERR_VAD_THRESHOLD", vad_threshold=threshold)
        for intensity in (-1, 11, 2**32 + 5, -(2**32) + 5):
            self.refused(0x30000410, "VEK_BF_ERR_INTENSITY", intensity=intensity)

    def test_the_limits_are_accepted(self):
        for rate in (8000, 48000):
            vekbf.Beamformer(rate, LINE, sound_speed=1, vad_threshold=0, intensity=0).close()
            vekbf.Beamformer(rate, LINE, sound_speed=2**31 - 1, vad_threshold=1, intensity=10).close()

    def test_what_the_library_would_let_pass(self):
        for microphones in ([], [(0, 0, 0)], [0, 0], [(0, float("nan"))], [(float("inf"), 0)]):
            with self.assertRaises(ValueError):
                vekbf.Beamformer(RATE, microphones)
        for geometry in ("rectangle", "circular"):
            with self.assertRaisesRegex(ValueError, "silence"):
                vekbf.Beamformer(RATE, LINE, geometry=geometry)
        for key, wanted in (("geometry", "linear or triangle"), ("algorithm", "fixed or adaptive")):
            with self.assertRaisesRegex(ValueError, f"{key} is {wanted}, not 'round'"):
                vekbf.Beamformer(RATE, LINE, **{key: "round"})
        for option in ({"sound_speed": 343.5}, {"intensity": "5"}):
            with self.assertRaisesRegex(TypeError, "whole number"):
                vekbf.Beamformer(RATE, LINE, **option)

    def test_samples(self):
        with vekbf.Beamformer(RATE, LINE[:2]) as beam:
            for samples in (np.zeros((10, 2)), np.zeros((10, 2), np.int32), np.zeros((10, 2), np.uint16)):
                with self.assertRaisesRegex(TypeError, "16-bit"):
                    beam.process(samples)
            for shape in ((10,), (10, 1), (2, 10), (10, 2, 1)):
                with self.assertRaisesRegex(ValueError, r"\(frames, 2\)"):
                    beam.process(np.zeros(shape, np.int16))
            for samples in (np.zeros((10, 2), "<i2"), np.zeros((0, 2), np.int16)):
                samples.flags.writeable = False
                beam.process(samples)
            beam.flush()
            # A refused call has taken nothing.
            signal = noise(300, 2)
            got = np.concatenate([beam.process(signal), beam.flush()])
            np.testing.assert_array_equal(got, whole(signal, 90, LINE[:2]))

    def test_angles(self):
        with vekbf.Beamformer(RATE, LINE[:2]) as beam:
            for angle in ([10, 20], [10] * 4, [[10, 20, 30]], float("nan"), [1, 2, float("inf")], 2**31):
                with self.assertRaises(ValueError):
                    beam.process(noise(257, 2), angle)  # three blocks begin
            beam.process(noise(257, 2), [10, 20, 30])

    def test_a_closed_one(self):
        beam = vekbf.Beamformer(RATE, LINE)
        with beam:
            pass
        beam.close()
        for call in (lambda: beam.process(noise(1, 4)), beam.flush, beam.__enter__):
            with self.assertRaisesRegex(ValueError, "closed"):
                call()

    def test_errors_travel_between_processes(self):
        error = vekbf.VekBfError(0x30000403, "VekBf_SetConfig", "too fast")
        copy = pickle.loads(pickle.dumps(error))
        self.assertEqual((copy.code, copy.name), (0x30000403, "VEK_BF_ERR_SAMPLE_RATE"))
        self.assertEqual(str(copy), str(error))


UNCLOSED = """
import ctypes, gc
import numpy as np
import vekbf

class Owner:
    def __init__(self):
        self.beam = vekbf.Beamformer(16000, [(0, 0), (0.05, 0)])
        self.beam.process(np.zeros((0, 2), np.int16), "auto")
        self.itself = self  # a cycle: only the garbage collector takes it apart

gc.set_threshold(1, 1, 1)
kept = vekbf.Beamformer(16000, [(0, 0)])
silence = np.zeros(128, np.int16)
for _ in range(2000):
    Owner()
    kept.process(silence)

def used():  # bytes of memory pages in use
    return int(open("/proc/self/statm").read().split()[1]) * 4096

before = used()
for _ in range(2000):
    Owner()
    kept.process(silence)
assert used() - before < 20e6, used() - before
"""


class UnclosedTest(unittest.TestCase):
    def test_the_garbage_collector_may_come_at_any_time(self):
        # It runs on this thread wherever an object is made, also while the binding holds a lock.
        subprocess.run([sys.executable, "-B", "-c", UNCLOSED], check=True, timeout=60)


class SpeedTest(unittest.TestCase):
    def test_a_call_costs_less_than_a_500th_of_its_10_ms(self):
        signal = noise(20 * RATE, 4)
        chunks = [signal[at : at + RATE // 100] for at in range(0, len(signal), RATE // 100)]

        def seconds(parts):  # of this thread: other programs do not count
            with vekbf.Beamformer(RATE, LINE) as beam:
                begin = time.thread_time()
                for part in parts:
                    beam.process(part, 60)
                return time.thread_time() - begin

        pairs = [(seconds(chunks), seconds([signal])) for _ in range(10)]
        cut, uncut = (min(times) for times in zip(*pairs))
        self.assertLess((cut - uncut) / len(chunks), 0.01 / 500)


class ThreadsTest(unittest.TestCase):
    def test_instances_run_side_by_side(self):
        signals = [noise(20000, 4, seed) for seed in range(4)]
        wanted = [whole(signal, 50, algorithm="adaptive") for signal in signals]
        results = [None] * len(signals)

        def run(index):
            results[index] = whole(signals[index], 50, algorithm="adaptive")

        threads = [threading.Thread(target=run, args=(index,)) for index in range(len(signals))]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        for result, right in zip(results, wanted):
            np.testing.assert_array_equal(result, right)


if __name__ == "__main__":
    unittest.main()
