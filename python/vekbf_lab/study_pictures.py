# SPDX-License-Identifier: MIT
"""The measurements as the pictures of the documents."""

from __future__ import annotations

import matplotlib
import numpy as np

from . import plots, study_drawings, study_runs, study_scenes
from .study_runs import INTENSITY

# Letters as text, not as outlines: a tenth of the size.
matplotlib.rcParams["svg.fonttype"] = "none"
matplotlib.rcParams["font.sans-serif"] = ["DejaVu Sans", "sans-serif"]
TITLES = {"si_sdr": "SI-SDR", "snr": "SNR", "segmental": "segmental SNR"}
MARKS = ("o-", "s--", "^:", "D-.", "v-", "x--")


def tidy(axes, xlabel, ylabel, title):
    axes.set_xlabel(xlabel)
    axes.set_ylabel(ylabel)
    axes.set_title(title, fontsize=10)
    axes.grid(alpha=0.3)
    axes.spines[["top", "right"]].set_visible(False)


def lines(axes, xs, curves):
    for n, (name, values) in enumerate(curves.items()):
        axes.plot(xs, values, MARKS[n], color=f"C{n}", markersize=4, linewidth=1.3, label=name)


def intensity(measured):
    page = plots.figure(11, 4.2)
    places = page.subplots(1, 3, sharex=True)
    for axes, (figure, title) in zip(places, TITLES.items()):
        curves = {}
        for name, chosen in study_runs.GROUPS.items():
            curves[name] = [getattr(f, figure) for f in study_runs.over_fixed(measured, chosen)]
        axes.axhline(0, color="0.4", linewidth=1)
        axes.axvline(INTENSITY, color="0.8", linewidth=6, zorder=0)
        lines(axes, study_runs.INTENSITIES, curves)
        tidy(axes, "intensity", "over the fixed beamformer (dB)", title)
        axes.set_xticks(study_runs.INTENSITIES)
    places[0].legend(loc="lower left", fontsize=8)
    return page


def improvement(measured):
    """One row per noise: the mean over the arrays, and a bar from the worst array to the best."""
    page = plots.figure(11, 6.5)
    places = page.subplots(2, 3, sharey=True, sharex="col")
    rows = np.arange(len(study_scenes.NOISES))
    for level, row in zip(study_scenes.LEVELS, places):
        for axes, (figure, title) in zip(row, TITLES.items()):
            axes.axvline(0, color="0.4", linewidth=1)
            for n, name in enumerate(("fixed", f"adaptive, intensity {INTENSITY}")):
                gains = np.array([
                    [
                        getattr((case.adaptive[INTENSITY] if n else case.fixed) - case.microphone, figure)
                        for case in measured
                        if (case.noise, case.softer_db) == (noise, level)
                    ]
                    for noise in study_scenes.NOISES
                ])
                at = rows + (n - 0.5) * 0.3
                axes.hlines(at, gains.min(axis=1), gains.max(axis=1), color=f"C{n}", linewidth=1.5, alpha=0.6)
                axes.plot(gains.mean(axis=1), at, "os"[n], color=f"C{n}", markersize=6, label=name)
            tidy(axes, "gain over microphone 0 (dB)", "", f"{title}, noise {f'{level} dB softer' if level else 'as loud'}")
            axes.set_yticks(rows, study_scenes.NOISES)
            axes.set_ylim(len(rows) - 0.5, -0.5)
    places[0, 2].legend(loc="upper left", fontsize=8)
    return page


def parameters(curves):
    page = plots.figure(11, 10)
    places = page.subplots(3, 2)
    gain = "SI-SDR over microphone 0 (dB)"
    thresholds, angles, speeds, rates, coordinates, microphones = places.flat

    lines(thresholds, study_runs.THRESHOLDS, {f"adaptive, intensity {INTENSITY}": curves["threshold"][0]})
    thresholds.set_ylim(0, max(curves["threshold"][0]) + 3)
    tidy(thresholds, "vadThreshold", "SI-SDR (dB)", "vadThreshold changes no sample")

    lines(angles, study_runs.ANGLE_ERRORS, curves["angle"])
    tidy(angles, "angle told minus angle of the talker (degrees)", gain, "angle: a talker at 60°, a hiss at 150°")

    lines(speeds, study_runs.SOUND_SPEEDS, curves["sound speed"])
    speeds.axvspan(319, 360, color="0.9", zorder=0, label="air from -20 to 50 °C")
    tidy(speeds, "soundSpeed told (m/s); true: 343", gain, "soundSpeed, fixed")

    lines(rates, study_runs.RATES, curves["rate"])
    rates.set_xscale("log")
    ticks = (8000, 12000, 16000, 24000, 48000)
    rates.set_xticks(ticks, [str(tick // 1000) for tick in ticks])
    rates.minorticks_off()
    tidy(rates, "sampleRate told (kHz); true: 16", gain, "sampleRate, fixed")

    lines(coordinates, study_runs.SCALES, curves["coordinates"])
    tidy(coordinates, "distances told over true ones", gain, "micCoordinate, fixed")

    lines(microphones, study_runs.MICROPHONES, curves["microphones"])
    microphones.set_xticks(study_runs.MICROPHONES)
    tidy(microphones, "micNum", "SNR over microphone 0 (dB)", "micNum, fixed, by kind of noise")
    for axes in places.flat:
        axes.legend(fontsize=8, loc="lower center" if axes is coordinates else "best")
    return page


def pictures(measured, curves):
    return {
        "angles": study_drawings.angles(),
        "intensity": intensity(measured),
        "improvement": improvement(measured),
        "parameters": parameters(curves),
    }
