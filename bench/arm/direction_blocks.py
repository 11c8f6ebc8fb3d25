#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The direction finder's instructions per block on 32-bit ARM under the user-mode emulator, against its bounds.

    direction_blocks.py RUNNER [--quick] [--file RAW ARRAY] [--write TABLE]

RUNNER is direction_runner of the armhf build. The mean is that of a voice with pauses, in noise; the dearest block is
looked for in bursts of noise after silence, in which every bin counts, and in noise that rises all the time, at several
rates. Fails where the mean takes more than 30,000 instructions or any block more than 120,000. --file measures a
recording (raw, interleaved 16-bit samples at 16 kHz). --write puts the figures down for scripts/bench.
"""

import argparse
import pathlib
import statistics
import sys
import tempfile

from emulator import block_costs, build_plugin

MEAN_BOUND = 30_000
BLOCK_BOUND = 120_000
ARRAYS = ("line2", "line3", "line4", "unequal4", "dear4", "square")
DEAREST = ("bursts", "rising")
RATES = (8000, 15556, 16000, 48000)
QUICK_ARRAYS = ("dear4", "square")
QUICK_RATES = (15556,)
SPEECH_BLOCKS, WARM_BLOCKS = 600, 100
EXTREME_BLOCKS = 300


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("runner")
    parser.add_argument("--quick", action="store_true", help="the dearest arrays and rate only")
    parser.add_argument("--file", nargs=2, metavar=("RAW", "ARRAY"))
    parser.add_argument("--write", metavar="TABLE")
    arguments = parser.parse_args()
    arrays = QUICK_ARRAYS if arguments.quick else ARRAYS
    rates = QUICK_RATES if arguments.quick else RATES
    over, rows = 0, []
    with tempfile.TemporaryDirectory() as folder:
        plugin = build_plugin(folder)

        def costs(*run):
            return block_costs(plugin, arguments.runner, *run)

        def mean(array, signal):
            return round(statistics.mean(costs(array, 16000, signal, SPEECH_BLOCKS)[WARM_BLOCKS:]))

        if arguments.file:
            print(f"{arguments.file[0]}: mean {mean(arguments.file[1], arguments.file[0])}")
            return 0
        print(f"{'array':10}{'mean':>8}{'dearest':>9}  in")
        for array in arrays:
            usual = mean(array, "speech")
            blocks = {f"{signal} at {rate} Hz": max(costs(array, rate, signal, EXTREME_BLOCKS))
                      for signal in DEAREST for rate in rates}
            where = max(blocks, key=blocks.get)
            over += (usual > MEAN_BOUND) + (blocks[where] > BLOCK_BOUND)
            rows.append((array, usual, blocks[where]))
            print(f"{array:10}{usual:8}{blocks[where]:9}  {where}")
    if arguments.write:
        lines = [f"{array} {usual} {dearest}" for array, usual, dearest in rows]
        pathlib.Path(arguments.write).write_text("\n".join(lines) + "\n", encoding="utf-8")
    if over:
        print(f"{over} figures above {MEAN_BOUND} in the mean or {BLOCK_BOUND} in one block")
    return 1 if over else 0


if __name__ == "__main__":
    sys.exit(main())
