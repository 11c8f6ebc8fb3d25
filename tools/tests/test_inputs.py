# SPDX-License-Identifier: MIT
"""The ways to name the array, the channels, several files, a file of options and a moving talker."""

import os
import unittest

from support import BLOCK, LAG, LINE, ToolTest, line_of, noise, read_wav, write_wav

FRAMES = 3000


class InputsTest(ToolTest):
    def beam(self, *arguments):
        """The samples of a run that has nothing to say."""
        self.output.unlink(missing_ok=True)
        result = self.run_tool("process", *arguments)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        return read_wav(self.output)[2]

    def refuse(self, status, arguments, *fragments):
        self.output.unlink(missing_ok=True)
        self.assert_refused(self.run_tool("process", *arguments), status, *fragments)


class ShapeTest(InputsTest):
    def test_a_line_is_its_microphones(self):
        write_wav(self.input, noise(4 * FRAMES), 4)
        mics = [part for x in ("0", "0.035", "0.07", "0.105") for part in ("--mic", f"{x},0")]
        expected = self.beam(self.input, self.output, *mics, "--angle", 30)
        for shape in ("line:4:35mm", "line:4:3.5cm", "line:4:0.035m"):
            self.assertEqual(self.beam(self.input, self.output, "--array", shape, "--angle", 30), expected)
        other = self.beam(self.input, self.output, "--array", "line:4:36mm", "--angle", 30)
        self.assertNotEqual(other, expected)

    def test_a_square_has_the_given_side(self):
        # Half the diagonal of 100 mm is 70.71 mm.
        write_wav(self.input, noise(4 * FRAMES), 4)
        mics = ["--mic", "0.070710678,0", "--mic", "0,0.070710678", "--mic=-0.070710678,0", "--mic=0,-0.070710678"]
        expected = self.beam(self.input, self.output, *mics, "--geometry", "triangle", "--angle", 30)
        self.assertEqual(self.beam(self.input, self.output, "--array", "square:100mm", "--angle", 30), expected)

    def test_what_is_no_shape(self):
        write_wav(self.input, noise(500))
        for shape in ("", "line", "line:4", "line:5:35mm", "line:0:35mm", "line:4:35", "line:4:-35mm", "line:4:0mm",
                      "line:4:nanmm", "line:4:infm", "line:4:35 mm", "line:44:35mm", "square:", "square:64in", "circle:64mm",
                      "square:101m"):
            self.refuse(2, [self.input, self.output, "--array", shape], "--array")

    def test_shape_and_microphones_exclude_each_other(self):
        self.refuse(2, [self.input, self.output, "--array", "line:1:1m", "--mic", "0,0"], "leave --mic")
        self.refuse(2, [self.input, self.output, "--array", "line:1:1m", "--geometry", "triangle"], "--geometry")


class ChannelsTest(InputsTest):
    def test_channels_are_picked_in_order(self):
        whole = noise(8 * FRAMES)
        write_wav(self.input, whole, 8)
        picked = self.beam(self.input, self.output, *LINE, "--channels", "7,1,3,5")
        write_wav(self.input, [whole[f * 8 + c] for f in range(FRAMES) for c in (6, 0, 2, 4)], 4)
        self.assertEqual(picked, self.beam(self.input, self.output, *LINE))
        self.assertGreater(max(map(abs, picked)), 100)

    def test_a_file_name_after_the_list_is_no_channel(self):
        write_wav(self.input, noise(2 * FRAMES), 2)
        self.assertEqual(len(self.beam("--channels", "2", self.input, self.output, "--mic", "0,0")), FRAMES)

    def test_wrong_channels(self):
        write_wav(self.input, noise(2 * 500), 2)
        for text in ("0,1", "1,1", "-1,2", "a,b", "1,2,", ",1,2", "1;2", "1", "1,2,3"):
            self.refuse(2, [self.input, self.output, *line_of(2), f"--channels={text}"], "channels is ")
        self.refuse(1, [self.input, self.output, *line_of(2), "--channels", "1,3"], "in.wav'", "up to 2", "not '1,3'")

    def test_channels_of_raw_input(self):
        write_wav(self.input, noise(3 * FRAMES), 3)
        arguments = [*line_of(2), "--channels", "3,1"]
        expected = self.beam(self.input, self.output, *arguments)
        raw = self.input.read_bytes()[44:]
        (self.folder / "in.raw").write_bytes(raw)
        self.output.unlink()
        with open(self.folder / "in.raw", "rb") as stdin:
            result = self.run_tool("process", "-", self.output, *arguments, "--rate", 16000, "--raw-channels", 3, stdin=stdin)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(read_wav(self.output)[2], expected)
        self.refuse(2, [self.input, self.output, *arguments, "--raw-channels", 3], "--raw-channels")


class JoinTest(InputsTest):
    def setUp(self):
        super().setUp()
        self.parts = [noise(FRAMES, seed=s) for s in (1, 2, 3)]
        self.names = [self.folder / f"{name}.wav" for name in "abc"]
        for name, part in zip(self.names, self.parts):
            write_wav(name, part)

    def test_mono_files_are_the_channels(self):
        joined = self.beam("--join", *self.names, self.output, *line_of(3), "--angle", 20)
        write_wav(self.input, [s for frame in zip(*self.parts) for s in frame], 3)
        self.assertEqual(joined, self.beam(self.input, self.output, *line_of(3), "--angle", 20))
        swapped = self.beam("--join", *reversed(self.names), self.output, *line_of(3), "--angle", 20)
        self.assertNotEqual(joined, swapped)

    def test_files_that_do_not_fit(self):
        arguments = ["--join", *self.names, self.output, *line_of(3)]
        write_wav(self.names[1], noise(FRAMES - 1))
        self.refuse(1, arguments, "b.wav", "differs")
        write_wav(self.names[1], noise(FRAMES), rate=8000)
        self.refuse(1, arguments, "b.wav", "differs")
        write_wav(self.names[1], noise(2 * FRAMES), 2)
        self.refuse(1, arguments, "b.wav", "2 channels", "mono")
        self.refuse(1, ["--join", self.names[0], self.names[2], self.output, *line_of(3)], "2 channels", "3 microphones")
        self.refuse(2, [*self.names, self.output, *line_of(3)], "too many", "--join")
        self.refuse(2, ["--join", *self.names, "-", self.output, *line_of(3)], "--join")

    def test_no_input_is_overwritten(self):
        before = self.names[1].read_bytes()
        self.refuse(1, ["--join", *self.names, self.names[1], *line_of(3)], "overwrite")
        self.assertEqual(self.names[1].read_bytes(), before)


class BatchTest(InputsTest):
    def test_every_file_as_if_alone(self):
        target = self.folder / "results"
        expected, names = {}, []
        for i in range(7):
            name = self.folder / f"{i}.wav"
            names.append(name)
            write_wav(name, noise((500 + 300 * i) * 2, seed=i), 2, 16000 if i % 2 else 8000)
            self.beam(name, self.output, *line_of(2), "--angle", 10)
            expected[name.name] = self.output.read_bytes()
        result = self.run_tool("process", *names, "--out-dir", target, *line_of(2), "--angle", 10)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        self.assertEqual({n: (target / n).read_bytes() for n in os.listdir(target)}, expected)

    def test_one_bad_file_does_not_stop_the_others(self):
        names = [self.folder / f"{name}.wav" for name in "abc"]
        for name in names:
            write_wav(name, [0] * 300)
        names[1].write_text("no audio")
        result = self.run_tool("process", *names, "--out-dir", self.folder / "results", "--mic", "0,0")
        self.assertEqual(result.returncode, 1)
        lines = result.stderr.splitlines()
        self.assertEqual(len(lines), 4, lines)
        self.assertEqual(lines[-1], "vekbf: 1 of 3 files failed")
        self.assertEqual(sum("b.wav' as a WAV file" in line for line in lines), 1)
        for name in (names[0], names[2]):
            self.assertEqual(sum(f"'{name}': the library dropped 3 of 3 blocks" in line for line in lines), 1)
        self.assertEqual(sorted(os.listdir(self.folder / "results")), ["a.wav", "c.wav"])

    def test_refusals(self):
        write_wav(self.input, noise(300))
        (self.folder / "other").mkdir()
        twin = self.folder / "other" / "in.wav"
        write_wav(twin, noise(300))
        before = self.input.read_bytes()
        self.refuse(2, [self.input, twin, "--out-dir", self.folder / "results", "--mic", "0,0"], "two of the inputs", "in.wav")
        self.refuse(2, ["--join", self.input, "--out-dir", self.folder, "--mic", "0,0"], "--join")
        self.refuse(2, ["-", "--out-dir", self.folder, "--mic", "0,0", "--rate", 8000], "--out-dir")
        self.refuse(1, [self.input, "--out-dir", self.input, "--mic", "0,0"], "in.wav")
        result = self.run_tool("process", self.input, "--out-dir", self.folder, "--mic", "0,0")
        self.assertEqual(result.returncode, 1)
        self.assertIn("overwrite", result.stderr)
        self.assertEqual(self.input.read_bytes(), before)


class ConfigTest(InputsTest):
    def setUp(self):
        super().setUp()
        self.config = self.folder / "desk.ini"
        write_wav(self.input, noise(4 * FRAMES), 4)

    def with_config(self, text, *arguments):
        self.config.write_text(text)
        return self.beam(self.input, self.output, "--config", self.config, *arguments)

    def test_options_from_a_file(self):
        expected = self.beam(self.input, self.output, "--array", "line:4:35mm", "--angle", 20, "--algorithm", "adaptive")
        text = '; the desk\narray = "line:4:35mm"\nangle = 20\nalgorithm = adaptive\n'
        self.assertEqual(self.with_config(text), expected)

    def test_repeated_options_and_flags_from_a_file(self):
        expected = self.beam(self.input, self.output, *LINE, "--angle", -20)
        text = 'mic = ["0,0", "0.05,0", "0.1,0", "0.15,0"]\nangle = -20\n'
        self.assertEqual(self.with_config(text), expected)
        self.config.write_text(text + "verbose = true\n")
        result = self.run_tool("process", self.input, self.output, "--config", self.config)
        self.assertIn("vekbf: angle = -20\n", result.stderr)

    def test_the_command_line_wins(self):
        expected = self.beam(self.input, self.output, *LINE, "--angle", 40)
        text = 'angle = 20\nmic = ["0,0", "0.05,0", "0.1,0", "0.15,0"]\n'
        self.assertEqual(self.with_config(text, "--angle", 40), expected)

    def test_the_command_line_wins_whatever_describes_the_array(self):
        line = 'mic = ["0,0", "0.05,0", "0.1,0", "0.15,0"]\n'
        descriptions = [
            ('array = "line:4:50mm"\n', ["--array", "line:4:50mm"]),
            (line, LINE),
            ("mics = 0,0; 0.05,0; 0.1,0; 0.15,0\n", None),
            ("array = square:64mm\n", ["--array", "square:64mm"]),
            (line.replace("0.15", "0.3") + "geometry = triangle\n", None),
        ]
        for text, _ in descriptions:
            for _, arguments in descriptions:
                if arguments is None or (text.endswith("triangle\n") and "--array" not in arguments):
                    continue  # a geometry that the command line leaves alone stays
                expected = self.beam(self.input, self.output, *arguments, "--angle", 40)
                self.assertEqual(self.with_config(text, *arguments, "--angle", 40), expected, (text, arguments))

    def test_switches_are_words_of_the_file_too(self):
        write_wav(self.input, noise(4 * FRAMES) + [0] * 4 * 1000 + noise(4 * 500, seed=2), 4)
        stands = self.run_tool("process", self.input, self.output, *LINE)
        self.assertIn("zero blocks", stands.stderr)
        before = read_wav(self.output)[2]
        kept = self.beam(self.input, self.output, *LINE, "--keep-time")
        self.assertNotEqual(kept, before)
        self.assertEqual(self.with_config("keep-time = yes\n", *LINE), kept)
        self.config.write_text("keep-time = yes\n")
        self.run_tool("process", self.input, self.output, *LINE, "--config", self.config, "--keep-time=no")
        self.assertEqual(read_wav(self.output)[2], before)
        self.config.write_text("json = yes\n")
        self.assertEqual(self.run_tool("process", self.input, self.output, *LINE, "--config", self.config).stdout[:1], "{")
        for text in ("json = perhaps\n", "rate = 7999\n", "raw-channels = 0\n", "out-dir =\n"):
            self.config.write_text(text)
            self.refuse(2, [self.input, self.output, *LINE, "--config", self.config], f"desk.ini:1: {text.split()[0]} is ")
        self.config.write_text("config = x\n")
        self.refuse(2, [self.input, self.output, *LINE, "--config", self.config], "desk.ini:1: 'config' is not an option")

    def test_bad_files(self):
        for text in ("colour = red\n", "angle = east\n", "angle\n", "", "[other]\nangle = 20\n", "intensity = 11\n"):
            self.config.write_text(text)
            self.refuse(2, [self.input, self.output, *LINE, "--config", self.config])
        self.refuse(2, [self.input, self.output, *LINE, "--config", self.folder / "none.ini"], "none.ini")
        self.refuse(2, [self.input, self.output, *LINE, "--config", self.folder])


class AngleTrackTest(InputsTest):
    def setUp(self):
        super().setUp()
        self.track = self.folder / "track.txt"
        write_wav(self.input, noise(2 * 40 * BLOCK), 2)

    def with_track(self, text, *arguments):
        self.track.write_text(text)
        return self.beam(self.input, self.output, *line_of(2), "--angle-track", self.track, *arguments)

    def test_one_angle_from_the_start_is_that_angle(self):
        expected = self.beam(self.input, self.output, *line_of(2), "--angle", 33)
        self.assertEqual(self.with_track("0 33\n"), expected)
        self.assertEqual(self.with_track("# later\n\n100 90 # never\n", "--angle", 33), expected)

    def test_the_angle_changes_with_the_first_block_that_starts_in_time(self):
        # 16000 Hz: block 20 starts at 0.16 s. A sample depends on the blocks in whose frames it lies, so
        # the results part where block 20's frame begins and agree with the other angle past the overlap.
        before = self.beam(self.input, self.output, *line_of(2), "--angle", 10)
        after = self.beam(self.input, self.output, *line_of(2), "--angle", 170)
        for time in ("0.16", "0.1521", "0.159"):
            turned = self.with_track(f"0 10\n{time} 170\n")
            begins = 20 * BLOCK - LAG
            self.assertEqual(turned[:begins], before[:begins])
            self.assertNotEqual(turned[begins : begins + BLOCK], before[begins : begins + BLOCK])
            self.assertEqual(turned[begins + LAG :], after[begins + LAG :])
        late = self.with_track("0 10\n0.1601 170\n")
        self.assertEqual(late[: begins + BLOCK], before[: begins + BLOCK])

    def test_bad_tracks(self):
        for text in ("", "# nothing\n", "0\n", "0 10.5\n", "0 10 20\n", "zero 10\n", "1 10\n1 20\n", "2 10\n1 20\n",
                     "nan 10\n", "0 99999999999\n"):
            self.track.write_text(text)
            self.refuse(1, [self.input, self.output, *line_of(2), "--angle-track", self.track], "track.txt")
        self.refuse(1, [self.input, self.output, *line_of(2), "--angle-track", self.folder / "none"], "none")


if __name__ == "__main__":
    unittest.main()
