# SPDX-License-Identifier: MIT
"""Every way to name an input meets every kind of damage: one line, the right status, nothing under the final name."""

import os
import resource
import subprocess
import unittest

from damaged import AUDIO, CUT, DAMAGED, HEADERS, WHOLE, WHOLE_AFTER_ALL
from support import TOOL, ToolTest, line_of, read_wav

USAGE = 2
RUN = 1
MIC = ["--mic", "0,0"]
# A header that promises gigabytes must not be believed with memory, nor with files.
MEMORY = 1 << 29
FILE = 1 << 20
# Sanitizers reserve terabytes of addresses.
SANITIZED = "-fsanitize" in os.environ["VEKBF_CC"]


def limited():
    if not SANITIZED:
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE, FILE))


class DamageTest(ToolTest):
    def tool(self, *arguments, **options):
        command = [TOOL, *map(str, arguments)]
        options = {"capture_output": True, "preexec_fn": limited, **options}
        return subprocess.run(command, timeout=60, check=False, **options)

    def expect_refusal(self, result, status, what):
        said = result.stderr.decode()
        self.assertEqual(result.returncode, status, f"{what}: {said}")
        self.assertRegex(said, r"\Avekbf: [^\n]+\n\Z", what)
        self.assertEqual(result.stdout, b"", what)

    def expect_only(self, *names):
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(names))


class FileTest(DamageTest):
    def test_as_the_only_input(self):
        for what, content in DAMAGED.items():
            with self.subTest(what):
                self.input.write_bytes(content)
                result = self.tool("process", self.input, self.output, *MIC)
                self.expect_refusal(result, RUN, what)
                self.assertIn(b"in.wav", result.stderr)
                self.expect_only("in.wav")

    def test_as_the_only_input_of_a_pipe(self):
        for what, content in DAMAGED.items():
            with self.subTest(what):
                self.input.write_bytes(content)
                self.expect_refusal(self.tool("process", self.input, "-", *MIC), RUN, what)

    def test_as_one_of_joined_files(self):
        good = self.folder / "good.wav"
        good.write_bytes(WHOLE)
        for what, content in DAMAGED.items():
            for order in ((self.input, good), (good, self.input)):
                with self.subTest(what):
                    self.input.write_bytes(content)
                    result = self.tool("process", "--join", *order, self.output, *line_of(2))
                    self.expect_refusal(result, RUN, what)
                    self.assertIn(b"in.wav", result.stderr)
                    self.expect_only("in.wav", "good.wav")

    def test_as_files_of_a_batch_beside_a_good_one(self):
        names = []
        alone = set()
        for i, content in enumerate([*DAMAGED.values(), WHOLE]):
            names.append(self.folder / f"{i:03}.wav")
            names[-1].write_bytes(content)
            alone.update(self.tool("process", names[-1], self.output, *MIC).stderr.decode().splitlines())
        results = self.folder / "results"
        result = self.tool("process", *names, "--out-dir", results, *MIC)
        self.assertEqual((result.returncode, result.stdout), (RUN, b""))
        lines = result.stderr.decode().splitlines()
        self.assertEqual(lines[-1], f"vekbf: {len(DAMAGED)} of {len(names)} files failed")
        self.assertEqual(len(lines), len(DAMAGED) + 1)
        for name in names[:-1]:
            self.assertEqual(sum(name.name in line for line in lines), 1, lines)
        # Each with the reason that it has alone: libsndfile keeps only one at a time.
        self.assertEqual(set(lines[:-1]), alone)
        self.assertEqual(os.listdir(results), [names[-1].name])
        self.assertEqual(len(read_wav(results / names[-1].name)[2]), 1000)

    def test_as_a_file_of_options(self):
        for subcommand in (["process", self.input, self.output], ["geometry"]):
            for what, content in DAMAGED.items():
                # Lines of less than three letters are passed over.
                if 0 < len(content) < 3:
                    continue
                with self.subTest(what):
                    config = self.folder / "options"
                    config.write_bytes(content)
                    self.expect_refusal(self.tool(*subcommand, *MIC, "--config", config), USAGE, what)
                    self.expect_only("options")

    def test_a_line_without_end_is_not_shown_to_its_end(self):
        config = self.folder / "options"
        config.write_bytes(b"x" * 3_000_000)
        result = self.tool("geometry", *MIC, "--config", config)
        self.expect_refusal(result, USAGE, "no end")
        self.assertLess(len(result.stderr), 6000)

    def test_a_terminal_is_not_disturbed(self):
        # What is quoted may hold anything; letters beyond ASCII stay, commands to a terminal do not.
        for quoted, shown in ((b"a\x1b[2Jb\x07\x7f", "a?[2Jb??"), ("\u00fc\u20ac\U0001d11e".encode(), "\u00fc\u20ac\U0001d11e"),
                              (b"\xfcb\xc3", "?b?"), (b"\xe2\x82.", "??."), (b"\xc0\x80\xed\xa0\x80", "?????"), (b"\xc2\x9b2J", "??2J")):
            path = os.fsencode(self.folder) + b"/" + quoted
            result = self.tool("process", os.fsdecode(path), self.output, *MIC)
            self.assertEqual(result.stderr.decode(), f"vekbf: there is no file '{self.folder}/{shown}'\n")

    def test_as_a_track_of_angles(self):
        self.input.write_bytes(WHOLE)
        for what, content in DAMAGED.items():
            with self.subTest(what):
                track = self.folder / "track"
                track.write_bytes(content)
                self.expect_refusal(self.tool("process", self.input, self.output, *MIC, "--angle-track", track), RUN, what)
                self.expect_only("in.wav", "track")

    def test_what_was_cut_off_is_called_so(self):
        # Where the header is whole; a shorter rest has no audio to miss.
        called = 0
        for what, content in CUT.items():
            if b"data" not in content[:-4]:
                continue
            self.input.write_bytes(content)
            self.assertIn(b"is cut off", self.tool("process", self.input, self.output, *MIC).stderr, what)
            called += 1
        self.assertEqual(called, 12)

    def test_what_is_whole_is_read_to_its_end(self):
        self.input.write_bytes(WHOLE)
        self.tool("process", self.input, self.output, *MIC)
        expected = read_wav(self.output)[2]
        self.assertEqual(len(expected), len(AUDIO) // 2)
        for what, content in WHOLE_AFTER_ALL.items():
            self.output.unlink()
            self.input.write_bytes(content)
            result = self.tool("process", self.input, self.output, *MIC)
            self.assertEqual((result.returncode, result.stderr), (0, b""), what)
            self.assertEqual(read_wav(self.output)[2], expected, what)

    def test_channels_and_rates_are_named(self):
        for what, fragment in (("two channels", b"2 channels"), ("1024 channels", b"not 1024"), ("rate 1", b"Hz, not 1\n"),
                               ("rate 7999", b"not 7999"), ("rate 48001", b"not 48001")):
            self.input.write_bytes(HEADERS[what])
            self.assertIn(fragment, self.tool("process", self.input, self.output, *MIC).stderr)


class PlaceTest(DamageTest):
    """Inputs that are no files, outputs that cannot be."""

    def setUp(self):
        super().setUp()
        self.input.write_bytes(WHOLE)

    def test_inputs_that_are_no_files(self):
        loop = self.folder / "loop.wav"
        loop.symlink_to(loop)
        dangling = self.folder / "dangling.wav"
        dangling.symlink_to(self.folder / "nowhere.wav")
        long = self.folder / ("x" * 300 + ".wav")
        for path in (loop, dangling, long, self.folder, self.folder / "none.wav", self.input / "in.wav", "/dev/null", "", "/"):
            for arguments, status in (([path, self.output, *MIC], RUN), ([path, "-", *MIC], RUN),
                                      (["--join", path, self.input, self.output, *line_of(2)], RUN)):
                result = self.tool("process", *arguments)
                self.expect_refusal(result, status, path)
                self.expect_only("in.wav", "loop.wav", "dangling.wav")
            for subcommand in (["process", self.input, self.output], ["geometry"]):
                self.expect_refusal(self.tool(*subcommand, *MIC, "--config", path), USAGE, path)

    def test_outputs_that_cannot_be(self):
        (self.folder / "taken").mkdir()
        for target in (self.folder / "none" / "out.wav", self.folder / "taken", self.input / "out.wav", "/proc/out.wav", "/",
                       self.folder / ("x" * 300 + ".wav"), "/dev/null", ""):
            result = self.tool("process", self.input, target, *MIC)
            self.expect_refusal(result, RUN, target)
            self.expect_only("in.wav", "taken")
            self.assertEqual(os.listdir(self.folder / "taken"), [])

    def test_a_folder_that_may_not_be_written(self):
        folder = self.folder / "locked"
        folder.mkdir(mode=0o555)
        for path in (self.folder, self.input):
            path.chmod(0o755)
        as_other = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
        try:
            probe = self.tool("--version", **as_other)
        except OSError:
            self.skipTest("the tool lies where nobody else may read it")
        self.assertEqual(probe.returncode, 0)
        self.expect_refusal(self.tool("process", self.input, folder / "out.wav", *MIC, **as_other), RUN, folder)
        result = self.tool("process", self.input, "--out-dir", folder, *MIC, **as_other)
        self.assertEqual(result.returncode, RUN)
        self.assertRegex(result.stderr.decode(), r"\Avekbf: [^\n]*cannot write [^\n]*\nvekbf: 1 of 1 file failed\n\Z")
        self.assertEqual(os.listdir(folder), [])

    def test_folders_for_a_batch_that_cannot_be(self):
        for target in (self.folder / "none" / "results", self.input, self.input / "results", "/proc/results"):
            self.expect_refusal(self.tool("process", self.input, "--out-dir", target, *MIC), RUN, target)
            self.expect_only("in.wav")
        self.expect_refusal(self.tool("process", self.input, "--out-dir", "", *MIC), USAGE, "no folder")

    def test_no_input_is_overwritten_however_it_is_named(self):
        other = self.folder / "other.wav"
        other.write_bytes(WHOLE)
        hard, soft = self.folder / "hard.wav", self.folder / "soft.wav"
        os.link(self.input, hard)
        soft.symlink_to(self.input)
        names = ("in.wav", "other.wav", "hard.wav", "soft.wav")
        for target in (self.input, hard, soft, self.folder / "." / "in.wav"):
            self.expect_refusal(self.tool("process", self.input, target, *MIC), RUN, target)
            for order in ((self.input, other), (other, self.input)):
                self.expect_refusal(self.tool("process", "--join", *order, target, *line_of(2)), RUN, target)
            self.expect_only(*names)
        for source in (self.input, soft):
            result = self.tool("process", source, "--out-dir", self.folder, *MIC)
            self.assertEqual(result.returncode, RUN)
            self.assertIn(b"overwrite the input", result.stderr)
        for name in names:
            self.assertEqual((self.folder / name).read_bytes(), WHOLE)
        self.assertTrue(soft.is_symlink())

    def test_standard_output_that_is_full(self):
        with open("/dev/full", "wb") as full:
            for arguments in (["process", self.input, "-", *MIC], ["process", self.input, self.output, *MIC, "--json"],
                              ["geometry", *MIC], ["--help"], ["process", "--help"], ["--version"]):
                result = self.tool(*arguments, capture_output=False, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual(result.returncode, RUN, arguments)
                self.assertRegex(result.stderr.decode(), r"\Avekbf: cannot write [^\n]+\n\Z")


if __name__ == "__main__":
    unittest.main()
