# SPDX-License-Identifier: MIT
"""How good is an enhanced signal, given the talker alone? Signals are aligned arrays of equal length."""

import numpy as np

FRAME_SECONDS = 0.02
PAUSE_DEPTH_DB = 40.0


def db(ratio):
    """A ratio of powers in decibels; minus infinity for zero."""
    with np.errstate(divide="ignore"):
        return 10 * np.log10(ratio)


def target_gain(reference, estimate):
    """The factor that brings the reference closest (least squares) to the estimate."""
    return np.dot(estimate, reference) / np.dot(reference, reference)


def si_sdr(reference, estimate):
    """Scale-invariant signal-to-distortion ratio in dB (Le Roux, Wisdom, Erdogan and Hershey 2019)."""
    reference = reference - reference.mean()
    estimate = estimate - estimate.mean()
    target = target_gain(reference, estimate) * reference
    distortion = estimate - target
    return db(np.dot(target, target) / np.dot(distortion, distortion))


def frame_powers(signal, rate):
    """Mean square of consecutive frames of FRAME_SECONDS; the rest at the end is left out."""
    length = round(FRAME_SECONDS * rate)
    frames = np.reshape(signal[: len(signal) // length * length], (-1, length))
    return np.mean(frames**2, axis=1)


def pauses(reference, rate):
    """One boolean per frame: the talker alone is PAUSE_DEPTH_DB below the mean of its louder half of frames."""
    powers = frame_powers(reference, rate)
    active = np.sort(powers)[len(powers) // 2 :].mean()
    return powers < active * 10 ** (-PAUSE_DEPTH_DB / 10)


def pause_power_db(reference, estimate, rate):
    """Power left in the talker's pauses, in dB of 16-bit full scale, after the talker is brought to its level in the
    reference: a signal that is merely quieter gains nothing."""
    quiet = pauses(reference, rate)
    if not quiet.any():
        raise ValueError("the talker makes no pause")
    gain = target_gain(reference, estimate)
    return db(frame_powers(estimate / gain, rate)[quiet].mean() / 32768.0**2)
