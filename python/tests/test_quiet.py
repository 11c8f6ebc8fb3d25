# SPDX-License-Identifier: MIT
"""Nothing of the library's own lines reaches the program's output, and nothing of the program's is lost."""

import os
import subprocess
import sys
import unittest

HEADER = """
import ctypes, os, sys, threading, time
import numpy as np
import vekbf
from vekbf import _quiet

libc = ctypes.CDLL(None)
def work():
    # Configuring prints, and each of these blocks does.
    with vekbf.Beamformer(16000, [(0, 0)]) as beam:
        beam.process(np.zeros(128 * 100, np.int16))
        assert beam.zero_blocks == 100
        beam.flush()
    try:
        vekbf.Beamformer(1, [(0, 0)])
    except vekbf.VekBfError:
        pass
"""
BY_DESCRIPTOR = "\n_quiet._has_assignable_stdout = lambda: False\n"


def run(text, **options):
    options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
    # With its buffers, in which lines wait.
    options["env"] = {name: value for name, value in os.environ.items() if name != "PYTHONUNBUFFERED"}
    return subprocess.run([sys.executable, "-B", "-c", text], text=True, timeout=60, **options)


class QuietTest(unittest.TestCase):
    def expect(self, text, wanted):
        result = run(text)
        self.assertEqual((result.stdout, result.stderr, result.returncode), (wanted, "", 0))

    def test_the_library_does_print(self):
        # Otherwise the other tests would prove nothing.
        without = "import contextlib\n_quiet.quiet = vekbf.beamformer.quiet = contextlib.nullcontext\n"
        result = run(HEADER + without + "work()")
        self.assertEqual(result.stdout.count("Zero Frame!"), 100)
        self.assertIn("Invalid Sample Rate", result.stdout)

    def test_neither_way_lets_a_line_through(self):
        for way in ("", BY_DESCRIPTOR):
            with self.subTest(way=way):
                self.expect(HEADER + way + "print('before'); work(); print('after')", "before\nafter\n")

    def test_lines_that_other_c_code_printed_stay_in_order(self):
        text = "libc.puts(b'one'); work(); libc.puts(b'two'); libc.fflush(None)"
        for way in ("", BY_DESCRIPTOR):
            with self.subTest(way=way):
                self.expect(HEADER + way + text, "one\ntwo\n")

    def test_other_threads_print_meanwhile(self):
        text = """
workers = [threading.Thread(target=work) for _ in range(4)]
for worker in workers: worker.start()
for i in range(200):
    os.write(1, b'line %d\\n' % i)
    time.sleep(0.0002)
for worker in workers: worker.join()
assert _quiet._depth == 0 and _quiet._restore is None
"""
        self.expect(HEADER + text, "".join(f"line {i}\n" for i in range(200)))

    def test_an_instance_left_open_at_the_end(self):
        self.expect(HEADER + "beam = vekbf.Beamformer(16000, [(0, 0)]); print('end')", "end\n")

    def test_a_closed_standard_output(self):
        for way in ("", BY_DESCRIPTOR):
            with self.subTest(way=way):
                text = HEADER + "os.close(1)\n" + way + "work(); sys.stdout = None; os.write(2, b'done')"
                result = run(text, stdout=None)
                self.assertEqual((result.stderr, result.returncode), ("done", 0))

    def test_an_exception_within_restores_the_output(self):
        for way in ("", BY_DESCRIPTOR):
            with self.subTest(way=way):
                text = """
try:
    with _quiet.quiet():
        libc.puts(b'hidden')
        raise KeyError
except KeyError:
    libc.puts(b'seen')
    libc.fflush(None)
"""
                self.expect(HEADER + way + text, "seen\n")

    def test_a_missing_library_is_said_in_one_sentence(self):
        text = "import os; os.environ['VEKBF_LIBRARY'] = '/nonexistent.so'\n" + HEADER
        text += "try: work()\nexcept vekbf.LibraryNotFound as error: print(error)"
        result = run(text)
        self.assertIn("VEKBF_LIBRARY", result.stdout)
        self.assertEqual((result.stdout.count("\n"), result.stderr), (1, ""))


if __name__ == "__main__":
    unittest.main()
