# SPDX-License-Identifier: MIT
"""Delays between channels, and the direction of a talker, by generalised cross-correlation with phase transform (Knapp
and Carter 1976), each bin weighted by how far it stands out of steady noise and reverberation."""

from itertools import combinations

import numpy as np

# Long enough for the delays of faulty channels.
FRAME_SECONDS = 0.25
# Of the direction: short enough to tell the onset of a sound from its reverberation.
SHORT_SECONDS = 0.032
LOWEST_HZ = 200.0
HIGHEST_HZ = 7000.0
# Points between two samples at which the correlation is looked at.
FINE = 16
# Peak of a correlation over its root mean square below which two channels have nothing in common.
LEAST_PEAK = 8.0

# The steady noise of a bin is what this share of the frames stays below; a bin is reliable so far as it exceeds it so
# many times. The same for what was there just before, and before that, dying away by 60 dB in REVERBERATION seconds.
QUIET_SHARE = 0.25
OVER_NOISE = 4.5
OVER_LATE = 4.0
OVER_EARLY = 1.0
REVERBERATION = 0.3
# Bins over which the power of noise is averaged: that of a single one strays too far.
NOISE_BINS = 9
# Sum of the weights below which the louder half of the frames counts instead.
LEAST_RELIABLE = 20.0


def frames_of(samples, length):
    """Spectra of half overlapping frames, shape (frames, bins, channels)."""
    if len(samples) < length:
        samples = np.concatenate([samples, np.zeros((length - len(samples), samples.shape[1]))])
    starts = np.arange(0, len(samples) - length + 1, length // 2)
    window = np.hanning(length)[:, np.newaxis]
    return np.stack([np.fft.rfft(window * samples[start : start + length], axis=0) for start in starts])


def above_noise(powers):
    """Weights from 0 to 1 of powers of shape (frames, bins): how far they exceed the steady noise, and that noise."""
    share = np.ones(NOISE_BINS) / NOISE_BINS
    # The power of noise is distributed exponentially, which gives its mean from a quantile.
    mean = np.quantile(powers, QUIET_SHARE, axis=0) / -np.log(1 - QUIET_SHARE)
    noise = np.convolve(mean, share, "same") * OVER_NOISE
    return np.clip(1 - noise / np.maximum(powers, 1e-300), 0, 1), noise


def onsets(powers, seconds_per_frame):
    """The same, of short frames, where they also exceed what was there before."""
    _, floor = above_noise(powers)
    decay = 10 ** (-6 * seconds_per_frame / REVERBERATION)
    late = np.zeros(powers.shape[1])
    weights = np.zeros(powers.shape)
    for n, power in enumerate(powers):
        if n >= 2:
            late = decay * late + (1 - decay) * powers[n - 2]
        before = powers[n - 1] if n else power
        weights[n] = 1 - (floor + OVER_LATE * late + OVER_EARLY * before) / np.maximum(power, 1e-300)
    return np.clip(weights, 0, 1)


class CrossSpectra:
    """The whitened cross-spectra of all pairs of channels, summed over the frames of a recording by weight."""

    def __init__(self, samples, rate, length, weigh):
        self.length = length
        self.frequencies = np.fft.rfftfreq(length, 1 / rate)
        band = (self.frequencies >= LOWEST_HZ) & (self.frequencies <= min(HIGHEST_HZ, 0.45 * rate))
        spectra = frames_of(samples, length)
        powers = np.mean(np.abs(spectra) ** 2, axis=2)
        weights = weigh(powers)
        if weights[:, band].sum() < LEAST_RELIABLE:
            loudness = powers.sum(axis=1)
            weights = np.repeat((loudness >= np.median(loudness))[:, np.newaxis], len(band), axis=1)
        weights = weights * band
        sizes = np.abs(spectra)
        phases = np.divide(spectra, sizes, out=np.zeros_like(spectra), where=sizes > 0)
        self.sums = {
            (i, j): np.sum(weights * phases[:, :, j] * np.conj(phases[:, :, i]), axis=0)
            for i, j in combinations(range(samples.shape[1]), 2)
        }


def even_length(seconds, rate):
    return 2 ** int(np.ceil(np.log2(seconds * rate)))


class Correlations:
    """What the channels of a recording have in common."""

    def __init__(self, samples, rate):
        self.rate = rate
        self.whole = CrossSpectra(
            samples, rate, even_length(FRAME_SECONDS, rate), lambda powers: above_noise(powers)[0]
        )
        short = even_length(SHORT_SECONDS, rate)
        self.onsets = CrossSpectra(samples, rate, short, lambda powers: onsets(powers, short / 2 / rate))

    def lag(self, i, j):
        """(samples by which channel j comes after channel i, sign of what they share, peak over root mean square)."""
        wide = np.fft.irfft(self.whole.sums[i, j], FINE * self.whole.length)
        best = int(np.argmax(np.abs(wide)))
        peak = wide[best] / max(np.sqrt(np.mean(wide**2)), 1e-300)
        return (best if best < len(wide) // 2 else best - len(wide)) / FINE, np.sign(peak), abs(peak)

    def steered(self, delays, channels, signs):
        """The correlations summed at the lags that follow from each channel's delay in seconds."""
        total = 0.0
        for (i, j), cross in self.onsets.sums.items():
            if i in channels and j in channels:
                turn = np.exp(2j * np.pi * self.onsets.frequencies * (delays[j] - delays[i]))
                total += signs[i] * signs[j] * np.real(np.sum(cross * turn))
        return total

    def angle(self, geometry, channels, signs):
        """The direction, in whole degrees, from which a plane wave fits the channels best."""
        angles = geometry.angles()
        sums = [self.steered(geometry.array.arrival_delays(angle), channels, signs) for angle in angles]
        return float(angles[int(np.argmax(sums))])
