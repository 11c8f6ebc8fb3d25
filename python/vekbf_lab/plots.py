# SPDX-License-Identifier: MIT
"""Pictures of beams and signals. Each function draws into axes that it is given and returns them; `save` writes a
figure as PNG or SVG, by the name's ending."""

from pathlib import Path

import matplotlib
import numpy as np
from matplotlib.figure import Figure
from scipy.signal import stft
from vekbf import BLOCK_FRAMES

from . import measures
from .errors import LabError

DEEPEST_DB = -30.0  # of beam patterns
SPECTROGRAM_DB = 70.0  # from the brightest to the darkest
LEVEL_SECONDS = 0.05
LOWEST_LEVEL = -100.0  # dBFS, in the place of silence
# The same file every time.
matplotlib.rcParams["svg.hashsalt"] = "vekbf"


def figure(width, height):
    return Figure(figsize=(width, height), layout="constrained")


def save(drawn, path):
    kind = Path(path).suffix.lower()
    if kind not in (".png", ".svg"):
        raise LabError(f"{path}: pictures are .png or .svg")
    drawn.savefig(path, dpi=120, metadata={"Date": None} if kind == ".svg" else {"Software": None})


def hertz(frequency):
    return f"{frequency / 1000:.3g} kHz" if frequency >= 1000 else f"{frequency:.0f} Hz"


def octaves(lowest, highest):
    return [f for f in (250, 500, 1000, 2000, 4000, 8000, 16000) if lowest <= f <= highest]


def beam_polar(axes, pattern, centres=(500, 1000, 2000, 4000)):
    """The pattern of the bands next to `centres`, on polar axes. A line's pattern is drawn on both of its sides."""
    angles, levels = pattern.angles, np.maximum(pattern.decibels, DEEPEST_DB)
    order = np.arange(len(angles))
    if pattern.is_line:
        angles, order = np.concatenate([angles, 360 - angles[::-1]]), np.concatenate([order, order[::-1]])
    else:
        angles, order = np.append(angles, 360), np.append(order, 0)
    bands = sorted({int(np.argmin(np.abs(np.log(pattern.centres / centre)))) for centre in centres})
    for band in bands:
        axes.plot(np.radians(angles), levels[order, band], label=hertz(pattern.centres[band]))
    axes.axvline(np.radians(pattern.look), color="0.4", linestyle="--", linewidth=1, label="look direction")
    axes.set_rlim(DEEPEST_DB, max(3.0, levels[:, bands].max()))
    axes.set_rticks([-30, -20, -10, 0], ["", "-20 dB", "-10 dB", "0 dB"], fontsize=8)
    # Away from the beam, and legible where curves pass.
    axes.set_rlabel_position(pattern.look + 135)
    for label in axes.get_yticklabels():
        label.set_bbox({"facecolor": "white", "edgecolor": "none", "alpha": 0.8, "pad": 0.5})
    axes.set_thetagrids(range(0, 360, 30), [f"{angle}°" for angle in range(0, 360, 30)])
    axes.legend(loc="upper left", bbox_to_anchor=(1.05, 1.0), fontsize=8)
    axes.set_title("Level relative to the look direction", fontsize=10)
    return axes


def beam_map(axes, pattern):
    """Level over frequency and angle."""
    edges = np.concatenate([pattern.centres * 2 ** (-1 / 6), pattern.centres[-1:] * 2 ** (1 / 6)])
    half = (pattern.angles[1] - pattern.angles[0]) / 2
    rows = np.append(pattern.angles - half, pattern.angles[-1] + half)
    image = axes.pcolormesh(edges, rows, pattern.decibels, vmin=DEEPEST_DB, vmax=0, cmap="viridis", rasterized=True)
    axes.axhline(pattern.look, color="white", linestyle="--", linewidth=1)
    axes.set_xscale("log")
    ticks = octaves(edges[0], edges[-1])
    axes.set_xticks(ticks, [hertz(f) for f in ticks])
    axes.minorticks_off()
    axes.set_xlabel("frequency (third octaves)")
    axes.set_ylabel("direction of the sound (degrees)")
    axes.set_yticks(np.arange(0, pattern.angles[-1] + 1, 30))
    axes.set_ylim(pattern.angles[0], pattern.angles[-1])
    axes.figure.colorbar(image, ax=axes, label="level (dB, look direction = 0)")
    axes.set_title("Level over frequency and direction", fontsize=10)
    return axes


def beam_figures(axes, pattern):
    """Directivity index and beam width over frequency."""
    axes.semilogx(pattern.centres, pattern.directivity_index(), "o-", color="C0", markersize=3)
    where = "over the sphere" if pattern.is_line else "in the plane"
    axes.set_ylabel(f"directivity index {where} (dB)", color="C0")
    ticks = octaves(pattern.centres[0] / 1.1, pattern.centres[-1] * 1.1)
    axes.set_xticks(ticks, [hertz(f) for f in ticks])
    axes.minorticks_off()
    axes.set_xlabel("frequency")
    axes.grid(alpha=0.3)
    other = axes.twinx()
    other.plot(pattern.centres, pattern.beam_width(), "s--", color="C1", markersize=3)
    other.set_ylabel("beam width at -3 dB (degrees)", color="C1")
    other.set_ylim(bottom=0)
    axes.set_title("Directivity and beam width", fontsize=10)
    return axes


def beam_page(pattern, title):
    """All three on one figure."""
    page = figure(13, 8)
    page.suptitle(title)
    grid = page.add_gridspec(2, 2, width_ratios=(1, 1.1))
    beam_polar(page.add_subplot(grid[:, 0], projection="polar"), pattern)
    beam_map(page.add_subplot(grid[0, 1]), pattern)
    beam_figures(page.add_subplot(grid[1, 1]), pattern)
    return page


def spectrogram_db(signal, rate):
    """(frequencies, times, dB of 16-bit full scale) by Hann windows of 32 ms, overlapping by three quarters."""
    length = min(2 * round(0.016 * rate), len(signal))
    frequencies, times, spectrum = stft(signal / 32768.0, rate, nperseg=length, noverlap=length * 3 // 4)
    with np.errstate(divide="ignore"):
        return frequencies, times, 20 * np.log10(np.abs(spectrum))


def spectrograms(axes, signals, rate):
    """One spectrogram per axes, of {title: signal}, all with one scale of colours."""
    pictures = [spectrogram_db(signal, rate) for signal in signals.values()]
    brightest = max((levels.max() for _, _, levels in pictures), default=0.0)
    brightest = float(np.ceil(brightest / 5) * 5) if np.isfinite(brightest) else 0.0
    for place, title, (frequencies, times, levels) in zip(axes, signals, pictures):
        image = place.imshow(
            np.maximum(levels, brightest - SPECTROGRAM_DB),
            origin="lower",
            aspect="auto",
            extent=(times[0], times[-1], 0, frequencies[-1] / 1000),
            vmin=brightest - SPECTROGRAM_DB,
            vmax=brightest,
            cmap="magma",
        )
        place.set_title(title, fontsize=10)
        place.set_ylabel("frequency (kHz)")
    axes[0].figure.colorbar(image, ax=list(axes), label="level (dBFS)", pad=0.01)
    return axes


def levels(axes, signals, rate):
    """The level over time of {title: signal}."""
    length = max(round(LEVEL_SECONDS * rate), 1)
    for title, signal in signals.items():
        powers = np.mean(np.reshape(signal[: len(signal) // length * length], (-1, length)) ** 2, axis=1)
        decibels = np.maximum(measures.db(powers / 32768.0**2), LOWEST_LEVEL)
        axes.plot((np.arange(len(powers)) + 0.5) * length / rate, decibels, linewidth=1, label=title)
    axes.set_xlabel("time (s)")
    axes.set_ylabel("level (dBFS)")
    axes.set_xlim(0, max(len(signal) for signal in signals.values()) / rate)
    axes.grid(alpha=0.3)
    axes.legend(loc="lower right", bbox_to_anchor=(1.0, 1.0), fontsize=8, ncols=len(signals))
    axes.set_title(f"Level in steps of {1000 * LEVEL_SECONDS:.0f} ms", fontsize=10, loc="left")
    return axes


def direction_track(axes, track, rate):
    """Degrees over time of a `vekbf.Track`: a line where an angle is known, and a dot for each update that counted, the
    darker the surer."""
    seconds = (np.arange(len(track.angle)) + 1) * BLOCK_FRAMES / rate
    known = track.angle >= 0
    # No line across the ends of the circle.
    jumps = np.abs(np.diff(track.angle, prepend=track.angle[:1])) > 180
    axes.plot(seconds, np.where(known & ~jumps, track.angle, np.nan), color="0.6", linewidth=1, drawstyle="steps-post")
    counted = known & track.heard
    dots = axes.scatter(
        seconds[counted], track.angle[counted], c=track.confidence[counted], vmin=0, vmax=1, s=6, cmap="viridis_r", zorder=2
    )
    highest = 180 if not known.any() or track.angle.max() <= 180 else 360
    axes.set_ylim(0, highest)
    axes.set_yticks(range(0, highest + 1, 30))
    axes.set_xlim(0, len(track.angle) * BLOCK_FRAMES / rate)
    axes.set_xlabel("time (s)")
    axes.set_ylabel("direction (degrees)")
    axes.grid(alpha=0.3)
    axes.figure.colorbar(dots, ax=axes, label="confidence")
    axes.set_title("Where the talker is", fontsize=10)
    return axes


def direction_map(axes, evidence, angle=None):
    """Evidence by degree as `vekbf.Direction.map` gives it, on polar axes: 1 for the strongest direction, nothing where
    there is less than in the mean."""
    strongest = max(float(np.max(evidence)), 1e-30)
    degrees = np.arange(len(evidence) + 1)
    axes.plot(np.radians(degrees), np.maximum(np.append(evidence, evidence[0]) / strongest, 0.0))
    if angle is not None:
        axes.axvline(np.radians(angle), color="0.4", linestyle="--", linewidth=1, label=f"{angle}°")
        axes.legend(loc="upper left", bbox_to_anchor=(1.05, 1.0), fontsize=8)
    axes.set_rlim(0, 1.05)
    axes.set_rticks([0.5, 1.0], ["", ""])
    axes.set_thetagrids(range(0, 360, 30), [f"{step}°" for step in range(0, 360, 30)])
    axes.set_title("Evidence of the last update", fontsize=10)
    return axes


def signal_page(signals, rate, title):
    """Spectrograms above each other and the levels below."""
    page = figure(12, 2.6 * len(signals) + 3)
    page.suptitle(title)
    places = page.subplots(len(signals) + 1, 1, sharex=True)
    spectrograms(places[:-1], signals, rate)
    levels(places[-1], signals, rate)
    return page
