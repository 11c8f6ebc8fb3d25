#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the smallest host on a tone that both microphones hear at once: it comes out at its level, three blocks late.

    check_smallest_host.py PROGRAM
"""

import array
import math
import subprocess
import sys
import tempfile
from pathlib import Path

BLOCK = 128
BLOCKS = 10
LAG = 384
LEVEL = 0.7948


def main():
    program = sys.argv[1]
    tone = [round(8000 * math.sin(2 * math.pi * t / 37)) for t in range(BLOCK * BLOCKS)]
    with tempfile.TemporaryDirectory() as folder:
        source, target = Path(folder, "in.raw"), Path(folder, "out.raw")
        # Frames that do not fill a block are left out.
        both = [s for s in tone for _ in range(2)] + [1000] * 7
        source.write_bytes(array.array("h", both).tobytes())
        subprocess.run([program, source, target], check=True, stdout=subprocess.PIPE)
        out = array.array("h")
        out.frombytes(target.read_bytes())
        assert len(out) == len(tone), len(out)
        for t in range(LAG, len(out)):
            assert abs(out[t] - LEVEL * tone[t - LAG]) <= 4, (t, out[t], tone[t - LAG])
        # What cannot be read or written is not passed over.
        for arguments in ([Path(folder, "none"), target], [source, Path(folder, "none", "out")], [source]):
            result = subprocess.run([program, *arguments], capture_output=True)
            assert (result.returncode, result.stderr) == (1, b""), (arguments, result)


if __name__ == "__main__":
    main()
