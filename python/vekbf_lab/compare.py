# SPDX-License-Identifier: MIT
"""SNR, SI-SDR, segmental SNR and level of processed files against references.

A reference is the talker alone, lined up with the processed file (the output of `vekbf process` lines up with its
input). Files of different lengths are cut to the shortest.
"""

import json

import numpy as np

from . import audio, measures
from .errors import LabError

COLUMNS = (
    ("lag", "lag", "samples"),
    ("gain_db", "gain", "dB"),
    ("snr_db", "SNR", "dB"),
    ("si_sdr_db", "SI-SDR", "dB"),
    ("segmental_snr_db", "seg. SNR", "dB"),
    ("level_dbfs", "level", "dBFS"),
)


def add_arguments(parser):
    parser.add_argument("processed", nargs="+", metavar="PROCESSED", help="files to judge")
    parser.add_argument(
        "--reference", action="append", required=True, metavar="FILE", help="the talker alone; may be given repeatedly"
    )
    parser.add_argument("--channel", type=int, default=1, help="of files with several, counted from 1 (default 1)")
    parser.add_argument(
        "--match-level",
        action="store_true",
        help="bring the processed file to the reference's level before SNR and segmental SNR (a beam comes out at 0.79 "
        "of its level, which alone keeps the SNR below 14 dB)",
    )
    parser.add_argument("--align", action="store_true", help="take the lag out first")
    parser.add_argument("--json", action="store_true", help="print a list of objects instead of a table")


def lag(reference, estimate):
    """Samples by which the estimate comes later than the reference: where their cross-correlation is largest."""
    length = len(reference) + len(estimate)
    spectrum = np.fft.rfft(estimate, length) * np.conj(np.fft.rfft(reference, length))
    best = int(np.argmax(np.abs(np.fft.irfft(spectrum, length))))
    return best if best < len(estimate) else best - length


def shifted(reference, estimate, samples):
    """Both, with the estimate's lag taken out."""
    if samples >= 0:
        return audio.cut_to_shortest([reference, estimate[samples:]])
    return audio.cut_to_shortest([reference[-samples:], estimate])


@np.errstate(divide="ignore", invalid="ignore")  # what is equal, or silent, has an infinite figure or none
def compare(reference, estimate, rate, match_level=False, align=False):
    """The figures of one pair as a dictionary; `lag` is what was found, also where it has been taken out."""
    if not reference.any():
        raise LabError("the reference is silent")
    found = lag(reference, estimate) if estimate.any() else 0
    if align:
        reference, estimate = shifted(reference, estimate, found)
    level = measures.level_dbfs(estimate)
    gain = measures.target_gain(reference, estimate)
    scaled = estimate / gain if match_level and gain != 0 else estimate
    return {
        "lag": found,
        "gain_db": float(measures.db(gain**2)),
        "snr_db": float(measures.snr(reference, scaled)),
        "si_sdr_db": float(measures.si_sdr(reference, estimate)),
        "segmental_snr_db": float(measures.segmental_snr(reference, scaled, rate)),
        "level_dbfs": float(level),
    }


def table(rows):
    width = max(len(f"{row['processed']}") for row in rows)
    width = max(width, len("processed"))
    several = len({row["reference"] for row in rows}) > 1
    second = max([len(row["reference"]) for row in rows] + [len("reference")]) if several else 0
    head = "processed".ljust(width) + ("  " + "reference".ljust(second) if several else "")
    lines = [head + "".join(f"{title + ' (' + unit + ')':>16}" for _, title, unit in COLUMNS)]
    for row in rows:
        name = row["processed"].ljust(width) + ("  " + row["reference"].ljust(second) if several else "")
        cells = (f"{row[key]:>16d}" if key == "lag" else f"{row[key]:>16.1f}" for key, _, _ in COLUMNS)
        lines.append(name + "".join(cells))
    return "\n".join(lines)


def run(options):
    if options.channel < 1:
        raise LabError("channels are counted from 1")
    rows = []
    references = [(name, *audio.read_one(name, options.channel)) for name in options.reference]
    for name in options.processed:
        rate, estimate = audio.read_one(name, options.channel)
        for reference_name, reference_rate, reference in references:
            if rate != reference_rate:
                raise LabError(f"{name} has {rate} Hz, but {reference_name} has {reference_rate} Hz")
            pair = audio.cut_to_shortest([reference, estimate])
            if len(pair[0]) < round(measures.FRAME_SECONDS * rate):
                raise LabError(f"{name}: shorter than {measures.FRAME_SECONDS} s")
            figures = compare(*pair, rate, options.match_level, options.align)
            rows.append({"processed": name, "reference": reference_name, **figures})
    if options.json:
        finite = [{k: v if isinstance(v, str) or np.isfinite(v) else None for k, v in row.items()} for row in rows]
        print(json.dumps(finite, indent=2))
        return 0
    print(table(rows))
    if not options.align and any(row["lag"] for row in rows):
        print("Not lined up: the figures count the lag as an error; --align takes it out.")
    return 0
