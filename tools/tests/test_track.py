# SPDX-License-Identifier: MIT
"""The direction of the talker: as lines, live, as a picture; and a beam that follows it."""

import array
import json
import math
import random
import signal
import subprocess
import unittest
import xml.etree.ElementTree

from support import BLOCK, TOOL, ToolTest, read_wav, write_wav

RATE = 16000
ARRAY = ["--array", "line:4:80mm"]
# Two samples from one microphone to the next.
ANGLE = round(math.degrees(math.acos(2 * 343 / RATE / 0.08)))


def talker(seconds, lag, seed=1):
    """Four channels of bursts that reach each microphone `lag` samples before the one ahead of it, in a soft noise."""
    rng = random.Random(seed)
    frames = int(seconds * RATE)
    loud = [(1 if i // 2400 % 3 < 2 else 0) * (0.3 + 0.7 * (i % 2400) / 2400) for i in range(frames + 16)]
    voice = [rng.gauss(0, 3000) * level for level in loud]
    return [int(voice[i + 8 + lag * m] + rng.gauss(0, 30)) for i in range(frames) for m in range(4)]


class TrackTest(ToolTest):
    def track(self, *arguments):
        result = self.run_tool("track", self.input, *ARRAY, *arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def turns(self, text):
        return [(float(t), int(a)) for t, a in (line.split("#")[0].split() for line in text.splitlines())]

    def test_a_talker_and_then_another(self):
        write_wav(self.input, talker(2, 2) + talker(2, -2, seed=2), 4)
        turns = self.turns(self.track())
        self.assertLess(turns[0][0], 0.6)
        first = [angle for t, angle in turns if t < 2]
        last = turns[-1][1]
        self.assertLessEqual(max(abs(angle - ANGLE) for angle in first), 3)
        self.assertLessEqual(abs(last - (180 - ANGLE)), 3)
        switch = next(t for t, angle in turns if angle > 90)
        self.assertTrue(2 < switch < 2.6, switch)

    def test_the_lines_steer_a_beam_as_the_finder_does(self):
        write_wav(self.input, talker(1.5, 2) + talker(1.5, -2, seed=2) + [0] * 4 * 777, 4)
        lines = self.folder / "track.txt"
        lines.write_text(self.track())
        written = self.folder / "written.txt"
        for algorithm in ("fixed", "adaptive"):
            outputs = []
            for steered in (["--angle", "auto", "--angle-track-out", written], ["--angle-track", lines],
                            ["--angle-track", written, "--angle", 17], ["--angle", ANGLE]):
                result = self.run_tool("process", self.input, self.output, *ARRAY, "--algorithm", algorithm, *steered)
                self.assertEqual(result.returncode, 0, result.stderr)
                outputs.append(read_wav(self.output)[2])
            self.assertEqual(outputs[0], outputs[1])
            self.assertEqual(outputs[0], outputs[2])
            self.assertNotEqual(outputs[0], outputs[3])
        head, *rest = written.read_text().splitlines(True)
        self.assertEqual((head, "".join(rest)), ("0 90  # until a talker is heard\n", lines.read_text()))

    def test_times_that_are_no_round_numbers_still_steer_the_right_block(self):
        write_wav(self.input, talker(1, 2) + talker(1, -2, seed=2), 4, 44100)
        lines = self.folder / "track.txt"
        lines.write_text(self.track())
        outputs = []
        for steered in (["--angle", "auto"], ["--angle-track", lines]):
            self.assertEqual(self.run_tool("process", self.input, self.output, *ARRAY, *steered).returncode, 0)
            outputs.append(read_wav(self.output)[2])
        self.assertGreater(len(lines.read_text()), 0)
        self.assertEqual(outputs[0], outputs[1])

    def test_a_sector_and_where_the_beam_looks_before(self):
        write_wav(self.input, talker(1, 2) + talker(1, -2, seed=2), 4)
        self.assertLess(max(angle for _, angle in self.turns(self.track("--sector", "30,80"))), 81)
        written = self.folder / "written.txt"
        for arguments, start in ((["--sector", "30,80"], "0 55 "), (["--angle-start", 120], "0 120 ")):
            self.run_tool("process", self.input, self.output, *ARRAY, "--angle", "auto", *arguments, "--angle-track-out", written)
            self.assertTrue(written.read_text().startswith(start), written.read_text())

    def test_lines_at_even_times(self):
        write_wav(self.input, talker(2, 2), 4)
        times = [t for t, _ in self.turns(self.track("--every", 0.1))]
        self.assertGreater(len(times), 12)
        for before, after in zip(times, times[1:]):
            self.assertAlmostEqual(after - before, 0.1, delta=BLOCK / RATE + 1e-6)

    def test_lines_of_json(self):
        write_wav(self.input, talker(1, 2), 4)
        reports = [json.loads(line) for line in self.track("--json").splitlines()]
        self.assertEqual([(r["seconds"], r["degrees"]) for r in reports], self.turns(self.track()))
        self.assertTrue(all(0 <= r["confidence"] <= 1 for r in reports))

    def test_a_pipe_is_heard_while_it_goes_on(self):
        sound = array.array("h", talker(1, 2)).tobytes()
        write_wav(self.input, talker(1, 2), 4)
        expected = self.track()
        command = [TOOL, "track", "-", *ARRAY, "--rate", "16000"]
        with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0) as tool:
            tool.stdin.write(sound)
            # Blocks until the tool has written: one that waits for the end would hang here.
            heard = tool.stdout.readline()
            tool.stdin.close()
            heard += tool.stdout.read()
            self.assertEqual((tool.wait(timeout=30), tool.stderr.read()), (0, b""))
        self.assertEqual(heard.decode(), expected)

    def test_the_picture(self):
        odd = self.folder / "a<b>&c.wav"
        write_wav(odd, talker(1, 2), 4)
        picture = self.folder / "talker.svg"
        result = self.run_tool("track", odd, *ARRAY, "--picture", picture, "--sector", "20,100")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        drawing = xml.etree.ElementTree.parse(picture).getroot()
        space = "{http://www.w3.org/2000/svg}"
        self.assertIn(f"degrees, {odd}", [text.text for text in drawing.iter(space + "text")])
        paths = list(drawing.iter(space + "path"))
        self.assertEqual(sum(path.get("class") == "sector" for path in paths), 2)
        # The direction as drawn: 0 degrees at 315, 180 at 40.
        heights = [float(part.split("L")[0].split()[1]) for path in paths if path.get("class") == "heard"
                   for part in path.get("d").split("M")[1:]]
        self.assertGreater(len(heights), 0)
        self.assertLessEqual(max(abs((315 - h) / 275 * 180 - ANGLE) for h in heights), 4)

    def test_an_interrupted_run_has_drawn_what_it_heard(self):
        picture = self.folder / "talker.svg"
        command = [TOOL, "track", "-", *ARRAY, "--rate", "16000", "--picture", picture]
        with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0) as tool:
            tool.stdin.write(array.array("h", talker(1, 2)).tobytes())
            tool.stdout.readline()
            tool.send_signal(signal.SIGINT)
            self.assertEqual(tool.wait(timeout=30), 130)
            self.assertEqual(tool.stderr.read(), b"vekbf: interrupted: the lines so far are complete\n")
        self.assertEqual(xml.etree.ElementTree.parse(picture).getroot().tag, "{http://www.w3.org/2000/svg}svg")

    def test_silence(self):
        write_wav(self.input, [0] * 4 * 5000, 4)
        result = self.run_tool("track", self.input, *ARRAY)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", "vekbf: note: no talker was heard\n"))

    def test_a_file_of_options_for_a_beam(self):
        write_wav(self.input, talker(1, 2), 4)
        expected = self.track()
        (self.folder / "t").write_text("0 10\n")
        config = self.folder / "desk.ini"
        config.write_text(f"array = line:4:80mm\nangle = 20\nangle-track = {self.folder / 't'}\nalgorithm = adaptive\n")
        result = self.run_tool("track", self.input, "--config", config)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, expected, ""))
        config.write_text("array = line:4:80mm\nangle = auto\n")
        self.assertEqual(self.run_tool("geometry", "--config", config).stdout, self.run_tool("geometry", *ARRAY).stdout)

    def test_refusals(self):
        write_wav(self.input, talker(0.1, 2), 4)
        for arguments, fragment in (([self.input, "--array", "line:1:80mm"], "2 to 4 microphones"),
                                    ([self.input, *ARRAY, "--every", "0"], "--every"),
                                    ([self.input, *ARRAY, "--every", "nan"], "--every"),
                                    ([self.input, *ARRAY, "--sector", "10"], "--sector"),
                                    ([self.input, *ARRAY, "--picture", ""], "--picture"),
                                    ([self.input, self.input, *ARRAY], "one file too many"),
                                    (["-", *ARRAY], "--rate"), (ARRAY, "IN.wav is missing")):
            self.assert_refused(self.run_tool("track", *arguments), 2, fragment)
        before = self.input.read_bytes()
        self.assert_refused(self.run_tool("track", self.input, *ARRAY, "--picture", self.input), 1, "overwrite the input")
        self.assertEqual(self.input.read_bytes(), before)
        process = ["process", self.input, self.output, *ARRAY]
        self.assert_refused(self.run_tool(*process, "--angle-track-out", "t"), 2, "--angle auto")
        self.assert_refused(self.run_tool(*process, "--angle", "auto", "--angle-track-out", self.input), 1, "overwrite")
        self.assert_refused(self.run_tool(*process, "--angle", "auto", "--angle-track-out", self.output), 1, "two of the results")
        batch = ["process", self.input, "--out-dir", self.folder / "r", *ARRAY, "--angle", "auto", "--angle-track-out", "t"]
        self.assert_refused(self.run_tool(*batch), 2, "one recording")


if __name__ == "__main__":
    unittest.main()
