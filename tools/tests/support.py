# SPDX-License-Identifier: MIT
"""What the tests of the tool share: a scratch folder, WAV files, runs of the real program."""

import array
import io
import os
import random
import re
import subprocess
import tempfile
import unittest
import wave
from pathlib import Path

TOOL = os.environ["VEKBF_TOOL"]
DIRECT_HOST = os.environ["VEKBF_DIRECT_HOST"]
BLOCK = 128
LAG = 384
LINE = ["--mic", "0,0", "--mic", "0.05,0", "--mic", "0.1,0", "--mic", "0.15,0"]


def line_of(mics):
    """Arguments for the first `mics` microphones of a line with 5 cm between them."""
    return LINE[: 2 * mics]


def noise(count, seed=1, peak=8000):
    rng = random.Random(seed)
    return [rng.randint(-peak, peak) for _ in range(count)]


def write_wav(path, samples, channels=1, rate=16000):
    """Interleaved 16-bit samples."""
    with wave.open(str(path), "wb") as file:
        file.setnchannels(channels)
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(array.array("h", samples).tobytes())


def read_wav(path):
    """(channels, rate, interleaved samples) of a 16-bit file."""
    data = bytearray(Path(path).read_bytes())
    # Debian 12's wave module does not know the extensible format tag; 16-bit samples lie the same under both.
    tag = data.index(b"fmt ") + 8
    if data[tag : tag + 2] == b"\xfe\xff":
        data[tag : tag + 2] = b"\x01\x00"
    with wave.open(io.BytesIO(data), "rb") as file:
        assert file.getsampwidth() == 2
        samples = array.array("h", file.readframes(file.getnframes()))
        return file.getnchannels(), file.getframerate(), list(samples)


class ToolTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        self.input = self.folder / "in.wav"
        self.output = self.folder / "out.wav"

    def run_tool(self, *arguments, **options):
        command = [TOOL, *map(str, arguments)]
        return subprocess.run(command, capture_output=True, text=True, timeout=60, check=False, **options)

    def process(self, samples, channels, *arguments, rate=16000):
        """Run the samples through `vekbf process`; returns (finished run, output samples)."""
        write_wav(self.input, samples, channels, rate)
        result = self.run_tool("process", self.input, self.output, *line_of(channels), *arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, "")
        out_channels, out_rate, out = read_wav(self.output)
        self.assertEqual((out_channels, out_rate), (1, rate))
        self.assertEqual(sorted(os.listdir(self.folder)), ["in.wav", "out.wav"])
        return result, out

    def assert_refused(self, result, status, *fragments):
        """One sentence on standard error, nothing on standard output, no file under the output's name."""
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertEqual(result.stdout, "")
        self.assertRegex(result.stderr, r"\Avekbf: [^\n]+\n\Z")
        for fragment in fragments:
            self.assertIn(fragment, result.stderr)
        self.assertFalse(self.output.exists())
        self.assertEqual(self.part_files(), [])

    def part_files(self, folder=None):
        """The files that an output grows as, while it does."""
        return sorted(p for p in Path(folder or self.folder).iterdir() if re.search(r"\.[0-9a-f]{8}\.part\Z", p.name))


def direct(samples, channels, rate, algorithm, geometry, speed, angle, threshold, intensity, positions):
    """The library's own answer to whole blocks of samples: (every output of VekBf_Run in a row, what it printed)."""
    with tempfile.TemporaryDirectory() as folder:
        target = Path(folder, "out.raw")
        numbers = [rate, algorithm, geometry, speed, angle, threshold, intensity]
        command = [DIRECT_HOST, target, *numbers, *(c for position in positions for c in position)]
        assert len(positions) == channels
        result = subprocess.run(
            list(map(str, command)), input=array.array("h", samples).tobytes(), stdout=subprocess.PIPE, check=True
        )
        return list(array.array("h", target.read_bytes())), result.stdout.decode()


def padded_with_tail(samples, channels):
    """Whole blocks, then the three blocks with a single 1 that bring the last samples out."""
    block = channels * BLOCK
    rest = -len(samples) % block
    return samples + [0] * rest + ([1] + [0] * (block - 1)) * 3
