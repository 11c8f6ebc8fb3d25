# SPDX-License-Identifier: MIT
"""The beam pattern: plane waves from every direction, sent through the library, band by band.

Writes a table (.csv, levels in dB relative to the look direction) or a picture (.png, .svg) for each OUT, and prints
the directivity index and the beam width. A line's directivity is that against noise from all of space, a square's
that against noise from all around in its plane. The adaptive algorithm adapts to each wave as it comes; its pattern
is not that of a beam which stays as it is.
"""

import csv
from pathlib import Path

import numpy as np
from tqdm import tqdm

from . import arrays
from .errors import LabError


def add_arguments(parser):
    parser.add_argument("out", nargs="*", metavar="OUT", help="files to write: .csv, .png, .svg")
    arrays.add_arguments(parser)
    parser.add_argument("--angle", type=int, default=90, metavar="DEGREES", help="look direction (default 90)")
    parser.add_argument("--rate", type=int, default=16000, metavar="HZ", help="sample rate (default 16000)")
    parser.add_argument("--step", type=float, default=2.0, metavar="DEGREES", help="between two waves (default 2)")
    parser.add_argument("--algorithm", choices=("fixed", "adaptive"), default="fixed")
    parser.add_argument("--intensity", type=int, default=3, help="of the adaptive algorithm (default 3)")


def write_csv(path, pattern):
    with open(path, "w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(["angle_degrees"] + [f"{centre:.0f}_hz_db" for centre in pattern.centres])
        for angle, row in zip(pattern.angles, pattern.decibels):
            writer.writerow([f"{angle:g}"] + [f"{level:.2f}" for level in row])


def table(pattern):
    lines = [f"{'band (Hz)':>10}{'directivity (dB)':>19}{'width (degrees)':>18}"]
    for centre, index, width in zip(pattern.centres, pattern.directivity_index(), pattern.beam_width()):
        shown = "all" if np.isnan(width) else f"{width:.0f}"
        lines.append(f"{centre:>10.0f}{index:>19.1f}{shown:>18}")
    return "\n".join(lines)


def run(options):
    # What takes long to load is loaded by whom needs it.
    import vekbf

    from . import beam_pattern, plots

    geometry = arrays.from_options(options)
    if not 0.1 <= options.step <= 30 or abs(180 / options.step - round(180 / options.step)) > 1e-9:
        raise LabError("--step is a part of 180 degrees, from 0.1 to 30")
    for path in options.out:
        if Path(path).suffix.lower() not in (".csv", ".png", ".svg"):
            raise LabError(f"{path}: a pattern is written as .csv, .png or .svg")
    look = abs((options.angle + 180) % 360 - 180) if geometry.is_line else options.angle % 360
    try:
        pattern = beam_pattern.measure(
            geometry,
            options.rate,
            look,
            options.step,
            progress=lambda angles: tqdm(angles, "angles", leave=False, disable=None),
            algorithm=options.algorithm,
            intensity=options.intensity,
        )
    except (vekbf.VekBfError, vekbf.LibraryNotFound) as error:
        raise LabError(str(error)) from None
    for path in options.out:
        if Path(path).suffix.lower() == ".csv":
            write_csv(path, pattern)
        else:
            count = len(geometry.array.positions)
            shape = "in a line" if geometry.is_line else "on a circle"
            title = f"{options.algorithm.capitalize()} beam of {count} microphones {shape} towards {look} degrees"
            plots.save(plots.beam_page(pattern, title), path)
    print(table(pattern))
    return 0
