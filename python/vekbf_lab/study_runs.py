# SPDX-License-Identifier: MIT
"""The measurements behind docs/improvement.md and docs/parameters.md, as plain records of figures."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np
from tqdm import tqdm

from . import study_figures, study_scenes
from .study_figures import Figures
from .study_scenes import GEOMETRIES, LEVELS, NOISES, TAKES

INTENSITIES = range(11)
# The one that the documents use and the tools should: see `favoured`.
INTENSITY = 3
THRESHOLDS = np.linspace(0, 1, 11)


@dataclass(frozen=True)
class Case:
    """One array and one noise, mean of all takes."""

    array: str
    noise: str
    softer_db: int
    microphone: Figures
    fixed: Figures
    adaptive: tuple  # Figures by intensity


def case(array, noise, softer_db, intensities=INTENSITIES, takes=TAKES):
    trials = [study_scenes.make(take, GEOMETRIES[array], noise, softer_db) for take in takes]
    return Case(
        array,
        noise,
        softer_db,
        study_figures.mean([study_figures.of_microphone(trial) for trial in trials]),
        study_figures.mean([study_figures.of_beam(trial) for trial in trials]),
        tuple(
            study_figures.mean([study_figures.of_beam(trial, algorithm="adaptive", intensity=i) for trial in trials])
            for i in intensities
        ),
    )


def cases():
    """Every array with every noise at every level."""
    keys = [(array, noise, level) for array in GEOMETRIES for noise in NOISES for level in LEVELS]
    return [case(*key) for key in tqdm(keys, "scenes", leave=False, disable=None)]


def over_fixed(measured, chosen=lambda case: True):
    """What each intensity gives over the fixed beamformer, mean of the chosen cases."""
    picked = [case for case in measured if chosen(case)]
    return [study_figures.mean([case.adaptive[i] - case.fixed for case in picked]) for i in INTENSITIES]


GROUPS = {
    "steady noise, 0 dB": lambda case: case.noise != "second talker" and case.softer_db == 0,
    "steady noise, 10 dB": lambda case: case.noise != "second talker" and case.softer_db == 10,
    "second talker, 0 and 10 dB": lambda case: case.noise == "second talker",
    "all": lambda case: True,
}


def favoured(measured):
    """The intensity with the best mean of each figure over all cases: {figure: intensity}."""
    means = over_fixed(measured)
    return {name: int(np.argmax([getattr(m, name) for m in means])) for name in ("si_sdr", "snr", "segmental")}


def threshold_outputs():
    """(SI-SDR by threshold, number of different outputs): what vadThreshold changes."""
    trial = study_scenes.make(TAKES[0], GEOMETRIES["line of 4, 80 mm"], "hiss", 0)
    outputs = [
        study_figures.beam(trial, algorithm="adaptive", intensity=INTENSITY, vad_threshold=float(threshold))
        for threshold in THRESHOLDS
    ]
    figures = [study_figures.figures(trial.at_reference, output).si_sdr for output in outputs]
    return figures, len({output.tobytes() for output in outputs})


def against_microphone(trial, **options):
    return study_figures.of_beam(trial, **options) - study_figures.of_microphone(trial)


ANGLE_ERRORS = range(-60, 61, 5)
SOUND_SPEEDS = range(240, 481, 20)
RATES = (8000, 10000, 12000, 14000, 16000, 18000, 20000, 24000, 32000, 40000, 48000)
SCALES = (0.25, 0.5, 0.75, 0.9, 1.0, 1.1, 1.25, 1.5, 2.0)
MICROPHONES = range(1, 5)
CURVE_ARRAY = "line of 4, 80 mm"


def angle_curves():
    """{name: SI-SDR over microphone 0 by ANGLE_ERRORS}; the noise is a hiss, 0 dB."""
    trial = study_scenes.make(TAKES[0], GEOMETRIES[CURVE_ARRAY], "hiss", 0)
    talker = trial.take.talker
    return {
        name: [against_microphone(trial, angle=talker + error, **options).si_sdr for error in ANGLE_ERRORS]
        for name, options in (
            ("fixed", {}),
            (f"adaptive, intensity {INTENSITY}", {"algorithm": "adaptive", "intensity": INTENSITY}),
        )
    }


def curves_by_take(values, options):
    """{"talker at N degrees": SI-SDR of the fixed beam over microphone 0 by value}; the noise is a hiss, 0 dB."""
    result = {}
    for take in TAKES:
        trial = study_scenes.make(take, GEOMETRIES[CURVE_ARRAY], "hiss", 0)
        gains = [against_microphone(trial, **options(value)).si_sdr for value in values]
        result[f"talker at {take.talker}°"] = gains
    return result


def sound_speed_curves():
    return curves_by_take(SOUND_SPEEDS, lambda speed: {"sound_speed": speed})


def rate_curves():
    return curves_by_take(RATES, lambda rate: {"rate": rate})


def coordinate_curves():
    positions = np.asarray(GEOMETRIES[CURVE_ARRAY].array.positions)
    return curves_by_take(SCALES, lambda scale: {"positions": scale * positions})


def microphone_curves():
    """{noise: SNR of the fixed beam of the first microphones over microphone 0}, 0 dB, mean of all takes."""
    result = {}
    positions = GEOMETRIES[CURVE_ARRAY].array.positions
    for noise in NOISES:
        trials = [study_scenes.make(take, GEOMETRIES[CURVE_ARRAY], noise, 0) for take in TAKES]
        result[noise] = [
            study_figures.mean([against_microphone(trial, positions=positions[:count]) for trial in trials]).snr
            for count in MICROPHONES
        ]
    return result


def curves():
    return {
        "threshold": threshold_outputs(),
        "angle": angle_curves(),
        "sound speed": sound_speed_curves(),
        "rate": rate_curves(),
        "coordinates": coordinate_curves(),
        "microphones": microphone_curves(),
    }
