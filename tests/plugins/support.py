# SPDX-License-Identifier: MIT
"""What the tests of plug-ins share: sound, the tool's beam, the companion as the twin of a plug-in."""

import ctypes
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
import wave
from pathlib import Path

import numpy as np

TOOL = os.environ["VEKBF_TOOL"]
PLUGINS = Path(os.environ["VEKBF_PLUGINS"])
DELAY = 511
SKIPPED = 77


def skip(reason):
    """End the test program; CTest then says that it was skipped."""
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


def need(*programs):
    for program in programs:
        if shutil.which(program) is None:
            skip(f"there is no {program}")


def noise(frames, channels, seed=1):
    """White 16-bit noise without a value of zero, so that no block is dropped."""
    samples = np.random.default_rng(seed).integers(-8000, 8000, (frames, channels), dtype=np.int16)
    samples[samples == 0] = 1
    return samples


def write_wav(path, samples, rate=16000):
    with wave.open(str(path), "wb") as file:
        file.setnchannels(samples.shape[1])
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(samples.astype("<i2").tobytes())


def read_wav(path):
    with wave.open(str(path), "rb") as file:
        assert file.getsampwidth() == 2 and file.getnchannels() == 1
        return np.frombuffer(file.readframes(file.getnframes()), "<i2")


class Twin:
    """The companion with constant delay, as a plug-in holds it."""

    def __init__(self, rate, channels, **settings):
        library = ctypes.CDLL(os.environ["VEKBF_STREAM_LIBRARY"])
        for name, result in {
            "VekStream_NewSettings": ctypes.c_void_p,
            "VekStream_Set": ctypes.c_char_p,
            "VekStream_Open": ctypes.c_char_p,
        }.items():
            getattr(library, name).restype = result
        options = ctypes.c_void_p(library.VekStream_NewSettings())
        for key, value in settings.items():
            fault = library.VekStream_Set(options, key.replace("_", "-").encode(), str(value).encode())
            assert fault is None, fault
        self._stream = ctypes.c_void_p()
        fault = library.VekStream_Open(options, rate, channels, ctypes.byref(self._stream))
        assert fault is None, fault
        self._library = library

    def steer(self, degrees):
        self._library.VekStream_Steer(self._stream, degrees)

    def process(self, samples):
        samples = np.ascontiguousarray(samples, dtype=np.int16)
        out = np.empty(len(samples), dtype=np.int16)
        self._library.VekStream_ProcessInterleaved(
            self._stream,
            0,
            samples.ctypes.data_as(ctypes.c_void_p),
            out.ctypes.data_as(ctypes.c_void_p),
            ctypes.c_size_t(len(samples)),
        )
        return out


class HostTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)

    def run_host(self, *command, **environment):
        """Standard output must stay the host's own."""
        result = subprocess.run(
            list(map(str, command)),
            capture_output=True,
            text=True,
            timeout=60,
            check=False,
            env=os.environ | environment,
        )
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertNotIn("ALGO_MSG", result.stdout)
        return result

    def tool(self, samples, rate, *options):
        """What `vekbf process` makes of the samples."""
        source, target = self.folder / "tool_in.wav", self.folder / "tool_out.wav"
        write_wav(source, samples, rate)
        subprocess.run([TOOL, "process", source, target, *map(str, options)], check=True, timeout=60)
        return read_wav(target)


class DaemonTest(HostTest):
    """Programs that run while others talk to them."""

    def setUp(self):
        super().setUp()
        self.environment = dict(os.environ)
        self.processes = []
        self.addCleanup(self.stop_all)

    def stop_all(self):
        """The last one first: a client before its server."""
        for process in reversed(self.processes):
            process.send_signal(signal.SIGTERM)
            try:
                process.wait(10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self.processes.clear()

    def start(self, *command, **options):
        log = open(self.folder / f"{len(self.processes)}.log", "wb")
        self.addCleanup(log.close)
        self.processes.append(
            subprocess.Popen(list(map(str, command)), env=self.environment, stdout=log, stderr=log, **options)
        )

    def output(self, *command):
        return subprocess.run(command, env=self.environment, capture_output=True, text=True, timeout=30, check=False)

    def logs(self):
        return "".join(path.read_text(errors="replace") for path in self.folder.glob("*.log"))
