# SPDX-License-Identifier: MIT
"""Delays between channels by generalised cross-correlation with phase transform (Knapp and Carter 1976)."""

from itertools import combinations

import numpy as np

FRAME_SECONDS = 0.25
LOWEST_HZ = 200.0
# Points between two samples at which the correlation is looked at.
FINE = 16
# Peak of a correlation over its root mean square below which two channels have nothing in common.
LEAST_PEAK = 8.0


class Correlations:
    """The whitened cross-spectra of all pairs of channels, summed over the louder half of a recording's frames."""

    def __init__(self, samples, rate):
        self.rate = rate
        self.length = 2 ** int(np.ceil(np.log2(FRAME_SECONDS * rate)))
        if len(samples) < self.length:
            samples = np.concatenate([samples, np.zeros((self.length - len(samples), samples.shape[1]))])
        starts = range(0, len(samples) - self.length + 1, self.length // 2)
        powers = np.array([np.sum(samples[start : start + self.length] ** 2) for start in starts])
        loud = [start for start, power in zip(starts, powers) if power >= np.median(powers)]
        self.frequencies = np.fft.rfftfreq(self.length, 1 / rate)
        band = (self.frequencies >= LOWEST_HZ) & (self.frequencies <= 0.45 * rate)
        window = np.hanning(self.length)[:, np.newaxis]
        self.pairs = list(combinations(range(samples.shape[1]), 2))
        self.spectra = {pair: np.zeros(len(band), complex) for pair in self.pairs}
        for start in loud:
            spectra = np.fft.rfft(window * samples[start : start + self.length], axis=0)
            for i, j in self.pairs:
                cross = spectra[:, j] * np.conj(spectra[:, i])
                size = np.abs(cross)
                self.spectra[i, j] += np.divide(cross, size, out=np.zeros_like(cross), where=band & (size > 0))

    def lag(self, i, j):
        """(samples by which channel j comes after channel i, sign of what they share, peak over root mean square)."""
        wide = np.fft.irfft(self.spectra[i, j], FINE * self.length)
        best = int(np.argmax(np.abs(wide)))
        peak = wide[best] / max(np.sqrt(np.mean(wide**2)), 1e-300)
        return (best if best < len(wide) // 2 else best - len(wide)) / FINE, np.sign(peak), abs(peak)

    def steered(self, delays, channels, signs):
        """The correlations summed at the lags that follow from each channel's delay in seconds."""
        total = 0.0
        for i, j in self.pairs:
            if i in channels and j in channels:
                turn = np.exp(2j * np.pi * self.frequencies * (delays[j] - delays[i]))
                total += signs[i] * signs[j] * np.real(np.sum(self.spectra[i, j] * turn))
        return total

    def angle(self, geometry, channels, signs):
        """The direction, in whole degrees, from which a plane wave fits the channels best."""
        angles = geometry.angles()
        sums = [self.steered(geometry.array.arrival_delays(angle), channels, signs) for angle in angles]
        return float(angles[int(np.argmax(sums))])
