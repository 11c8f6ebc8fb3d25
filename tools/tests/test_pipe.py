# SPDX-License-Identifier: MIT
"""Raw samples through standard input and output: the same bytes as through files, each block at once."""

import array
import os
import subprocess
import unittest

from support import BLOCK, LAG, LINE, TOOL, ToolTest, line_of, noise, read_wav, write_wav


def as_bytes(samples):
    return array.array("h", samples).tobytes()


class PipeTest(ToolTest):
    def pipe(self, data, *arguments, source="-", target="-"):
        command = [TOOL, "process", source, target, *map(str, arguments)]
        return subprocess.run(command, input=data, capture_output=True, timeout=60, check=False)

    def test_piped_audio_is_the_file_result_byte_for_byte(self):
        for frames, extra in ((5000, []), (5 * BLOCK, ["--algorithm", "adaptive"]), (1, [])):
            samples = noise(4 * frames, seed=frames)
            _, expected = self.process(samples, 4, "--angle", 60, *extra)
            # --verbose: no line may mix with the audio.
            result = self.pipe(as_bytes(samples), *LINE, "--rate", 16000, "--angle", 60, "--verbose", *extra)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(result.stdout, as_bytes(expected))
            self.assertIn(b"vekbf: angle = 60\n", result.stderr)
            self.output.unlink()

    def test_either_end_may_be_a_file(self):
        samples = noise(2 * 1000)
        _, expected = self.process(samples, 2)
        result = self.pipe(None, *line_of(2), source=self.input)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertEqual(result.stdout, as_bytes(expected))
        self.output.unlink()
        result = self.pipe(as_bytes(samples), *line_of(2), "--rate", 16000, target=self.output)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, b"", b""))
        self.assertEqual(read_wav(self.output), (1, 16000, expected))

    def test_every_block_comes_out_before_the_next_goes_in(self):
        samples = noise(20 * BLOCK)
        _, expected = self.process(samples, 1)
        command = [TOOL, "process", "-", "-", "--mic", "0,0", "--rate", "16000"]
        with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0) as tool:
            heard = b""
            for i in range(20):
                tool.stdin.write(as_bytes(samples[i * BLOCK : (i + 1) * BLOCK]))
                # Blocks until the tool has written: a tool that waits for more would hang here.
                while len(heard) < 2 * ((i + 1) * BLOCK - LAG):
                    heard += tool.stdout.read(2 * BLOCK)
            tool.stdin.close()
            heard += tool.stdout.read()
        self.assertEqual(heard, as_bytes(expected))

    def test_chunks_of_odd_sizes_do_not_matter(self):
        samples = noise(3 * 700)
        _, expected = self.process(samples, 3)
        data = as_bytes(samples)
        command = [TOOL, "process", "-", "-", *line_of(3), "--rate", "16000"]
        with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0) as tool:
            for i in range(0, len(data), 333):
                tool.stdin.write(data[i : i + 333])
            tool.stdin.close()
            self.assertEqual(tool.stdout.read(), as_bytes(expected))

    def test_an_empty_stream_gives_an_empty_stream(self):
        result = self.pipe(b"", "--mic", "0,0", "--rate", 16000)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, b"", b""))

    def test_a_stream_that_ends_within_a_frame_loses_the_part_and_says_so(self):
        samples = noise(2 * 300)
        whole = self.pipe(as_bytes(samples), *line_of(2), "--rate", 16000)
        cut = self.pipe(as_bytes(samples) + b"abc", *line_of(2), "--rate", 16000)
        self.assertEqual(cut.stdout, whole.stdout)
        self.assertEqual(cut.returncode, 0)
        self.assertRegex(cut.stderr.decode(), r"\Avekbf: note: [^\n]*within a frame; its last 3 bytes [^\n]*\n\Z")

    def test_the_rate_is_needed_for_raw_input_only(self):
        for arguments in ([], ["--rate", "7999"], ["--rate", "48001"], ["--rate", ""]):
            self.assert_refused(self.run_tool("process", "-", self.output, *LINE, *arguments), 2, "--rate")
        write_wav(self.input, noise(300))
        self.assert_refused(self.run_tool("process", self.input, self.output, "--mic", "0,0", "--rate", 8000), 2, "--rate")

    def test_a_reader_that_goes_away_is_one_line(self):
        command = [TOOL, "process", "-", "-", "--mic", "0,0", "--rate", "16000"]
        read, write = os.pipe()
        os.close(read)
        result = subprocess.run(command, input=as_bytes(noise(3000)), stdout=write, stderr=subprocess.PIPE, check=False)
        os.close(write)
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr.decode(), r"\Avekbf: cannot write standard output[^\n]+\n\Z")

    def test_a_terminal_gets_no_samples(self):
        outer, inner = os.openpty()
        command = [TOOL, "process", "-", "-", "--mic", "0,0", "--rate", "16000"]
        result = subprocess.run(command, input=b"", stdout=inner, stderr=subprocess.PIPE, check=False)
        os.close(outer)
        os.close(inner)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"terminal", result.stderr)

    def named_pipe(self, data, *arguments):
        """Runs the tool on a named pipe that the bytes come out of; its name follows the arguments."""
        pipe = self.folder / "pipe.wav"
        os.mkfifo(pipe)
        with subprocess.Popen(["sh", "-c", 'cat >"$0"', pipe], stdin=subprocess.PIPE) as feeder:
            feeder.stdin.write(data)
            feeder.stdin.close()
            result = self.run_tool("process", *arguments, pipe, self.output)
        pipe.unlink()
        return result

    def test_a_named_pipe_may_carry_a_file(self):
        # What `<(arecord -t wav ...)` gives: recorders cannot know the length when they begin.
        _, expected = self.process(noise(1000), 1)
        whole = self.input.read_bytes()
        for length in (None, 0xFFFFFFFF, 0x7FFFFFFF, 0x80000000 - 4096):
            self.output.unlink()
            head = whole[:40] + (whole[40:44] if length is None else length.to_bytes(4, "little"))
            result = self.named_pipe(head + whole[44:], "--mic", "0,0")
            self.assertEqual((result.returncode, result.stderr), (0, ""), length)
            self.assertEqual(read_wav(self.output)[2], expected)

    def test_a_named_pipe_that_ends_too_soon(self):
        write_wav(self.input, noise(1000))
        self.assert_refused(self.named_pipe(self.input.read_bytes()[:-100], "--mic", "0,0"), 1, "pipe.wav' is cut off")

    def test_a_named_pipe_cannot_be_read_again_to_try_lower_gains(self):
        write_wav(self.input, [32767, -32767] * 500)
        result = self.named_pipe(self.input.read_bytes(), "--mic", "0,0", "--find-pre-gain")
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stderr, r"\Avekbf: [^\n]*wrap around[^\n]*; a lower --pre-gain may help\n\Z")

    def test_named_pipes_of_unknown_and_different_lengths_are_not_joined(self):
        write_wav(self.input, noise(1000))
        whole = self.input.read_bytes()
        head = whole[:40] + b"\xff\xff\xff\xff"
        first = self.folder / "first.wav"
        for frames in (900, 7 * BLOCK, 1000):
            os.mkfifo(first)
            with subprocess.Popen(["sh", "-c", 'cat >"$0"', first], stdin=subprocess.PIPE) as feeder:
                feeder.stdin.write(head + whole[44:])
                feeder.stdin.close()
                result = self.named_pipe(head + whole[44 : 44 + 2 * frames], "--join", *line_of(2), first)
            first.unlink()
            if frames < 1000:
                self.assert_refused(result, 1, "pipe.wav' differs", "length")
            else:
                self.assertEqual((result.returncode, result.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main()
