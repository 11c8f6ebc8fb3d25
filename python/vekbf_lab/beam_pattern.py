# SPDX-License-Identifier: MIT
"""What a beam makes of plane waves from every direction, measured through the library's interface."""

from dataclasses import dataclass

import numpy as np
import vekbf

from .scene import plane_wave_spectrum

# Length of the test signal's period; its frequencies are the whole multiples of rate / PERIOD.
PERIOD = 1024
SETTLE_PERIODS = {"fixed": 2, "adaptive": 16}
MEASURED_PERIODS = 2
LEVEL = 3000.0  # root mean square, in 16-bit steps: far above rounding, far below the limit


@dataclass(frozen=True)
class Pattern:
    angles: np.ndarray  # degrees
    centres: np.ndarray  # Hz, of the bands
    power: np.ndarray  # shape (angles, bands): output over input, the look direction's beam gain included
    look: float  # degrees
    is_line: bool

    @property
    def decibels(self):
        """Relative to the look direction, band by band."""
        at_look = self.power[np.argmin(np.abs(turned(self.angles - self.look, self.is_line)))]
        with np.errstate(divide="ignore"):
            return 10 * np.log10(self.power / at_look)

    def directivity_index(self):
        """Power from the look direction over the mean from all directions, dB per band. The pattern of a line is the
        same all around it: the mean is over the sphere. That of other arrays is known in their plane only: over the
        circle."""
        relative = 10 ** (self.decibels / 10)
        if not self.is_line:
            return -10 * np.log10(relative.mean(axis=0))
        theta = np.radians(self.angles)
        density = relative * np.sin(theta)[:, None]
        return -10 * np.log10(np.diff(theta) @ (density[1:] + density[:-1]) / 4)

    def beam_width(self):
        """Degrees around the look direction within which a band loses less than 3 dB; not-a-number where that is every
        direction."""
        return np.array([self._width(levels) for levels in self.decibels.T])

    def _width(self, levels):
        if not np.any(levels < -3):
            return np.nan
        step = self.angles[1] - self.angles[0]
        look = int(np.argmin(np.abs(turned(self.angles - self.look, self.is_line))))
        return step * (self._reach(levels, look, 1) + self._reach(levels, look, -1))

    def _reach(self, levels, look, way):
        """Steps from the look direction to where the level crosses -3 dB, with fractions. A line's pattern ends with
        its axis."""
        for steps in range(1, len(levels)):
            at = look + way * steps
            if self.is_line and not 0 <= at < len(levels):
                return steps - 1
            above, below = levels[(at - way) % len(levels)], levels[at % len(levels)]
            if below < -3:
                return steps - 1 + (above + 3) / (above - below)
        return len(levels)


def turned(difference, is_line):
    """Angles between two directions; those of a line do not go around."""
    return difference if is_line else (difference + 180) % 360 - 180


def third_octaves(rate, lowest=250.0):
    """(centre, lower edge, upper edge) of the bands that lie below half the rate."""
    bands = []
    for n in range(-20, 20):
        centre = 1000.0 * 2 ** (n / 3)
        if centre >= lowest and centre * 2 ** (1 / 6) < 0.48 * rate:
            bands.append((centre, centre * 2 ** (-1 / 6), centre * 2 ** (1 / 6)))
    return bands


def noise_spectrum():
    """Spectrum of one period: every frequency with the same level and a phase by chance."""
    spectrum = np.exp(2j * np.pi * np.random.default_rng(1).random(PERIOD // 2 + 1))
    spectrum[[0, -1]] = 0
    return spectrum * LEVEL / np.sqrt(np.mean(np.fft.irfft(spectrum, PERIOD) ** 2))


def response(geometry, rate, look, angle, **options):
    """Power gain for a plane wave from `angle`, at each multiple of rate / PERIOD; not-a-number at 0 and rate / 2."""
    spectrum = noise_spectrum()
    algorithm = options.get("algorithm", "fixed")
    heard = plane_wave_spectrum(spectrum, geometry.array, angle, rate)
    periods = SETTLE_PERIODS[algorithm] + MEASURED_PERIODS + 1
    samples = np.rint(np.tile(np.fft.irfft(heard, PERIOD, axis=0), (periods, 1)))
    # The library places the microphones of a square itself; of a line it reads only x.
    with vekbf.Beamformer(
        rate,
        geometry.array.positions,
        geometry=geometry.name,
        sound_speed=round(geometry.array.sound_speed),
        **options,
    ) as beam:
        result = np.concatenate([beam.process(samples.astype(np.int16), look), beam.flush()])
    start = SETTLE_PERIODS[algorithm] * PERIOD
    out = np.fft.rfft(result[start : start + MEASURED_PERIODS * PERIOD].astype(float))[::MEASURED_PERIODS]
    with np.errstate(invalid="ignore", divide="ignore"):
        return np.where(np.abs(spectrum) > 0, np.abs(out / MEASURED_PERIODS) ** 2 / np.abs(spectrum) ** 2, np.nan)


def measure(geometry, rate, look, step=2.0, bands=None, progress=iter, **options):
    """The pattern of a beam towards `look` (whole degrees), from `step` to `step` degrees; the options are those of
    vekbf.Beamformer."""
    bands = third_octaves(rate) if bands is None else bands
    frequencies = np.arange(PERIOD // 2 + 1) * rate / PERIOD
    angles = geometry.angles(step)
    within = []
    for centre, low, high in bands:
        bins = (frequencies >= low) & (frequencies < high)
        # At least the frequency next to the centre.
        bins[int(round(centre * PERIOD / rate))] = True
        within.append(bins)
    rows = []
    for angle in progress(angles):
        power = response(geometry, rate, look, angle, **options)
        rows.append([np.mean(power[bins]) for bins in within])
    return Pattern(angles, np.array([band[0] for band in bands]), np.array(rows), float(look), geometry.is_line)
