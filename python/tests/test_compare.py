# SPDX-License-Identifier: MIT
"""`vekbf-lab compare` on pairs for which the figures follow from their construction."""

import json
import unittest

import numpy as np
import soundfile
from support import CommandTest, call

from vekbf_lab import compare, measures, wav

RATE = 16000


def talk(frames=RATE, seed=1):
    return np.random.default_rng(seed).standard_normal(frames)


class MeasuresTest(unittest.TestCase):
    def test_snr_counts_level_and_si_sdr_does_not(self):
        signal = talk()
        # What is missing at 0.8 of the level is 0.2 of the signal.
        self.assertAlmostEqual(measures.snr(signal, 0.8 * signal), 20 * np.log10(5), places=9)
        self.assertGreater(measures.si_sdr(signal, 0.8 * signal), 200)

    def test_segmental_snr_is_the_mean_of_the_frames(self):
        signal = np.ones(RATE)
        noise = np.concatenate([np.full(RATE // 2, 0.1), np.full(RATE // 2, 0.01)])  # 20 dB, 40 dB
        self.assertAlmostEqual(measures.segmental_snr(signal, signal + noise, RATE), (20 + 35) / 2, places=9)
        noise = np.concatenate([np.full(RATE // 2, 0.1), np.full(RATE // 2, 100.0)])  # 20 dB, -40 dB
        self.assertAlmostEqual(measures.segmental_snr(signal, signal + noise, RATE), (20 - 10) / 2, places=9)
        self.assertEqual(measures.segmental_snr(signal, signal, RATE), 35)

    def test_segmental_snr_leaves_pauses_out(self):
        signal = talk()
        signal[RATE // 2 :] = 0
        heard = 1.1 * signal  # 20 dB in every frame of talk
        heard[RATE // 2 :] = 5.0
        self.assertAlmostEqual(measures.segmental_snr(signal, heard, RATE), 20, places=9)

    def test_level(self):
        self.assertAlmostEqual(measures.level_dbfs(np.full(100, 3276.8)), -20, places=9)

    def test_a_lag_is_found_either_way_and_upside_down(self):
        signal = talk(5000)
        for samples in (0, 1, 384, 2000):
            self.assertEqual(compare.lag(signal[samples:], signal[: 5000 - samples]), samples)
            self.assertEqual(compare.lag(signal[: 5000 - samples], -signal[samples:]), -samples)


class CompareCommandTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.talk = 3000 * np.sin(np.arange(RATE) * 0.1) * np.hanning(RATE)

    def file(self, name, samples, rate=RATE):
        wav.write(self.folder / name, rate, samples)
        return self.folder / name

    def figures(self, *arguments):
        status, out, err = call("compare", "--json", *arguments)
        self.assertEqual((status, err), (0, ""))
        return json.loads(out)

    def test_figures(self):
        reference = self.file("talker.wav", self.talk)
        quieter = self.file("quieter.wav", self.talk / 2)
        (row,) = self.figures(quieter, "--reference", reference)
        self.assertEqual(row["lag"], 0)
        self.assertAlmostEqual(row["gain_db"], -6.02, delta=0.01)
        self.assertAlmostEqual(row["snr_db"], 6.02, delta=0.01)
        self.assertGreater(row["si_sdr_db"], 60)
        self.assertAlmostEqual(row["level_dbfs"], measures.level_dbfs(self.talk / 2), delta=0.01)
        (row,) = self.figures(quieter, "--reference", reference, "--match-level")
        self.assertGreater(row["snr_db"], 60)

    def test_a_late_file(self):
        reference = self.file("talker.wav", talk() * 1000)
        late = self.file("late.wav", np.concatenate([np.zeros(384), talk() * 1000]))
        status, out, _ = call("compare", late, "--reference", reference)
        self.assertEqual(status, 0)
        self.assertIn("--align", out)
        (row,) = self.figures(late, "--reference", reference, "--align")
        self.assertEqual(row["lag"], 384)
        self.assertIsNone(row["snr_db"])  # no difference at all

    def test_the_table_has_a_row_for_each_pair(self):
        names = [self.file(f"{n}.wav", talk(seed=n) * 1000) for n in range(4)]
        status, out, _ = call("compare", *names[:2], "--reference", names[2], "--reference", names[3])
        self.assertEqual(status, 0)
        self.assertEqual(sum(line.startswith(str(self.folder)) for line in out.splitlines()), 4)

    def test_24_bit_and_float_files_have_the_same_level(self):
        reference = self.file("talker.wav", self.talk)
        for subtype in ("PCM_24", "PCM_32", "FLOAT"):
            soundfile.write(self.folder / "other.wav", np.rint(self.talk) / 32768, RATE, subtype=subtype)
            (row,) = self.figures(self.folder / "other.wav", "--reference", reference)
            self.assertAlmostEqual(row["gain_db"], 0, places=9)

    def test_faults_are_one_line(self):
        good = self.file("good.wav", self.talk)
        (self.folder / "text.wav").write_text("no sound")
        faults = {
            self.folder / "absent.wav": "absent.wav",
            self.folder / "text.wav": "text.wav",
            self.file("slow.wav", self.talk, 8000): "8000 Hz",
            self.file("short.wav", self.talk[:10]): "shorter",
            self.file("empty.wav", self.talk[:0]): "no sample",
        }
        for path, text in faults.items():
            with self.subTest(path=path.name):
                status, out, err = call("compare", path, "--reference", good)
                self.assertEqual((status, out, err.count("\n")), (1, "", 1), err)
                self.assertIn(text, err)
        silent = self.file("silent.wav", np.zeros(RATE))
        status, out, err = call("compare", good, "--reference", silent)
        self.assertEqual((status, out, err.count("\n")), (1, "", 1))
        for channel, text in ((2, "only 1 of them, counted from 1"), (0, "counted from 1")):
            self.assertIn(text, self.refused(1, "compare", good, "--reference", good, "--channel", channel))

    def test_usage_faults_are_one_line(self):
        for arguments in ((), ("compare",), ("compare", "x.wav"), ("juggle",), ("compare", "a", "--channel", "b")):
            status, out, err = call(*arguments)
            self.assertEqual((status, out, err.count("\n")), (2, "", 1), arguments)


if __name__ == "__main__":
    unittest.main()
