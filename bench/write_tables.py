#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the measured tables into docs/performance.md, between the markers there.

    write_tables.py BENCH.json ARM.txt ARM-DIRECTION.txt STRIPPED.so PAGE.md
    write_tables.py BENCH.json      prints the times alone
"""

import datetime
import json
import pathlib
import platform
import subprocess
import sys

BEGIN = "<!-- measured tables: made by scripts/bench -->"
END = "<!-- end of measured tables -->"
BLOCK_MILLISECONDS = 8.0  # 128 frames at 16 kHz


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


def main():
    bench, *rest = sys.argv[1:]
    times = json.loads(pathlib.Path(bench).read_text(encoding="utf-8"))
    fftw = times["fftw"]["bare"]["ns"]
    if not rest:
        print("\n".join(block_table(times, fftw) + [""] + stage_table(times, fftw)))
        return
    arm, arm_direction, stripped, page = rest
    compiler = subprocess.run(["c++", "--version"], check=True, capture_output=True, text=True).stdout.splitlines()[0]
    lines = [BEGIN, "", f"Measured on {datetime.date.today()}: {cpu_name()}, {compiler}.", ""]
    lines += block_table(times, fftw) + [""] + stage_table(times, fftw) + [""] + arm_table(arm)
    lines += [""] + direction_table(times, arm_direction)
    lines += ["", f"Stripped armhf shared object, tables included: {pathlib.Path(stripped).stat().st_size:,} bytes.",
              "", END]
    path = pathlib.Path(page)
    text = path.read_text(encoding="utf-8")
    before, rest = text.split(BEGIN, 1)
    after = rest.split(END, 1)[1]
    path.write_text(before + "\n".join(lines) + after, encoding="utf-8")


if __name__ == "__main__":
    main()
