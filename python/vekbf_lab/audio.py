# SPDX-License-Identifier: MIT
"""Sound files of any kind as arrays of floats in units of one 16-bit step, shape (frames, channels)."""

import numpy as np
import soundfile

from .errors import LabError

FULL_SCALE = 32768.0


def read(path):
    """Return (sample rate in Hz, samples of shape (frames, channels))."""
    try:
        with open(path, "rb"):
            pass  # the system's own words for a file that is absent or must not be read
        samples, rate = soundfile.read(str(path), dtype="float64", always_2d=True)
    except (soundfile.LibsndfileError, RuntimeError) as error:
        reason = str(error).rsplit(": ", 1)[-1].rstrip(".")
        raise LabError(f"{path}: {reason}") from None
    if len(samples) == 0:
        raise LabError(f"{path}: there is no sample in it")
    if not np.isfinite(samples).all():
        raise LabError(f"{path}: some samples are not finite numbers")
    return rate, samples * FULL_SCALE


def read_one(path, channel=1):
    """Return (sample rate in Hz, one channel of the file). Channels are counted from 1."""
    rate, samples = read(path)
    if not 1 <= channel <= samples.shape[1]:
        raise LabError(f"{path}: there is no channel {channel}, only {samples.shape[1]} of them, counted from 1")
    return rate, samples[:, channel - 1]


def cut_to_shortest(signals):
    """The signals, each cut to the length of the shortest."""
    length = min(len(signal) for signal in signals)
    return [signal[:length] for signal in signals]
