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


def snr(reference, estimate):
    """Power of the reference over that of every difference from it, a difference in level included, in dB."""
    difference = estimate - reference
    with np.errstate(divide="ignore"):
        return db(np.dot(reference, reference) / np.dot(difference, difference))


def segmental_snr(reference, estimate, rate, lowest=-10.0, highest=35.0):
    """Mean over frames of the frames' SNR in dB, each limited to [lowest, highest] (Hansen and Pellom 1998). Frames in
    which the talker pauses are left out."""
    talk = ~pauses(reference, rate)
    signal = frame_powers(reference, rate)[talk]
    noise = frame_powers(estimate - reference, rate)[talk]
    with np.errstate(divide="ignore", invalid="ignore"):
        ratios = np.where(noise > 0, db(signal / noise), highest)
    return np.clip(ratios, lowest, highest).mean()


def level_dbfs(signal):
    """Mean power in dB of 16-bit full scale."""
    return db(np.mean(signal**2) / 32768.0**2)
