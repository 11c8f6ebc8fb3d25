# SPDX-License-Identifier: MIT
"""Delays by any fraction of a sample."""

import numpy as np

# Zeros around the signal, so that what the ideal interpolator spreads does not come back in at the other end.
GUARD = 4096


def delay(signal, samples):
    """Delay a signal by `samples` (any real number, up to GUARD either way), same length.

    A linear phase in the frequency domain: exact for every band-limited signal, with no interpolation filter
    and thus no loss of level at high frequencies. Half the rate itself has no defined fractional delay and keeps
    the real part.
    """
    if abs(samples) > GUARD:
        raise ValueError(f"a delay of {samples} samples exceeds {GUARD}")
    signal = np.asarray(signal, dtype=float)
    padded = np.concatenate([np.zeros(GUARD), signal, np.zeros(GUARD)])
    phase = np.exp(-2j * np.pi * np.fft.rfftfreq(len(padded)) * samples)
    moved = np.fft.irfft(np.fft.rfft(padded) * phase, len(padded))
    return moved[GUARD : GUARD + len(signal)]
