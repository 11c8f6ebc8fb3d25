#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the measured tables into docs/performance.md, between the markers there.

    write_tables.py RESULTS PAGE.md   from the files that scripts/bench leaves in the folder RESULTS
    write_tables.py RESULTS           prints the times of blocks and stages alone
"""

import datetime
import json
import pathlib
import platform
import subprocess
import sys

BLOCK_MILLISECONDS = 8.0  # 128 frames at 16 kHz
ALGORITHMS = ("adaptive", "fixed")


def cpu_name():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def microseconds(entry):
    return f"{entry['ns'] / 1000:.2f}"


def ratio(row, name):
    return f"{row[name]['ratio']:.3f}" if name in row else ""


def fastest(row):
    return row.get("eight", row["four"])["ns"]


def block_table(times, fftw):
    rows = ["| block of 128 frames | frozen build, µs | four lanes, of its time | eight lanes | plain model "
            "| now, µs | FFTW transforms | % of a core at 16 kHz |", "|---|---|---|---|---|---|---|---|"]
    for name, row in sorted(times.items()):
        if name.startswith("block/"):
            now = fastest(row)
            rows.append(f"| {name.removeprefix('block/')} | {microseconds(row['frozen'])} | {ratio(row, 'four')} "
                        f"| {ratio(row, 'eight')} | {row['model']['ratio']:.1f} | {now / 1000:.2f} | {now / fftw:.1f} "
                        f"| {now / 1e4 / BLOCK_MILLISECONDS:.3f} |")
    return rows


def stage_table(times, fftw):
    rows = ["| stage | frozen build, ns | four lanes, of its time | eight lanes | plain model | now, ns | FFTW transforms |",
            "|---|---|---|---|---|---|---|"]
    stages = {name.removeprefix("stage/"): row for name, row in sorted(times.items()) if name.startswith("stage/")}
    stages["set-up (VekBf_Init to VekBf_Free)"] = times["setup"]
    for name, row in stages.items():
        model = f"{row['model']['ratio']:.1f}" if "model" in row else ""
        now = fastest(row)
        rows.append(f"| {name} | {row['frozen']['ns']:.0f} | {ratio(row, 'four')} | {ratio(row, 'eight')} | {model} "
                    f"| {now:.0f} | {now / fftw:.2f} |")
    rows.append(f"| FFTW3f patient, 512 points | | | | | {fftw:.0f} | 1 |")
    windowed = times["fftw"]["windowed"]
    rows.append(f"| FFTW3f patient and a window loop | | | | | {windowed['ns']:.0f} | {windowed['ratio']:.2f} |")
    return rows


def arm_table(path):
    rows = ["| 32-bit ARM, instructions | library | plain model | ratio |", "|---|---|---|---|"]
    lines = pathlib.Path(path).read_text(encoding="utf-8").splitlines()
    counts = {name: int(value) for name, value in (line.split() for line in lines if not line.startswith("#"))}
    for name, value in counts.items():
        if not name.startswith("model/"):
            model = counts.get("model/" + name)
            beside = f"{model:,} | {model / value:.1f}" if model else "| "
            rows.append(f"| {name} | {value:,} | {beside} |")
    return rows


def direction_table(times, path):
    rows = ["| direction finder, block of 128 frames at 16 kHz | voice, µs | bursts, µs | % of a core "
            "| ARM instructions, mean | dearest block |", "|---|---|---|---|---|---|"]
    for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
        array, mean, dearest = line.split()
        if f"direction/{array}/speech" not in times:
            continue
        speech, bursts = (times[f"direction/{array}/{kind}"]["library"]["ns"] for kind in ("speech", "bursts"))
        rows.append(f"| {array} | {speech / 1000:.2f} | {bursts / 1000:.2f} | {speech / 1e4 / BLOCK_MILLISECONDS:.3f} "
                    f"| {int(mean):,} | {int(dearest):,} |")
    return rows


def table(*rows):
    head, *body = ["| " + " | ".join(row) + " |" for row in rows]
    return [head, "|" + "---|" * len(rows[0])] + body


def beside_table(beside):
    """Times of what a user might take instead, of the library's for the same sound."""
    builds = [build for build in ("four", "eight") if f"{build}/fixed" in beside["16000/4"]]
    rows = [["instead", "rate, kHz", "microphones"]
            + [f"of the {algorithm} beam's time, {build} lanes" for algorithm in ALGORITHMS for build in builds]]
    for name, key, mics in (("WebRTC's beamformer", "webrtc", 4), ("plain code, `-O3`", "plain", 4),
                            ("plain code, `-O3 -march=native -ffast-math`", "fast", 4),
                            ("SpeexDSP's preprocessor", "speexdsp", 1), ("plain code, `-O3`", "plain", 1)):
        for rate in (8000, 16000, 48000):
            row = beside[f"{rate}/{mics}"]
            # The plain code does the same at each rate.
            if key in ("plain", "fast") and rate != 16000 or key not in row and f"{key}/fixed" not in row:
                continue
            other = {algorithm: row.get(key, row.get(f"{key}/{algorithm}"))["ratio"] for algorithm in ALGORITHMS}
            rows.append([name, f"{rate // 1000}", f"{mics}"] + [
                f"{other[algorithm] / row[f'{build}/{algorithm}']['ratio']:.1f}" for algorithm in ALGORITHMS for build in builds])
    return table(*rows)


def caches():
    found = []
    for index in sorted(pathlib.Path("/sys/devices/system/cpu/cpu0/cache").glob("index*")):
        kind, level, size = ((index / name).read_text(encoding="ascii").strip() for name in ("type", "level", "size"))
        if kind != "Instruction":
            found.append(f"level {level}, {int(size.rstrip('K')):,} KB")
    return "; ".join(found)


def scale_tables(scale):
    mics = table(["microphones, at 16 kHz", "1", "2", "3", "4"],
                 *([f"{a}: a block, of its time with four"] + [f"{scale[f'microphones/{a}'][m]['ratio']:.2f}" for m in "1234"]
                   for a in ALGORITHMS))
    rates = (8000, 16000, 32000, 48000)
    rate = table(["rate, four microphones"] + [f"{r // 1000} kHz" for r in rates],
                 *([f"{a}: a second of sound, of that at 16 kHz"]
                   + [f"{scale[f'block_by_rate/{a}'][str(r)]['ratio'] * r / 16000:.2f}" for r in rates] for a in ALGORITHMS))
    counts = [count for count in scale["instances/fixed"] if count.isdigit()]
    rows = [["instances of four microphones"] + [f"{int(count):,}" for count in counts]]
    for a in ALGORITHMS:
        entries = [scale[f"instances/{a}"][count] for count in counts]
        rows.append([f"{a}: a block on one core, of a lone instance's"] + [f"{e['one_core']:.2f}" for e in entries])
        if any("gain" in e for e in entries):
            rows.append([f"{a}: two cores, times as fast as one"] + [f"{e['gain']:.2f}" if "gain" in e else "" for e in entries])
    size = (f"An instance takes {scale['instances/fixed']['bytes']:,} bytes. Caches of a core of this machine: {caches()}.")
    return mics + [""] + rate + [""] + table(*rows) + ["", size]


def read_cycles(path):
    """Figures by block and processor; the first processor is the instructions."""
    head, *lines = pathlib.Path(path).read_text(encoding="utf-8").splitlines()
    names = ["instructions"] + [name.removeprefix("cortex-").upper() for name in head.split()[7:]]
    return {row[0]: dict(zip(names, map(int, row[1:]), strict=True)) for row in (line.split() for line in lines)}


def cycle_tables(results):
    small, large = read_cycles(results / "cycles-arm.txt"), read_cycles(results / "cycles-arm64.txt")
    names = [f"{machine}: {name}" if name == "instructions" else name
             for machine, figures in (("32-bit", small), ("64-bit", large)) for name in figures["fixed/linear"]]
    cycles = table(["four microphones, speech"] + names,
                   *([block] + [f"{n:,}" for n in [*small[block].values(), *large[block].values()]] for block in small))
    blocks_a_second = 1000 / BLOCK_MILLISECONDS
    shares = table(["share of a core at 1 GHz, at 16 kHz", "A7", "A53", "A72"],
                   *([block] + [f"{n * blocks_a_second / 1e9:.1%}".replace("%", " %") for n in
                                (small[block]["A7"], large[block]["A53"], large[block]["A72"])] for block in small))
    return cycles, shares


def replace(text, name, lines):
    """What stands between the markers of the part `name` of the page gives way to the lines."""
    begin, end = f"<!-- made by scripts/bench: {name} -->", f"<!-- end of {name} -->"
    before, rest = text.split(begin, 1)
    return "\n".join([before + begin, "", *lines, "", end]) + rest.split(end, 1)[1]


def main():
    results, *page = map(pathlib.Path, sys.argv[1:])
    times = json.loads((results / "times.json").read_text(encoding="utf-8"))
    fftw = times["fftw"]["bare"]["ns"]
    if not page:
        print("\n".join(block_table(times, fftw) + [""] + stage_table(times, fftw)))
        return
    compiler = subprocess.run(["c++", "--version"], check=True, capture_output=True, text=True).stdout.splitlines()[0]
    lines = [f"Measured on {datetime.date.today()}: {cpu_name()}, {compiler}.", ""]
    lines += block_table(times, fftw) + [""] + stage_table(times, fftw) + [""] + arm_table(results / "arm-instructions.txt")
    lines += [""] + direction_table(times, results / "arm-direction.txt")
    stripped = (results / "libvekbf-armhf-stripped.so").stat().st_size
    lines += ["", f"Stripped armhf shared object, tables included: {stripped:,} bytes."]
    beside, scale = (json.loads((results / name).read_text(encoding="utf-8")) for name in ("beside.json", "scale.json"))
    cycles, shares = cycle_tables(results)
    text = page[0].read_text(encoding="utf-8")
    for name, part in (("times and instructions", lines), ("beside others", beside_table(beside)),
                       ("scale", scale_tables(scale)), ("modelled cycles", cycles), ("modelled shares", shares)):
        text = replace(text, name, part)
    page[0].write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
