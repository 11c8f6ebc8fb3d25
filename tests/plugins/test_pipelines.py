# SPDX-License-Identifier: MIT
"""GStreamer pipelines as people type them: bytes on standard output, a delay that is taken out, refusals."""

import os
import subprocess
import unittest

import numpy as np
from support import PLUGINS, HostTest, need, noise, skip, write_wav

FRAMES = 9000


class Pipelines(HostTest):
    def setUp(self):
        super().setUp()
        self.sound = noise(FRAMES, 4)
        self.source = self.folder / "in.wav"
        write_wav(self.source, self.sound)

    def launch(self, *element):
        """The run of a file through the element, when it has ended."""
        from_file = ("filesrc", f"location={self.source}", "!", "wavparse", "!")
        with subprocess.Popen(
            ["gst-launch-1.0", "-q", *from_file, "vekbf", *element, "!", "fdsink", "fd=1"],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=os.environ | {"GST_PLUGIN_PATH": str(PLUGINS), "GST_REGISTRY": str(self.folder / "registry.bin")},
        ) as run:
            try:
                out, err = run.communicate(timeout=40)
            except subprocess.TimeoutExpired:
                # After an error during preroll, of any element, gst-launch 1.22 sometimes waits for ever.
                run.kill()
                out, err = run.communicate()
        return subprocess.CompletedProcess(run.args, run.returncode, out, err)

    def test_standard_output_is_the_beam_and_nothing_else(self):
        for algorithm in ("fixed", "adaptive"):
            result = self.launch("array=line:4:80mm", "angle=60", f"algorithm={algorithm}")
            self.assertEqual((result.returncode, result.stderr), (0, b""))
            expected = self.tool(self.sound, 16000, "--array", "line:4:80mm", "--angle", 60, "--algorithm", algorithm)
            self.assertEqual(len(result.stdout), 2 * FRAMES)
            np.testing.assert_array_equal(np.frombuffer(result.stdout, "<i2"), expected)

    def test_silence_prints_nothing_either(self):
        """The library says a line for each block of zeros that it drops."""
        self.sound[:] = 0
        write_wav(self.source, self.sound)
        for keep_time in ("true", "false"):
            result = self.launch("array=line:4:80mm", f"keep-time={keep_time}")
            self.assertEqual((result.returncode, result.stderr), (0, b""))
            self.assertFalse(any(result.stdout))

    def test_an_array_from_a_file(self):
        array = self.folder / "board.conf"
        array.write_text("array = line:3:80mm\nchannels = 4,2,1\n")
        result = self.launch(f"array={array}", "angle=60")
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        expected = self.tool(self.sound[:, [3, 1, 0]], 16000, "--array", "line:3:80mm", "--angle", 60)
        np.testing.assert_array_equal(np.frombuffer(result.stdout, "<i2"), expected)

    def test_refusals_name_what_is_wrong(self):
        for element, words in (
            (["array=line:5:80mm"], ["array", "'line:5:80mm'"]),
            (["array=line:3:80mm"], ["array", "'line:3:80mm'", "4 channels"]),
            (["array=no-such-board"], ["array", "'no-such-board'"]),
            (["array=line:4:80mm", "algorithm=best"], ["algorithm", "best"]),
            (["array=line:4:80mm", "config=/nowhere.conf"], ["/nowhere.conf"]),
            ([], ["array is missing"]),
        ):
            result = self.launch(*element)
            self.assertNotEqual(result.returncode, 0, element)
            self.assertEqual(result.stdout, b"", element)
            lines = [line for line in result.stderr.decode().splitlines() if all(word in line for word in words)]
            self.assertEqual(len(lines), 1, result.stderr.decode())


if __name__ == "__main__":
    need("gst-launch-1.0")
    if not (PLUGINS / "libgstvekbf.so").exists():
        skip("there is no GStreamer element")
    unittest.main()
