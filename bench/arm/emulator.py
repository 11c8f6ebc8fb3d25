# SPDX-License-Identifier: MIT
"""The user-mode emulator of the machines that are counted here, and its plug-ins."""

import collections
import pathlib
import subprocess

# The number of sched_yield, by which a program marks its blocks.
Machine = collections.namedtuple("Machine", "emulator triplet mark")
MACHINES = {"arm": Machine("qemu-arm", "arm-linux-gnueabihf", 158), "arm64": Machine("qemu-aarch64", "aarch64-linux-gnu", 124)}


def emulator(machine="arm"):
    """The command before a program and its arguments."""
    # (The emulated loader would otherwise find libraries of this architecture that this computer has itself.)
    root = f"/usr/{MACHINES[machine].triplet}"
    return [MACHINES[machine].emulator, "-L", root, "-E", f"LD_LIBRARY_PATH={root}/lib"]


def build_plugin(folder, name="count_instructions"):
    source = pathlib.Path(__file__).with_name(f"{name}.c")
    plugin = pathlib.Path(folder) / f"{name}.so"
    subprocess.run(["cc", "-O2", "-shared", "-fPIC", str(source), "-o", str(plugin)], check=True)
    return plugin


def block_costs(plugin, runner, *run):
    """Instructions of each block of 32-bit ARM, of which the last argument is the number."""
    command = emulator() + ["-plugin", f"{plugin},mark={MACHINES['arm'].mark}", runner, *map(str, run)]
    done = subprocess.run(command, capture_output=True, text=True, check=True)
    line = next(text for text in done.stderr.splitlines() if text.startswith("marks "))
    marks = [int(word) for word in line.split()[1:]]
    assert len(marks) == 2 * int(run[-1]), "a mark before and a mark after each block"
    return [after - before for before, after in zip(marks[::2], marks[1::2])]
