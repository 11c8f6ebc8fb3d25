#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts the instructions of each stage on ARM under the user-mode emulator.

    count_stages.py RUNNER [--machine arm|arm64] [--check BUDGETS | --write BUDGETS] [--model] [NAME ...]

RUNNER is stage_runner of the armhf or the arm64 build. Each stage runs twice with different counts; the difference, divided, is its
cost, and repeats exactly. --check fails when a stage takes 2 % more than its budget, or a budget names no stage.
--model counts the plain model as well, where it has the stage.
"""

import argparse
import pathlib
import subprocess
import sys
import tempfile

from emulator import MACHINES, build_plugin, emulator

COUNTS = {False: (20, 60), True: (100, 300)}  # for a stage, and for a whole block: some content of the signal
ALLOWANCE = 1.02
DESCRIPTIONS = {"arm": "32-bit ARM (-mcpu=cortex-a7 -mfpu=neon-vfpv4)", "arm64": "64-bit ARM"}
MODEL = "model/"
MODEL_NAMES = [
    "transform_forward", "transform_inverse", "steering_line", "steering_triangle", "estimator", "detector_with_estimator",
    "detector_loud_speech", "block/fixed/linear/4/speech", "block/fixed/triangle/4/speech", "block/adaptive/linear/4/speech",
    "block/adaptive/triangle/4/speech",
]
DEFAULT_BLOCKS = [
    f"block/{algorithm}/{geometry}/4/speech"
    for algorithm in ("fixed", "adaptive")
    for geometry in ("linear", "triangle")
] + [f"block/adaptive/linear/4/{kind}" for kind in ("noise", "onebit", "loud")]


def instructions(command, name, count):
    done = subprocess.run([*command, name, str(count)], capture_output=True, text=True, check=True)
    words = done.stderr.split()
    return int(words[words.index("instructions") + 1])


def cost(command, name):
    few, many = COUNTS[name.removeprefix(MODEL).startswith("block/")]
    difference = instructions(command, name, many) - instructions(command, name, few)
    return round(difference / (many - few))


def stage_names(command):
    listed = subprocess.run(command, capture_output=True, text=True, check=True)
    return [name for name in listed.stdout.split() if not name.startswith("block/")]


def read_budgets(path):
    budgets = {}
    for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
        if line.strip() and not line.startswith("#"):
            name, value = line.split()
            budgets[name] = int(value)
    return budgets


def check(measured, budgets):
    over = 0
    for name, value in measured.items():
        budget = budgets.get(name)
        if budget is None or value > budget * ALLOWANCE:
            over += 1
            print(f"{name}: {value} instructions, budget {budget}")
    return over


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("runner")
    parser.add_argument("names", nargs="*")
    parser.add_argument("--machine", choices=MACHINES, default="arm")
    parser.add_argument("--check", metavar="BUDGETS")
    parser.add_argument("--write", metavar="BUDGETS")
    parser.add_argument("--model", action="store_true")
    arguments = parser.parse_args()
    budgets = read_budgets(arguments.check) if arguments.check else {}
    with tempfile.TemporaryDirectory() as folder:
        command = emulator(arguments.machine) + ["-plugin", str(build_plugin(folder)), arguments.runner]
        names = arguments.names or list(budgets) or stage_names(command) + DEFAULT_BLOCKS
        if arguments.model:
            names = names + [MODEL + name for name in MODEL_NAMES]
        measured = {name: cost(command, name) for name in names}
    width = max(len(name) for name in measured)
    for name, value in measured.items():
        print(f"{name:{width}} {value:8}")
    if arguments.write:
        compiler = subprocess.run([f"{MACHINES[arguments.machine].triplet}-g++", "--version"], capture_output=True,
                                  text=True, check=True).stdout.splitlines()[0]
        lines = [
            f"# Instructions per stage and per block on {DESCRIPTIONS[arguments.machine]}.",
            "# A test fails when one takes 2 % more. Made by bench/arm/count_stages.py RUNNER "
            f"--machine {arguments.machine} --write;",
            f"# valid for {compiler}.",
        ] + [f"{name:{width}} {value}" for name, value in measured.items()]
        pathlib.Path(arguments.write).write_text("\n".join(lines) + "\n", encoding="utf-8")
    return 1 if arguments.check and check(measured, budgets) else 0


if __name__ == "__main__":
    sys.exit(main())
