# SPDX-License-Identifier: MIT
"""Nothing that a user has is destroyed: inputs under any name, files that happen to be called like a part, links."""

import os
import signal
import subprocess
import time
import unittest

from support import TOOL, ToolTest, line_of, noise, read_wav, write_wav

ONE = ["--mic", "0,0"]


class OverwritingTest(ToolTest):
    def setUp(self):
        super().setUp()
        write_wav(self.input, noise(500))
        self.before = self.input.read_bytes()

    def refuse(self, *arguments, keep=None, **options):
        keep = keep or self.input
        before = keep.read_bytes()
        result = self.run_tool("process", *arguments, *ONE, **options)
        self.assert_refused(result, 1, "overwrite the input")
        self.assertEqual(keep.read_bytes(), before)

    def test_the_input_under_any_name(self):
        self.refuse(self.input, self.input)
        self.refuse(self.input, self.folder / "." / ".." / self.folder.name / "in.wav")
        os.link(self.input, self.folder / "same.wav")
        self.refuse(self.input, self.folder / "same.wav")
        (self.folder / "link.wav").symlink_to("in.wav")
        self.refuse(self.input, self.folder / "link.wav")
        self.refuse(self.folder / "link.wav", self.input)

    def test_standard_input(self):
        with open(self.input, "rb") as stdin:
            self.refuse("-", self.input, "--rate", 16000, stdin=stdin)

    def test_the_files_of_options_and_angles(self):
        for option, text in (("--config", "angle = 60\n"), ("--angle-track", "0 60\n")):
            file = self.folder / "settings"
            file.write_text(text)
            self.refuse(self.input, file, option, file, keep=file)

    def test_a_file_that_is_called_like_a_part_stays(self):
        mine = self.folder / "keep.wav.part"
        mine.write_bytes(b"mine")
        result = self.run_tool("process", self.input, self.folder / "keep.wav", *ONE)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(mine.read_bytes(), b"mine")
        self.assertEqual(len(read_wav(self.folder / "keep.wav")[2]), 500)

    def test_no_input_of_a_batch_is_overwritten_by_the_result_of_another(self):
        first, results = self.folder / "a" / "x.wav", self.folder / "bb"
        first.parent.mkdir()
        results.mkdir()
        write_wav(first, noise(500))
        for name in ("x.wav.part", "y.wav"):
            second = results / name
            write_wav(second, noise(700, seed=2))
            self.refuse(first, second, "--out-dir", results, keep=second)
            self.assertEqual(os.listdir(results), [name], "something was begun")
            second.unlink()
        # Through a link in the folder of the results.
        other = self.folder / "other.wav"
        write_wav(other, noise(700, seed=2))
        (results / "x.wav").symlink_to("../other.wav")
        self.refuse(first, other, "--out-dir", results, keep=other)

    def test_two_results_of_a_batch_in_one_place(self):
        results = self.folder / "results"
        results.mkdir()
        twin = self.folder / "twin.wav"
        write_wav(twin, noise(500))
        (results / "in.wav").symlink_to("twin.wav")
        result = self.run_tool("process", self.input, twin, "--out-dir", results, *ONE)
        self.assert_refused(result, 1, "two of the results")
        self.assertEqual(os.listdir(results), ["in.wav"])

    def test_a_result_that_is_named_like_the_part_of_another(self):
        twin = self.folder / "in.wav.part"
        write_wav(twin, noise(700))
        results = self.folder / "results"
        result = self.run_tool("process", self.input, twin, "--out-dir", results, *ONE)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        lengths = {name: len(read_wav(results / name)[2]) for name in sorted(os.listdir(results))}
        self.assertEqual(lengths, {"in.wav": 500, "in.wav.part": 700})

    def test_a_link_as_output_stays_and_what_it_points_at_is_replaced(self):
        (self.folder / "there").mkdir()
        target = self.folder / "there" / "real.wav"
        for old in (b"old", None):
            self.output.unlink(missing_ok=True)
            target.unlink(missing_ok=True)
            if old:
                target.write_bytes(old)
            self.output.symlink_to("there/real.wav")
            result = self.run_tool("process", self.input, self.output, *ONE)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertTrue(self.output.is_symlink())
            self.assertEqual(len(read_wav(target)[2]), 500)
            self.assertEqual(sorted(os.listdir(target.parent)), ["real.wav"])
        self.output.unlink()
        self.output.symlink_to("out.wav")
        self.assertEqual(self.run_tool("process", self.input, self.output, *ONE).returncode, 1)

    def test_a_name_of_the_greatest_length(self):
        long = self.folder / ("n" * 251 + ".wav")
        result = self.run_tool("process", self.input, long, *ONE)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(len(read_wav(long)[2]), 500)

    def test_two_runs_with_one_output_at_a_time(self):
        """The second is complete while the first still writes; then the first replaces it as a whole."""
        command = [TOOL, "process", "-", self.output, *line_of(1), "--rate", "16000"]
        with subprocess.Popen(command, stdin=subprocess.PIPE) as first:
            deadline = time.monotonic() + 30
            while not self.part_files() and time.monotonic() < deadline:
                time.sleep(0.001)
            self.assertEqual(len(self.part_files()), 1)
            result = self.run_tool("process", self.input, self.output, *ONE)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertEqual(len(read_wav(self.output)[2]), 500)
            first.communicate(b"\1\0" * 900)
        self.assertEqual(first.returncode, 0)
        self.assertEqual(len(read_wav(self.output)[2]), 900)
        self.assertEqual(self.part_files(), [])

    def test_the_mode_of_a_result_is_the_users(self):
        for mask in (0o022, 0o077):
            result = self.run_tool("process", self.input, self.output, *ONE, umask=mask)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertEqual(self.output.stat().st_mode & 0o777, 0o666 & ~mask)
            self.output.unlink()

    def test_a_run_that_is_killed_leaves_the_older_result(self):
        self.output.write_bytes(b"old")
        command = [TOOL, "process", "-", self.output, *line_of(1), "--rate", "16000"]
        with subprocess.Popen(command, stdin=subprocess.PIPE) as tool:
            while not self.part_files():
                self.assertIsNone(tool.poll())
            tool.send_signal(signal.SIGKILL)
        self.assertEqual(self.output.read_bytes(), b"old")


if __name__ == "__main__":
    unittest.main()
