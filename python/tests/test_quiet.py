# SPDX-License-Identifier: MIT
"""The binding writes nothing on the program's output, and says in one line where the library is missing."""

import subprocess
import sys
import unittest

WORK = """
import ctypes, os
import numpy as np
import vekbf

def work():
    # The library by itself prints when it is configured, with each of these blocks, and with what it refuses.
    with vekbf.Beamformer(16000, [(0, 0)]) as beam:
        beam.process(np.zeros(128 * 100, np.int16))
        assert beam.zero_blocks == 100
        beam.flush()
    try:
        vekbf.Beamformer(1, [(0, 0)])
    except vekbf.VekBfError:
        pass
"""


def run(text):
    return subprocess.run([sys.executable, "-B", "-c", WORK + text], capture_output=True, text=True, timeout=60)


class QuietTest(unittest.TestCase):
    def test_nothing_is_written(self):
        result = run("work(); left_open = vekbf.Beamformer(16000, [(0, 0)])")
        self.assertEqual((result.stdout, result.stderr, result.returncode), ("", "", 0))

    def test_a_missing_library_is_said_in_one_sentence(self):
        result = run(
            "os.environ['VEKBF_LIBRARY'] = '/nonexistent.so'\n"
            "try: work()\nexcept vekbf.LibraryNotFound as error: print(error)"
        )
        self.assertIn("VEKBF_LIBRARY", result.stdout)
        self.assertEqual((result.stdout.count("\n"), result.stderr), (1, ""))


if __name__ == "__main__":
    unittest.main()
