# SPDX-License-Identifier: MIT
"""Far-field scenes: plane waves on an array in the open, plus noise of the microphones themselves."""

from dataclasses import dataclass

import numpy as np

from .delay import delay


@dataclass(frozen=True)
class Array:
    positions: tuple  # (x, y) of each microphone, metres
    sound_speed: float = 343.0  # metres per second

    def arrival_delays(self, angle):
        """Seconds by which a plane wave from `angle` (degrees, from +x towards +y) reaches each microphone after it
        passes the origin; negative for microphones on the side it comes from."""
        direction = np.array([np.cos(np.radians(angle)), np.sin(np.radians(angle))])
        return -np.asarray(self.positions) @ direction / self.sound_speed


def plane_wave(signal, array, angle, rate):
    """The signal as every microphone hears it, shape (frames, microphones)."""
    return np.stack([delay(signal, rate * seconds) for seconds in array.arrival_delays(angle)], axis=1)


def speech_power(signal):
    """Mean square over the parts that are not digital silence."""
    return np.mean(signal[signal != 0.0] ** 2)


def at_level(signal, decibels):
    """The signal with its speech power at `decibels` relative to 16-bit full scale."""
    return signal * np.sqrt(32768.0**2 * 10 ** (decibels / 10) / speech_power(signal))


def sensor_noise(frames, microphones, decibels, rng):
    """White noise, independent in every microphone."""
    return rng.standard_normal((frames, microphones)) * 32768.0 * 10 ** (decibels / 20)


def plane_wave_spectrum(spectrum, array, angle, rate):
    """The spectrum of one period of a periodic signal as every microphone hears it, shape (frequencies,
    microphones)."""
    frequencies = np.arange(len(spectrum)) * rate / (2 * (len(spectrum) - 1))
    return spectrum[:, None] * np.exp(-2j * np.pi * np.outer(frequencies, array.arrival_delays(angle)))
