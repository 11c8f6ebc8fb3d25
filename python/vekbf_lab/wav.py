# SPDX-License-Identifier: MIT
"""16-bit WAV files as arrays of floats in units of one 16-bit step, shape (frames, channels)."""

import wave

import numpy as np

FULL_SCALE = 32767


def read(path):
    """Return (sample rate in Hz, samples of shape (frames, channels))."""
    with wave.open(str(path), "rb") as file:
        if file.getsampwidth() != 2:
            raise ValueError(f"{path}: not 16-bit")
        samples = np.frombuffer(file.readframes(file.getnframes()), dtype="<i2")
        return file.getframerate(), samples.reshape(-1, file.getnchannels()).astype(float)


def write(path, rate, samples):
    """Round to whole steps and write. Raises ValueError where a sample does not fit: nothing is clipped silently."""
    samples = np.atleast_2d(np.asarray(samples, dtype=float).T).T
    whole = np.rint(samples)
    if np.abs(whole).max(initial=0) > FULL_SCALE:
        raise ValueError(f"{path}: peak {np.abs(whole).max():.0f} does not fit into 16 bits")
    with wave.open(str(path), "wb") as file:
        file.setnchannels(samples.shape[1])
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(whole.astype("<i2").tobytes())
