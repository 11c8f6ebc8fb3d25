# SPDX-License-Identifier: MIT
"""What an interrupted run leaves, what a terminal gets to see, and the report for programs."""

import array
import contextlib
import errno
import io
import json
import math
import os
import re
import signal
import subprocess
import threading
import time
import unittest
import wave

from support import BLOCK, LAG, TOOL, ToolTest, line_of, noise, read_wav, write_wav


class InterruptionTest(ToolTest):
    def interrupt_pipe(self, number, target, blocks=20):
        """Stops a run that waits for more input; returns (status, raw output, standard error)."""
        command = [TOOL, "process", "-", target, "--mic", "0,0", "--rate", "16000"]
        with subprocess.Popen(
            command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, bufsize=0
        ) as tool:
            tool.stdin.write(array.array("h", noise(blocks * BLOCK)).tobytes())
            heard = b""
            if target == "-":
                while len(heard) < 2 * (blocks * BLOCK - LAG):
                    heard += tool.stdout.read(4096)
            else:
                # The pipe is empty once the tool waits for the next block.
                while pending(tool.stdin.fileno()) > 0:
                    pass
            tool.send_signal(number)
            self.assertEqual(tool.wait(timeout=30), 130)
            return heard + tool.stdout.read(), tool.stderr.read().decode()

    def test_what_is_done_so_far_is_a_valid_file(self):
        _, whole = self.process(noise(30 * BLOCK), 1)
        self.output.unlink()
        for number in (signal.SIGINT, signal.SIGTERM):
            heard, said = self.interrupt_pipe(number, self.output)
            self.assertEqual(heard, b"")
            (part,) = self.part_files()
            self.assertEqual(said, f"vekbf: interrupted: what is done so far is in '{part}'\n")
            self.assertRegex(part.name, r"\Aout\.wav\.")
            self.assertFalse(self.output.exists())
            channels, rate, samples = read_wav(part)
            part.unlink()
            self.assertEqual((channels, rate), (1, 16000))
            # The last block may have been on its way.
            self.assertIn(len(samples), (20 * BLOCK - LAG, 19 * BLOCK - LAG))
            self.assertEqual(samples, whole[: len(samples)])

    def test_an_older_result_stays(self):
        self.output.write_bytes(b"old")
        self.interrupt_pipe(signal.SIGINT, self.output)
        self.assertEqual(self.output.read_bytes(), b"old")

    def test_piped_output_ends_with_whole_blocks(self):
        _, whole = self.process(noise(30 * BLOCK), 1)
        heard, said = self.interrupt_pipe(signal.SIGTERM, "-")
        self.assertEqual(said, "vekbf: interrupted: what is done so far is in standard output\n")
        self.assertEqual(heard, array.array("h", whole[: 20 * BLOCK - LAG]).tobytes())

    def test_a_file_is_interrupted_too_and_a_batch_as_well(self):
        names = [self.folder / f"{name}.wav" for name in "abcd"]
        results = self.folder / "results"
        for ending, arguments, result in (
            (".part'", names[:1] + [self.output], self.output),
            ("interrupted: 0 of 4 files are complete", [*names, "--out-dir", results], results / "a.wav"),
        ):
            command = [TOOL, "process", *arguments, *line_of(4), "--algorithm", "adaptive"]
            with contextlib.ExitStack() as feeders:
                for name in names:
                    feeders.enter_context(SlowRecording(name, 4))
                tool = feeders.enter_context(subprocess.Popen(command, stderr=subprocess.PIPE, text=True))
                grown = []
                while not grown:
                    self.assertIsNone(tool.poll())
                    time.sleep(0.001)
                    parts = self.part_files(result.parent) if result.parent.exists() else []
                    grown = [p for p in parts if p.name.startswith(result.name) and p.stat().st_size > 2000]
                tool.send_signal(signal.SIGINT)
                said = tool.stderr.read()
            self.assertEqual(tool.returncode, 130, said)
            self.assertTrue(said.splitlines()[-1].endswith(ending), said)
            self.assertIn(f"'{grown[0]}'", said)
            self.assertGreater(len(read_wav(grown[0])[2]), 500)
            self.assertFalse(result.exists())

    @unittest.skipIf(len(os.sched_getaffinity(0)) < 2, "one processor does one file after the other")
    def test_the_files_of_a_batch_run_side_by_side(self):
        write_wav(self.folder / "b.wav", noise(3000))
        results = self.folder / "results"
        # The first file does not end before the second is complete.
        with SlowRecording(self.folder / "a.wav", 1) as slow:
            command = [TOOL, "process", self.folder / "a.wav", self.folder / "b.wav", "--out-dir", results, "--mic", "0,0"]
            with subprocess.Popen(command, stderr=subprocess.PIPE) as tool:
                deadline = time.monotonic() + 30
                begun = []
                while begun != ["a.wav", "b.wav"] and time.monotonic() < deadline:
                    self.assertIsNone(tool.poll())
                    time.sleep(0.001)
                    present = sorted(os.listdir(results)) if results.exists() else []
                    begun = [re.sub(r"\Aa\.wav\..*\.part\Z", "a.wav", name) for name in present]
                slow.frames_left = 100
                self.assertEqual((tool.wait(timeout=60), tool.stderr.read()), (0, b""))
        self.assertEqual(begun, ["a.wav", "b.wav"])
        self.assertEqual(sorted(os.listdir(results)), ["a.wav", "b.wav"])
        self.assertGreater(len(read_wav(results / "a.wav")[2]), 100)

    def interrupt_silent_pipe(self, ready, *arguments):
        """Stops a run with a named pipe that says nothing, once `ready()`; returns its standard error."""
        pipe = self.folder / "silent.wav"
        os.mkfifo(pipe)
        command = [TOOL, "process", pipe, *arguments, "--mic", "0,0"]
        with subprocess.Popen(command, stderr=subprocess.PIPE, text=True) as tool:
            writer = None
            while writer is None or not ready():
                self.assertIsNone(tool.poll())
                time.sleep(0.001)
                with contextlib.suppress(OSError):  # refused until there is a reader
                    writer = writer or os.open(pipe, os.O_WRONLY | os.O_NONBLOCK)
            tool.send_signal(signal.SIGINT)
            self.assertEqual(tool.wait(timeout=30), 130)
            os.close(writer)
            return tool.stderr.read()

    def test_a_named_pipe_that_says_nothing_can_be_given_up(self):
        said = self.interrupt_silent_pipe(lambda: True, self.output)
        self.assertRegex(said, r"\Avekbf: interrupted before anything came from '[^\n]+silent\.wav'\n\Z")
        self.assertEqual(os.listdir(self.folder), ["silent.wav"])

    @unittest.skipIf(len(os.sched_getaffinity(0)) < 2, "one processor does one file after the other")
    def test_nor_do_other_files_wait_for_it(self):
        write_wav(self.folder / "good.wav", noise(3000))
        results = self.folder / "results"
        good = self.folder / "good.wav"
        said = self.interrupt_silent_pipe((results / "good.wav").exists, good, "--out-dir", results)
        self.assertIn("silent.wav'\n", said)
        # The good one has its name a moment before it counts as complete.
        self.assertRegex(said, r"\nvekbf: interrupted: [01] of 2 files are complete\n\Z")
        self.assertEqual(len(read_wav(results / "good.wav")[2]), 3000)

    def test_a_signal_that_was_ignored_stays_ignored(self):
        command = f'trap "" INT; exec "{TOOL}" process - "{self.output}" --mic 0,0 --rate 16000'
        with subprocess.Popen(["sh", "-c", command], stdin=subprocess.PIPE) as tool:
            tool.stdin.write(array.array("h", noise(9 * BLOCK)).tobytes())
            tool.stdin.flush()
            while pending(tool.stdin.fileno()) > 0:
                pass
            tool.send_signal(signal.SIGINT)
            tool.stdin.close()
            self.assertEqual(tool.wait(timeout=30), 0)
        self.assertEqual(len(read_wav(self.output)[2]), 9 * BLOCK)


class SlowReaderTest(ToolTest):
    """Whoever reads standard output takes its time; the output may be a pipe that does not block."""

    def setUp(self):
        super().setUp()
        samples = noise(80000)  # more than a pipe holds
        _, whole = self.process(samples, 1)
        self.whole = array.array("h", whole).tobytes()
        (self.folder / "in.raw").write_bytes(array.array("h", samples).tobytes())

    @contextlib.contextmanager
    def running(self, blocking, *arguments, **environment):
        """(the tool, the end to read its output from)"""
        outer, inner = os.pipe()
        os.set_blocking(inner, blocking)
        command = [TOOL, "process", "-", "-", "--mic", "0,0", "--rate", "16000", *arguments]
        with open(self.folder / "in.raw", "rb") as stdin, open(outer, "rb") as reader, subprocess.Popen(
            command, stdin=stdin, stdout=inner, stderr=subprocess.PIPE, env={**os.environ, **environment}
        ) as tool:
            os.close(inner)
            try:
                yield tool, reader
            finally:
                tool.kill()

    def wait_until_full(self, pipe):
        before, since = 0, time.monotonic()
        while before == 0 or time.monotonic() - since < 0.2:
            now = pending(pipe)
            if now != before:
                before, since = now, time.monotonic()
            time.sleep(0.005)

    def test_everything_comes_out_in_the_end(self):
        for blocking in (True, False):
            with self.running(blocking) as (tool, reader):
                self.wait_until_full(reader)
                self.assertEqual(reader.read(), self.whole)
                self.assertEqual((tool.wait(timeout=30), tool.stderr.read()), (0, b""))

    def test_a_report_waits_too(self):
        names = [self.folder / f"{i}{'n' * 200}.wav" for i in range(200)]
        for name in names:
            write_wav(name, noise(10))
        outer, inner = os.pipe()
        os.set_blocking(inner, False)
        command = [TOOL, "process", *names, "--out-dir", self.folder / "results", "--mic", "0,0", "--json"]
        with open(outer, "rb") as reader, subprocess.Popen(command, stdout=inner, stderr=subprocess.PIPE) as tool:
            os.close(inner)
            self.wait_until_full(reader)
            lines = reader.read().splitlines()
            self.assertEqual((tool.wait(timeout=60), tool.stderr.read()), (0, b""))
        self.assertEqual(sorted(json.loads(line)["inputs"][0] for line in lines), sorted(map(str, names)))

    def expect_interruption(self, tool, reader):
        self.assertEqual(tool.wait(timeout=20), 130)
        self.assertEqual(tool.stderr.read(), b"vekbf: interrupted: what is done so far is in standard output\n")
        heard = reader.read()
        self.assertEqual(heard, self.whole[: len(heard)])
        self.assertEqual(len(heard) % (2 * BLOCK), 0)

    def test_a_signal_during_the_wait(self):
        for blocking in (True, False):
            with self.running(blocking) as (tool, reader):
                self.wait_until_full(reader)
                tool.send_signal(signal.SIGTERM)
                self.expect_interruption(tool, reader)

    def test_a_signal_just_before_the_wait_is_not_missed(self):
        for blocking in (True, False):
            preloaded = {"LD_PRELOAD": os.environ["VEKBF_SIGNAL_BEFORE_WAIT"], "ASAN_OPTIONS": "verify_asan_link_order=0"}
            with self.running(blocking, **preloaded) as (tool, reader):
                self.expect_interruption(tool, reader)


def pending(descriptor):
    """Bytes in a pipe that nobody has read yet."""
    import fcntl
    import struct
    import termios

    return struct.unpack("i", fcntl.ioctl(descriptor, termios.FIONREAD, b"\0\0\0\0"))[0]


class SlowRecording:
    """A named pipe that a WAV file of unknown length comes out of, a block every few milliseconds while somebody reads
    it; `frames_left` makes it end."""

    def __init__(self, path, channels):
        self.path, self.channels = path, channels
        self.frames_left = math.inf
        self.done = threading.Event()
        self.thread = threading.Thread(target=self.feed)
        path.unlink(missing_ok=True)
        os.mkfifo(path)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.done.set()
        self.thread.join()

    def open(self):
        while not self.done.wait(0.002):
            try:
                # Refused until there is a reader.
                return open(os.open(self.path, os.O_WRONLY | os.O_NONBLOCK), "wb", buffering=0)
            except OSError as error:
                if error.errno != errno.ENXIO:
                    raise
        return None

    def feed(self):
        head = io.BytesIO()
        with wave.open(head, "wb") as file:
            file.setparams((self.channels, 2, 16000, 0, "NONE", ""))
        block = array.array("h", noise(BLOCK * self.channels)).tobytes()
        pipe = self.open()
        if pipe is None:
            return
        with pipe, contextlib.suppress(BrokenPipeError):
            os.set_blocking(pipe.fileno(), True)
            pipe.write(head.getvalue()[:40] + b"\xff\xff\xff\xff")
            while not self.done.wait(0.002) and self.frames_left > 0:
                pipe.write(block)
                self.frames_left -= BLOCK


class ProgressTest(ToolTest):
    def on_terminal(self, *arguments, stdin=None):
        outer, inner = os.openpty()
        command = [TOOL, "process", *map(str, arguments), "--mic", "0,0"]
        subprocess.run(command, stdin=stdin, stderr=inner, check=True, timeout=60)
        os.close(inner)
        shown = b""
        with contextlib.suppress(OSError):  # which says that all has been read
            while True:
                shown += os.read(outer, 65536)
        os.close(outer)
        return shown.decode()

    def test_a_terminal_sees_progress_that_is_wiped_in_the_end(self):
        write_wav(self.input, noise(5000))
        shown = self.on_terminal(self.input, self.output)
        self.assertRegex(shown, r"\A(\rvekbf: +\d+%)+\r +\r\Z")

    def test_a_terminal_sees_the_search_for_a_gain(self):
        write_wav(self.input, [32767, -32767] * 5000)
        shown = self.on_terminal(self.input, self.output, "--find-pre-gain")
        for gain in (-3, -6):
            self.assertRegex(shown, rf"\rvekbf: trying {gain} dB, +\d+%[^\n]*\r +\r")
        self.assertRegex(shown, r"\r +\rvekbf: [^\r\n]*--pre-gain -6\r\n\Z")

    def test_a_terminal_sees_every_file_of_a_batch_that_is_complete(self):
        names = [self.folder / f"{name}.wav" for name in "abc"]
        for name in names:
            write_wav(name, noise(5000))
        shown = self.on_terminal(*names, "--out-dir", self.folder / "results")
        lines = shown.splitlines()
        # Several threads write them, each when it is done: the counts may change places.
        self.assertEqual(sorted(line[-len("1 of 3 files"):] for line in lines), [f"{i} of 3 files" for i in (1, 2, 3)])
        self.assertEqual({line.split("'")[1] for line in lines}, set(map(str, names)))

    def test_notes_come_after_the_progress_is_gone(self):
        write_wav(self.input, [0] * 5000)
        self.assertRegex(self.on_terminal(self.input, self.output), r"%\r +\rvekbf: the library dropped [^\r\n]+\r\n\Z")

    def test_no_progress_without_a_length(self):
        self.assertEqual(self.on_terminal("-", self.output, "--rate", 16000, stdin=subprocess.DEVNULL), "")


class ReportTest(ToolTest):
    def report(self, samples, *arguments):
        write_wav(self.input, samples)
        result = self.run_tool("process", self.input, self.output, "--mic", "0,0", "--json", *arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout.count("\n"), 1)
        return json.loads(result.stdout)

    def test_what_it_says(self):
        report = self.report(noise(4 * BLOCK) + [0] * (3 * BLOCK) + noise(4 * BLOCK + 1))
        self.assertAlmostEqual(report["duration_s"], (11 * BLOCK + 1) / 16000, delta=1e-6)
        self.assertGreater(report["real_time_factor"], 0)
        self.assertLess(report["real_time_factor"], 100)
        self.assertEqual((report["blocks"], report["zero_blocks"]), (12, 3))
        self.assertEqual((report["wraps"], report["clipped_samples"], report["pre_gain_without_wraps_db"]), (0, 0, None))
        self.assertEqual((report["inputs"], report["output"]), ([str(self.input)], str(self.output)))

    def test_wraps_and_clipping(self):
        report = self.report([32767, -32767] * 1000)
        out = read_wav(self.output)[2]
        self.assertEqual(report["wraps"], sum(abs(b - a) > 32768 for a, b in zip(out, out[1:])))
        self.assertEqual(report["pre_gain_without_wraps_db"], None)
        self.assertEqual(self.report([32767, -32767] * 1000, "--find-pre-gain")["pre_gain_without_wraps_db"], -6)
        self.assertEqual(self.report([20000, 1] * 100, "--pre-gain", 6)["clipped_samples"], 100)

    def test_odd_names_are_escaped(self):
        self.output = self.folder / 'a "b"\\\n\x01ü.wav'
        self.assertEqual(self.report(noise(300))["output"], str(self.output))

    def test_a_name_that_is_no_utf_8_still_gives_json(self):
        write_wav(self.input, noise(300))
        odd = os.fsencode(self.folder) + b"/caf\xe9-\xff\xc3.wav"
        os.rename(self.input, odd)
        result = subprocess.run([TOOL, "process", odd, odd + b".out", "--mic", "0,0", "--json"], capture_output=True)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        report = json.loads(result.stdout.decode("utf-8", errors="strict"))
        self.assertEqual(report["inputs"], [f"{self.folder}/caf\ufffd-\ufffd\ufffd.wav"])
        self.assertEqual(report["output"], report["inputs"][0] + ".out")

    def test_nothing_in_nothing_out(self):
        command = [TOOL, "process", "-", "-", "--mic", "0,0", "--rate", "16000", "--json"]
        result = subprocess.run(command, input=b"", capture_output=True, check=True)
        self.assertEqual(result.stdout, b"")
        report = json.loads(result.stderr)
        self.assertEqual((report["duration_s"], report["real_time_factor"]), (0, None))

    def test_a_batch_reports_every_file(self):
        names = [self.folder / f"{i}.wav" for i in range(5)]
        for i, name in enumerate(names):
            write_wav(name, noise(1000 * (i + 1)))
        result = self.run_tool("process", *names, "--out-dir", self.folder / "results", "--mic", "0,0", "--json")
        reports = [json.loads(line) for line in result.stdout.splitlines()]
        durations = {report["inputs"][0]: report["duration_s"] for report in reports}
        self.assertEqual(durations, {str(name): (i + 1) / 16 for i, name in enumerate(names)})


if __name__ == "__main__":
    unittest.main()
