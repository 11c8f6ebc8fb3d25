#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The worst block against the median one, in instructions of 32-bit ARM under the user-mode emulator.

    worst_blocks.py RUNNER [--quick] [--bound 1.5]

RUNNER is block_runner of the armhf build. For each algorithm, shape and number of microphones the median is that of
speech; the worst block is looked for in the same speech and in extremes (first frame, full scale, loud onset, one-bit
noise, square waves, pulses, channels that cancel each other) at several rates, and in pulses made so that the gain
table leaves half of the bins, or all, to the mathematics library. Fails where a worst block takes more than the bound
times the median. Apart, and without a bound: phases beyond the sine table, blocks of zeros, and shapes that print a
line.
"""

import argparse
import statistics
import sys
import tempfile

from emulator import block_costs, build_plugin

SPEECH_BLOCKS = 200
EXTREME_BLOCKS = 144  # the extremes twice
RATES = (8000, 10240, 16000, 48000)
QUICK_RATES = (8000, 16000)
# Blocks in which the table leaves half of the gains, or all, to the mathematics library.
HARD_GAIN_BLOCKS = {1: 45, 3: 25, 4: 25}
APART = (  # compared with the speech of the same algorithm and number of microphones
    ("phases beyond the table, 4", ("adaptive", "linear", 4, 16000, "far", 10)),
    ("phases beyond the table, 4", ("fixed", "linear", 4, 16000, "far", 10)),
    ("zero blocks, 4", ("adaptive", "linear", 4, 16000, "zero", 10)),
    ("rectangle, 4", ("adaptive", "rectangle", 4, 16000, "extremes", 72)),
    ("rectangle, 4", ("fixed", "rectangle", 4, 16000, "extremes", 72)),
)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("runner")
    parser.add_argument("--quick", action="store_true", help="fewer rates, and nothing apart")
    parser.add_argument("--bound", type=float, default=1.5)
    arguments = parser.parse_args()
    rates = QUICK_RATES if arguments.quick else RATES
    over = 0
    medians = {}
    with tempfile.TemporaryDirectory() as folder:
        plugin = build_plugin(folder)

        def costs(*run):
            return block_costs(plugin, arguments.runner, *run)

        print(f"{'algorithm':10}{'shape':10}{'microphones':>11}{'median':>9}{'worst':>9}{'ratio':>7}  worst in")
        for algorithm in ("fixed", "adaptive"):
            for shape in ("linear", "triangle"):
                for mics in range(1, 5):
                    speech = costs(algorithm, shape, mics, 16000, "speech", SPEECH_BLOCKS)
                    median = statistics.median_low(speech)
                    medians[algorithm, shape, mics] = median
                    worst = {"speech": max(speech)}
                    for rate in rates:
                        extremes = costs(algorithm, shape, mics, rate, "extremes", EXTREME_BLOCKS)
                        worst[f"extremes at {rate} Hz"] = max(extremes)
                    if algorithm == "adaptive" and mics in HARD_GAIN_BLOCKS:
                        hard = costs(algorithm, shape, mics, 16000, "hard", HARD_GAIN_BLOCKS[mics])
                        worst["pulses, hard gains"] = max(hard)
                    where = max(worst, key=worst.get)
                    ratio = worst[where] / median
                    over += ratio > arguments.bound
                    print(f"{algorithm:10}{shape:10}{mics:11}{median:9}{worst[where]:9}{ratio:7.3f}  {where}")
        if not arguments.quick:
            print("apart:")
            for name, run in APART:
                shape = run[1] if run[1] != "rectangle" else "linear"
                worst = max(costs(*run))
                print(f"{run[0]:10}{name:30}{worst:9}{worst / medians[run[0], shape, run[2]]:7.3f}")
    if over:
        print(f"{over} worst blocks take more than {arguments.bound} times the median")
    return 1 if over else 0


if __name__ == "__main__":
    sys.exit(main())
