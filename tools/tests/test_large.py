# SPDX-License-Identifier: MIT
"""Results beyond 4 GiB, and what the system has too little of."""

import os
import resource
import signal
import struct
import subprocess
import time
import unittest

from support import TOOL, ToolTest, line_of, noise, read_wav, write_wav

FITS = (2**32 - 1 - 36) // 2  # samples of 16 bits in a RIFF file with a header of 44 bytes


def header(path):
    """(form, {chunk: its body up to 64 bytes}, size of the data as promised)."""
    data = path.read_bytes()[:200]
    form, chunks, at = data[:4], {}, 12
    while at < len(data):
        name, size = struct.unpack_from("<4sI", data, at)
        chunks[name] = data[at + 8 : at + 8 + min(size, 64)]
        if name == b"data":
            return form, chunks, size
        at += 8 + size + size % 2
    raise AssertionError("no data")


class SizeTest(ToolTest):
    def sparse(self, frames):
        """A mono RF64 file of so many zeros that takes no room."""
        size = 2 * frames
        with open(self.input, "wb") as file:
            file.write(b"RF64" + b"\xff" * 4 + b"WAVEds64" + struct.pack("<IQQQI", 28, size + 72, size, frames, 0))
            file.write(b"fmt " + struct.pack("<IHHIIHH", 16, 1, 1, 16000, 32000, 2, 16) + b"data" + b"\xff" * 4)
            file.truncate(file.tell() + size)

    def begun(self, *arguments, **options):
        """What an interrupted run leaves."""
        command = [TOOL, "process", *arguments, *line_of(1)]
        with subprocess.Popen(command, stderr=subprocess.DEVNULL, **options) as tool:
            while not (self.part_files() and self.part_files()[0].stat().st_size > 1000):
                self.assertIsNone(tool.poll())
                time.sleep(0.001)
            tool.send_signal(signal.SIGTERM)
            self.assertEqual(tool.wait(timeout=60), 130)
        (part,) = self.part_files()
        return part

    def test_the_form_of_a_known_length(self):
        """Interrupted early: the head was chosen in the beginning. RF64 that turns out to fit becomes RIFF with room."""
        for frames, room in ((FITS, False), (FITS + 1, True)):
            self.sparse(frames)
            part = self.begun(self.input, self.output)
            form, chunks, size = header(part)
            self.assertEqual((form, b"JUNK" in chunks), (b"RIFF", room))
            self.assertEqual(size, part.stat().st_size - part.read_bytes().index(b"data") - 8)
            part.unlink()

    def test_a_short_result_has_the_plain_header(self):
        self.process(noise(300), 1)
        self.assertEqual(self.output.read_bytes()[:44], b"RIFF" + struct.pack("<I", 636) + self.input.read_bytes()[8:44])

    def test_a_short_stream_becomes_riff(self):
        result = subprocess.run([TOOL, "process", "-", self.output, *line_of(1), "--rate", "16000"], input=bytes([1, 0] * 300))
        self.assertEqual(result.returncode, 0)
        self.assertEqual(header(self.output)[0], b"RIFF")
        self.assertEqual(len(read_wav(self.output)[2]), 300)

    @unittest.skipUnless("VEKBF_LARGE_FILES" in os.environ, "writes 4 GiB")
    def test_more_than_4_gib(self):
        frames = FITS + 1000
        self.sparse(frames)
        with open(self.input, "r+b") as file:  # a sound in the very last sample
            file.seek(-2, os.SEEK_END)
            file.write(struct.pack("<h", 20000))
        head = self.input.stat().st_size - 2 * frames
        for source, stdin in ((self.input, None), ("-", self.input)):
            arguments = ["-", "--rate", "16000"] if stdin else [source]
            with open(self.input, "rb") as file:
                file.seek(head)
                command = [TOOL, "process", *arguments, self.output, *line_of(1)]
                subprocess.run(command, stdin=file if stdin else None, stderr=subprocess.DEVNULL, check=True)
            form, chunks, size = header(self.output)
            self.assertEqual((form, size), (b"RF64", 0xFFFFFFFF))
            whole, audio, count = struct.unpack_from("<QQQ", chunks[b"ds64"])
            self.assertEqual((whole, audio, count), (self.output.stat().st_size - 8, 2 * frames, frames))
            with open(self.output, "rb") as file:
                file.seek(-2, os.SEEK_END)
                self.assertAlmostEqual(struct.unpack("<h", file.read())[0], 0.7948 * 20000, delta=4)
            self.output.unlink()


class ThreadTest(ToolTest):
    def test_without_a_second_thread_a_batch_takes_longer(self):
        names = [self.folder / f"{i}.wav" for i in range(4)]
        for name in names:
            write_wav(name, noise(500))

        def no_room_for_stacks():
            # A thread's stack is as large as the main thread may grow: more than there are addresses.
            resource.setrlimit(resource.RLIMIT_STACK, (1 << 47, resource.RLIM_INFINITY))

        command = [TOOL, "process", *names, "--out-dir", self.folder / "results", *line_of(1)]
        result = subprocess.run(command, capture_output=True, text=True, check=False, preexec_fn=no_room_for_stacks)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        self.assertEqual(sorted(os.listdir(self.folder / "results")), [name.name for name in names])


if __name__ == "__main__":
    unittest.main()
