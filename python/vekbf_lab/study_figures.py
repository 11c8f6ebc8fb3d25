# SPDX-License-Identifier: MIT
"""What a beam makes of a trial, in three figures."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np
import vekbf

from . import measures, speech, study_scenes

# One sample in a row of 16-bit speech is never so far from the last: the sum has wrapped around.
WRAP_STEP = 32768


@dataclass(frozen=True)
class Figures:
    """All in dB; differences are gains."""

    si_sdr: float
    snr: float  # the talker while he speaks over what is left in his pauses, he being brought to his level
    segmental: float  # mean of the frames' SNR, the talker likewise brought to his level

    def __sub__(self, other):
        return Figures(self.si_sdr - other.si_sdr, self.snr - other.snr, self.segmental - other.segmental)


def mean(figures):
    return Figures(*np.mean([(f.si_sdr, f.snr, f.segmental) for f in figures], axis=0))


def beam(trial, angle=None, positions=None, rate=speech.RATE, **options):
    """The library's output, towards the talker unless told otherwise; the options are those of vekbf.Beamformer."""
    angle = trial.take.talker if angle is None else angle
    positions = trial.geometry.array.positions if positions is None else positions
    with vekbf.Beamformer(rate, positions, geometry=trial.geometry.name, **options) as beamformer:
        return np.concatenate([beamformer.process(trial.samples[:, : len(positions)], angle), beamformer.flush()])


def figures(reference, estimate):
    skipped = round(study_scenes.LEAD_SECONDS * speech.RATE)
    reference, estimate = reference[skipped:], estimate[skipped:].astype(float)
    if np.any(np.abs(np.diff(estimate)) > WRAP_STEP):
        raise ValueError("the output left the 16-bit range: the scene is too loud")
    gain = measures.target_gain(reference, estimate)
    talks = ~measures.pauses(reference, speech.RATE)
    talk_db = measures.db(measures.frame_powers(reference, speech.RATE)[talks].mean() / 32768.0**2)
    return Figures(
        float(measures.si_sdr(reference, estimate)),
        float(talk_db - measures.pause_power_db(reference, estimate, speech.RATE)),
        float(measures.segmental_snr(reference, estimate / gain, speech.RATE)),
    )


def of_microphone(trial):
    return figures(trial.at_microphone, trial.samples[:, 0])


def of_beam(trial, **options):
    return figures(trial.at_reference, beam(trial, **options))
