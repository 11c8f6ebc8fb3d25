# SPDX-License-Identifier: MIT
"""Spectrograms before and after, and the level over time, as a picture (.png or .svg)."""

from pathlib import Path

from . import audio
from .errors import LabError


def add_arguments(parser):
    parser.add_argument("signals", nargs="+", metavar="FILE", help="before, after, and more if wanted")
    parser.add_argument("--out", required=True, metavar="PICTURE", help=".png or .svg")
    parser.add_argument("--channel", type=int, default=1, help="of files with several, counted from 1 (default 1)")


def run(options):
    from . import plots

    if options.channel < 1:
        raise LabError("channels are counted from 1")
    read = [audio.read_one(name, options.channel) for name in options.signals]
    rates = {rate for rate, _ in read}
    if len(rates) > 1:
        raise LabError("the files have different sample rates")
    (rate,) = rates
    if min(len(signal) for _, signal in read) < rate // 10:
        raise LabError("a tenth of a second is the least")
    names = [Path(name).name for name in options.signals]
    if len(set(names)) < len(names):
        names = [str(name) for name in options.signals]
    if len(set(names)) < len(names):
        raise LabError("the same file is named twice")
    signals = dict(zip(names, (signal for _, signal in read)))
    plots.save(plots.signal_page(signals, rate, ", ".join(names)), options.out)
    return 0
