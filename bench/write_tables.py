#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the measured tables into docs/performance.md, between the markers there.

    write_tables.py BENCH.json ARM.txt ARM-DIRECTION.txt STRIPPED.so PAGE.md
"""

import json
import pathlib
import platform
import sys

BEGIN = "<!-- measured tables: made by scripts/bench -->"
END = "<!-- end of measured tables -->"
BLOCK_MILLISECONDS = 8.0  # 128 frames at 16 kHz


def cpu_name():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def medians(path):
    report = json.loads(pathlib.Path(path).read_text(encoding="utf-8"))
    return {
        run["run_name"]: run["cpu_time"]
        for run in report["benchmarks"]
        if run.get("aggregate_name") == "median"
    }


def block_table(times, fftw):
    rows = ["| block of 128 frames | library, µs | plain model, µs | ratio | FFTW transforms | % of a core at 16 kHz |",
            "|---|---|---|---|---|---|"]
    for name, time in sorted(times.items()):
        if not name.startswith("block/library/"):
            continue
        what = name.removeprefix("block/library/")
        model = times["block/model/" + what]
        rows.append(f"| {what} | {time / 1000:.2f} | {model / 1000:.2f} | {model / time:.1f} "
                    f"| {time / fftw:.1f} | {time / 1e4 / BLOCK_MILLISECONDS:.3f} |")
    return rows


def stage_table(times, fftw):
    rows = ["| stage | library, ns | plain model, ns | ratio | FFTW transforms |", "|---|---|---|---|---|"]
    for name, time in sorted(times.items()):
        if name.startswith("stage/library/"):
            what = name.removeprefix("stage/library/")
            model = times.get("stage/model/" + what)
            beside = f"{model:.0f} | {model / time:.1f}" if model else "| "
            rows.append(f"| {what} | {time:.0f} | {beside} | {time / fftw:.2f} |")
    rows.append(f"| set-up (VekBf_Init to VekBf_Free) | {times['setup/library']:.0f} "
                f"| {times['setup/model']:.0f} | {times['setup/model'] / times['setup/library']:.1f} | |")
    rows.append(f"| FFTW3f patient, 512 points | {fftw:.0f} | | | 1 |")
    rows.append(f"| FFTW3f patient and a window loop | {times['fftw/windowed']:.0f} | | "
                f"| {times['fftw/windowed'] / fftw:.2f} |")
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
        speech, bursts = (times.get(f"direction/{array}/{kind}") for kind in ("speech", "bursts"))
        if speech is None:
            continue
        rows.append(f"| {array} | {speech / 1000:.2f} | {bursts / 1000:.2f} | {speech / 1e4 / BLOCK_MILLISECONDS:.3f} "
                    f"| {int(mean):,} | {int(dearest):,} |")
    return rows


def main():
    bench, arm, arm_direction, stripped, page = sys.argv[1:]
    times = medians(bench)
    fftw = times["fftw/bare"]
    flags = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8")
    lines = [BEGIN, "",
             f"Machine: {cpu_name()}; medians of five runs in one process; FFTW3f may use "
             f"{'AVX' if ' avx ' in flags else 'SSE2 only'}.", ""]
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
