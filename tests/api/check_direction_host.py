#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the host that knows no angle on a noise that comes and goes, first from one end of the line, then from the other:
it says so, and gives the samples of the companion with `angle = auto`.

    check_direction_host.py PROGRAM STREAM_HOST
"""

import array
import random
import re
import subprocess
import sys
import tempfile
from pathlib import Path

RATE = 16000
MICS = 4
SPACING = 0.08
BLOCK = 128
LAG = 384
SECONDS = 6


def recording():
    """Bursts of noise, a third of a second long, in noise of the microphones' own."""
    seed = random.Random(7)
    source = [seed.gauss(0, 3000) if t % 9000 < 4000 and t > RATE / 2 else 0.0 for t in range(SECONDS * RATE)]
    step = round(SPACING / 343 * RATE)  # samples, from one microphone to the next
    frames = []
    for t in range(len(source)):
        late = [(MICS - 1 - m) * step if t < len(source) // 2 else m * step for m in range(MICS)]
        frames += [round(source[max(t - d, 0)] + seed.gauss(0, 20)) for d in late]
    return array.array("h", frames)


def samples(data):
    values = array.array("h")
    values.frombytes(data)
    return values


def main():
    program, stream_host = sys.argv[1:]
    heard = recording()
    with tempfile.TemporaryDirectory() as folder:
        source, target = Path(folder, "in.raw"), Path(folder, "out.raw")
        source.write_bytes(heard.tobytes())
        said = subprocess.run([program, source, target], check=True, stdout=subprocess.PIPE, text=True).stdout
        out = samples(target.read_bytes())
        for arguments in ([Path(folder, "none"), target], [source, Path(folder, "none", "out")], [source]):
            result = subprocess.run([program, *arguments], capture_output=True)
            assert (result.returncode, result.stderr) == (1, b""), (arguments, result)
    # The beamformer prints lines of its own.
    lines = [(float(seconds), int(degrees)) for seconds, degrees in re.findall(r"^([\d.]+) (\d+)$", said, re.MULTILINE)]
    before = [degrees for seconds, degrees in lines if seconds < SECONDS / 2]
    assert before and before[-1] <= 15, said
    assert lines[-1][1] >= 165 and lines[0][0] > 0.5, said
    command = [stream_host, str(RATE), str(MICS), "array=line:4:8cm", "angle=auto", "algorithm=fixed"]
    lined_up = samples(subprocess.run(command, input=heard.tobytes(), check=True, stdout=subprocess.PIPE).stdout)
    assert len(lined_up) == SECONDS * RATE and len(out) == SECONDS * RATE // BLOCK * BLOCK
    assert out[LAG:] == lined_up[: len(out) - LAG], "not the samples of the companion"


if __name__ == "__main__":
    main()
