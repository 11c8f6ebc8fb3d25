#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the example host of the companion on a tone that all microphones hear at once: it comes out at its level, in
place and as long as it was. What cannot be done is said in one line.

    check_stream_host.py PROGRAM
"""

import array
import math
import subprocess
import sys
import tempfile
from pathlib import Path

FRAMES = 5000
CHANNELS = 6
LEVEL = 0.7948


def run(*arguments, data=b""):
    return subprocess.run([sys.argv[1], *map(str, arguments)], input=data, capture_output=True)


def main():
    tone = [round(8000 * math.sin(2 * math.pi * t / 37)) for t in range(FRAMES)]
    # Two of the six channels are microphones; the others are loud.
    frames = [value for s in tone for value in (30000, s, -30000, 30000, s, 1)]
    data = array.array("h", frames).tobytes()
    with tempfile.TemporaryDirectory() as folder:
        config = Path(folder, "desk.ini")
        config.write_text('array = "line:2:5cm"\nangle = 90\nchannels = 2,5\n')
        result = run(16000, CHANNELS, f"config={config}", "algorithm=fixed", data=data)
        assert (result.returncode, result.stderr) == (0, b""), result
        out = array.array("h")
        out.frombytes(result.stdout)
        assert len(out) == FRAMES, len(out)
        # The signal begins and ends abruptly: within a window of its ends it is not the tone.
        for t in range(512, FRAMES - 512):
            assert abs(out[t] - LEVEL * tone[t]) <= 4, (t, out[t], tone[t])
        for arguments, words in (
            ((16000, 2, "array=line:9:1cm"), ("array", "'line:9:1cm'")),
            ((16000, 2, "angle"), ("KEY=VALUE",)),
            ((16000, 2, "config=/nonexistent"), ("/nonexistent", "No such file")),
            ((16000, 3, "array=line:2:1cm"), ("2 microphones", "3 channels")),
            ((16, 2, "array=line:2:1cm"), ("rate", "16")),
            ((), ("not 0",)),
        ):
            result = run(*arguments, data=data)
            said = result.stderr.decode()
            assert result.returncode == 1 and result.stdout == b"", arguments
            assert said.count("\n") == 1 and all(word in said for word in words), said


if __name__ == "__main__":
    main()
