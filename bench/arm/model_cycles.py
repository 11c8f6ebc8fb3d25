#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Models the cycles of a block on ARM processors, from the instructions that the emulator executes.

    model_cycles.py BLOCK_RUNNER [--machine arm|arm64] [--check BUDGETS | --write BUDGETS] [ALGORITHM/SHAPE ...]
    model_cycles.py --self-test

BLOCK_RUNNER is that of a cross build. The instructions of block 150 of speech are laid out in one line, so that every
branch counts as predicted and every access as a hit of the first-level cache, and go through llvm-mca with LLVM's
models of the processors. LLVM has none of a Cortex-A7: that one is modelled here (see SmallCore). No figure is a
measurement; they say on which kind of core a change pays. --check fails where one is 2 % more than its budget.
"""

import argparse
import collections
import pathlib
import re
import subprocess
import sys
import tempfile

from emulator import MACHINES, build_plugin, emulator

MODELS = {
    "arm": {
        "plain": "mov r8, r8",  # in the place of branches, and of what a model does not know
        "triple": "thumbv8a-linux-gnueabihf", "attributes": ["-mattr=+neon,+vfp4,+thumb2"],
        "processors": ["a7", "cortex-a9", "cortex-a57"],
    },
    "arm64": {
        "plain": "nop",
        "triple": "aarch64-linux-gnu", "attributes": [],
        "processors": ["cortex-a53", "cortex-a55", "cortex-a72"],
    },
}
RUNS = [f"{algorithm}/{shape}" for algorithm in ("fixed", "adaptive") for shape in ("linear", "triangle")]
ALLOWANCE = 1.02
WINDOW = 150
BRANCH = re.compile(r"(b|bl|bx|blx|br|blr|ret|cbn?z|tbn?z|tb[bh]|b\.?[a-z]{2})(\.[wn])?$")


def is_short(word):
    """Whether it begins with a Thumb instruction of two bytes."""
    return int(word[2:4], 16) < 0xE8


def halves(word):
    return [word[:4], word[4:]] if len(word) == 8 and is_short(word) else [word]


def record(machine, plugin, folder, runner, algorithm, shape):
    """The executed instructions as encodings: '@' before those of 32-bit ARM state, which Thumb code calls."""
    trace = pathlib.Path(folder) / "trace"
    options = f"{plugin},mark={MACHINES[machine].mark},window={WINDOW},out={trace}"
    subprocess.run(emulator(machine) + ["-plugin", options, runner, algorithm, shape, "4", "16000", "speech", str(WINDOW + 1)],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    thumb = MODELS[machine]["triple"].startswith("thumb")
    blocks, executed = {}, []
    with open(trace, encoding="ascii") as lines:
        for line in lines:
            kind, number, *words = line.split()
            if kind == "run":
                executed.extend(blocks[number])
            else:
                # A long instruction of Thumb begins with a half that is 0xe800 or more; the emulator does not tell the state.
                is_thumb = any(len(word) == 4 for word in words) or not any(map(is_short, words))
                if thumb and is_thumb:
                    # The emulator gives two short ones as one now and then.
                    words = [part for word in words for part in halves(word)]
                blocks[number] = words if is_thumb or not thumb else ["@" + word for word in words]
    # Without if-then, whose condition would hang over to whatever is decoded next.
    return [word for word in executed if not (len(word) == 4 and word[2:] == "bf" and word[1] != "0")]


def decode(model, words):
    """Text of each encoding."""
    texts = {}
    for state in ("", "@"):
        mine = [word for word in dict.fromkeys(words) if word.startswith("@") == bool(state)]
        if not mine:
            continue
        triple = model["triple"].replace("thumb", "arm") if state else model["triple"]
        encodings = [word.lstrip("@") for word in mine]
        lines = [" ".join("0x" + word[i:i + 2] for i in range(0, len(word), 2)) for word in encodings]
        done = subprocess.run(["llvm-mc", "-disassemble", f"-triple={triple}"] + model["attributes"],
                              input="\n".join(lines), capture_output=True, text=True, check=False)
        bad = {int(n) for n in re.findall(r"^<stdin>:(\d+):\d+: warning: invalid", done.stderr, re.M)}
        good = [word for n, word in enumerate(mine, 1) if n not in bad]
        decoded = [line.strip() for line in done.stdout.splitlines() if line.startswith("\t") and not line.startswith("\t.")]
        if len(good) != len(decoded):
            raise RuntimeError(f"{len(good)} encodings, {len(decoded)} texts")
        texts.update({word: model["plain"] for word in mine})
        texts.update({word: re.sub(r"\s+", " ", re.sub(r"\s*(@|//).*", "", text)) for word, text in zip(good, decoded)})
        for n in bad:
            print(f"not understood: {lines[n - 1]}", file=sys.stderr)
    return texts


def mca(model, processor, texts):
    lines = [model["plain"] if BRANCH.match(text.split(" ")[0]) else text for text in texts]
    command = ["llvm-mca", f"-mtriple={model['triple']}", f"-mcpu={processor}", "-iterations=1", "-instruction-info=0",
               "-resource-pressure=0"] + model["attributes"]
    for _ in range(100):
        done = subprocess.run(command, input="\n".join(lines) + "\n", capture_output=True, text=True, check=False)
        cycles = re.search(r"Total Cycles:\s+(\d+)", done.stdout)
        if cycles:
            return int(cycles.group(1))
        # What the model of a processor lacks, or the assembler refuses, counts as one plain instruction.
        refused = {int(n) - 1 for n in re.findall(r"^<stdin>:(\d+):\d+: error", done.stderr, re.M)}
        unknown = re.search(r"note: instruction:\s+(.*)", done.stderr)
        name = re.split(r"\s", unknown.group(1))[0] if unknown else None
        changed = [model["plain"] if i in refused or line.split(" ")[0] == name else line for i, line in enumerate(lines)]
        if changed == lines:
            break
        lines = changed
    raise RuntimeError(done.stderr[:500])


class SmallCore:
    """A Cortex-A7: two instructions a cycle at best, in order; one lane of single precision a cycle.

    Latencies are those of GCC's description of its pipeline; throughputs of the vector unit are published measurements
    (wlog.flatlib.jp, 2014-02-14): four cycles for a vector of four floats, two for two, one for a scalar; four for a
    product of doubles, one for their sum. Square roots and divisions share a unit that takes one at a time."""

    UNPIPELINED = {("vsqrt", True): (31, 29), ("vdiv", True): (31, 29), ("vsqrt", False): (16, 14), ("vdiv", False): (16, 14)}
    PRODUCTS = ("vmul", "vnmul", "vmla", "vmls", "vnmla", "vnmls", "vfma", "vfms", "vfnma", "vfnms")

    def cost(self, name, operands):
        """(cycles of issue, latency, unit, cycles that it is busy, may be the second of a pair, latency as an addend)"""
        base, _, kind = name.partition(".")
        double = "f64" in kind and not base.startswith("vcvt")
        widths = [o[0] for o in operands if re.match(r"[sdq]\d", o)]
        lanes = 1 if double or "s" in widths else {"q": 4, "d": 2}.get(widths[0] if widths else "", 1)
        if not base.startswith("v"):
            return self.core_cost(base, operands)
        if base[:3] in ("vld", "vst") or base in ("vpush", "vpop"):
            moved = len(registers(" ".join(operands[:1] if base[3:4].isdigit() else operands[-1:]), "sdq"))
            cycles = 1 if base in ("vldr", "vstr") else max(1, moved // 2)
            shuffled = base[3:4] in ("2", "3", "4")
            return cycles + shuffled, 0 if base.startswith(("vst", "vpush")) else 2 + cycles, None, 0, False, None
        if (base, double) in self.UNPIPELINED and base in ("vsqrt", "vdiv"):
            latency, busy = self.UNPIPELINED[base, double]
            return 1, latency, "divider", busy, False, None
        if base in self.PRODUCTS:
            added = base not in ("vmul", "vnmul")
            if double:
                return 1, 11 if added else 7, "multiplier", 4, False, 7 if added else None
            return lanes, 8 if added else 4, "multiplier", lanes, False, 4 if added else None
        if kind.startswith("f32") and lanes > 1:
            return lanes, 8 if base in ("vrecps", "vrsqrts") else 4, None, 0, False, None
        return (2 if "q" in widths else 1), 4, None, 0, False, None

    @staticmethod
    def core_cost(base, operands):
        if base in ("push", "pop") or base[:3] in ("ldm", "stm"):
            return (len(registers(operands[-1], "r")) + 1) // 2, 3, None, 0, False, None
        if base.startswith(("ldr", "str")):
            return 1, 2 if base.startswith("ldr") else 0, None, 0, False, None
        if base.startswith(("mul", "mla", "mls", "smul", "umul", "smla", "umla")):
            return 1, 2, None, 0, False, None
        if base in ("sdiv", "udiv"):
            return 5, 5, None, 0, False, None
        if BRANCH.match(base):
            return 1, 0, None, 0, True, None
        return 1, 1, None, 0, bool(operands) and operands[-1].startswith("#"), None

    def cycles(self, texts):
        decoded = {text: self.decode(text) for text in set(texts)}
        ready, addend, free = collections.defaultdict(int), collections.defaultdict(int), collections.defaultdict(int)
        now, paired = 0, True  # `paired`: the last cycle has no room for a second instruction
        for text in texts:
            (issue, latency, unit, busy, second, early), reads, writes = decoded[text]
            start = max((ready[r] - (addend[r] if early and r in writes else 0) for r in reads), default=0)
            start = max(start, free[unit]) if unit else start
            if second and not paired and start < now:
                at, paired = now - 1, True
            else:
                at = max(now, start)
                now = at + issue
                paired = issue > 1
            if unit:
                free[unit] = at + busy
            for register in writes:
                ready[register] = at + latency
                addend[register] = latency - early if early else 0
        return now

    def decode(self, text):
        name, _, rest = text.partition(" ")
        operands = [part.strip() for part in re.split(r",\s*(?![^{\[]*[}\]])", rest)] if rest else []
        base = name.split(".")[0]
        cost = self.cost(name, operands)
        every = registers(rest, "rsdq")
        if base.startswith(("str", "stm", "vst", "push", "vpush", "cmp", "cmn", "tst", "vcmp")) or BRANCH.match(base):
            return cost, every, set()
        if base in ("pop", "vpop") or base[:3] == "ldm" or base[:4] == "vldm":
            return cost, set(), registers(operands[-1], "rsdq")
        two = base == "ldrd" or base.endswith("mull") or (base == "vmov" and len(operands) == 3)
        writes = registers(" ".join(operands[:2 if two else 1]), "rsdq")
        both = base in ("vzip", "vuzp", "vtrn", "vswp")
        if both:
            return cost, every, every
        reads = registers(" ".join(operands[2 if two else 1:]), "rsdq")
        if base in self.PRODUCTS[2:] + ("vbsl", "vbit", "vbif", "mla", "mls") or len(operands) == 2 and base[:3] in ("add", "sub"):
            reads = reads | writes
        return cost, reads, writes


NAMED = {"r9": "sb", "r10": "sl", "r11": "fp", "r12": "ip", "r13": "sp", "r14": "lr", "r15": "pc"}


def registers(text, kinds):
    """Core registers by number and vector registers by their 32-bit pieces."""
    for number, name in NAMED.items():
        text = re.sub(rf"\b{name}\b", number, text)
    found = set()
    for kind, low, high in re.findall(rf"\b([{kinds}])(\d+)\b(?:\s*-\s*[rsdq](\d+)\b)?", text):
        for n in range(int(low), int(high or low) + 1):
            width = {"r": 1, "s": 1, "d": 2, "q": 4}[kind]
            found.update(("r" if kind == "r" else "s", width * n + i) for i in range(width))
    return found


def self_test():
    """Cycles an instruction of the small core's model against what is published of a Cortex-A7."""
    cases = [
        (1, [f"vmul.f32 s{i}, s30, s31" for i in range(8)]), (1, [f"vadd.f32 s{i}, s30, s31" for i in range(8)]),
        (2, [f"vmul.f32 d{i}, d30, d31" for i in range(8)]), (2, [f"vadd.f32 d{i}, d30, d31" for i in range(8)]),
        (4, [f"vmul.f32 q{i}, q14, q15" for i in range(8)]), (4, [f"vmla.f32 q{i}, q14, q15" for i in range(8)]),
        (4, [f"vmul.f64 d{i}, d30, d31" for i in range(8)]), (29, [f"vsqrt.f64 d{i}, d31" for i in range(8)]),
        (14, [f"vdiv.f32 s{i}, s30, s31" for i in range(8)]), (4, ["vadd.f32 s0, s0, s31"]), (7, ["vmul.f64 d0, d0, d31"]),
        (4, ["vmla.f32 q0, q14, q15"]), (7, ["vmla.f64 d0, d30, d31"]), (1, ["adds r0, r0, #1"]),
        (0.5, ["add r0, r1, r2", "add r3, r4, #4"]), (2, ["ldr r0, [r0]"]),
    ]
    for expected, texts in cases:
        measured = SmallCore().cycles(texts * 300) / (300 * len(texts))
        if abs(measured - expected) > 0.05 * expected:
            raise SystemExit(f"{texts[0]}: {measured} cycles instead of {expected}")
    print(f"{len(cases)} throughputs and latencies of the small core's model as published")


def read_budgets(path):
    head, *lines = pathlib.Path(path).read_text(encoding="utf-8").splitlines()
    processors = head.split()[7:]
    rows = [line.split() for line in lines if not line.startswith("#")]
    return {(name, p): int(n) for name, _, *values in rows for p, n in zip(processors, values, strict=True)}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("runner", nargs="?")
    parser.add_argument("--machine", choices=MODELS, default="arm")
    parser.add_argument("names", nargs="*", help="blocks, by default all four")
    parser.add_argument("--check", metavar="BUDGETS")
    parser.add_argument("--write", metavar="BUDGETS")
    parser.add_argument("--self-test", action="store_true")
    arguments = parser.parse_intermixed_args()
    if arguments.self_test:
        return self_test()
    if arguments.runner is None:
        parser.error("which program?")
    model = MODELS[arguments.machine]
    budgets = read_budgets(arguments.check) if arguments.check else {}
    over = 0
    rows = [f"{'# modelled cycles of a block':26}{'instructions':>13}" + "".join(f"{name:>12}" for name in model["processors"])]
    print(rows[0])
    with tempfile.TemporaryDirectory() as folder:
        plugin = build_plugin(folder, "trace_instructions")
        for name in arguments.names or RUNS:
            algorithm, shape = name.split("/")
            words = record(arguments.machine, plugin, folder, arguments.runner, algorithm, shape)
            known = decode(model, words)
            texts = [known[word] for word in words]
            figures = [SmallCore().cycles(texts) if name == "a7" else mca(model, name, texts) for name in model["processors"]]
            rows.append(f"{name:26}{len(texts):13}" + "".join(f"{n:12}" for n in figures))
            print(rows[-1], flush=True)
            for processor, cycles in zip(model["processors"], figures):
                if arguments.check and cycles > ALLOWANCE * budgets.get((name, processor), 0):
                    over += 1
                    print(f"{name}: {cycles} cycles on {processor}, budget {budgets.get((name, processor))}")
    if arguments.write:
        pathlib.Path(arguments.write).write_text("\n".join(rows) + "\n", encoding="utf-8")
    return 1 if over else 0


if __name__ == "__main__":
    sys.exit(main())
