# SPDX-License-Identifier: MIT
"""The measurements as the tables of the documents."""

from __future__ import annotations

from . import study_runs, study_scenes
from .study_runs import INTENSITY

# Figures this close are called the same.
SAME_DB = 0.1
FIGURES = ("si_sdr", "snr", "segmental")


def table(head, rows):
    """Markdown; the first column of text to the left, numbers to the right."""
    width = [max(len(str(row[n])) for row in (head, *rows)) for n in range(len(head))]
    numbers = [all(row[n][:1] in "-+0123456789" for row in rows) for n in range(len(head))]

    def line(cells):
        shown = (c.rjust(w) if number else c.ljust(w) for c, w, number in zip(cells, width, numbers))
        return "| " + " | ".join(shown) + " |"

    rule = "|" + "|".join("-" * (w + 1) + ":" if number else "-" * (w + 2) for w, number in zip(width, numbers)) + "|"
    return "\n".join([line(head), rule, *map(line, rows)])


def decibels(value):
    return f"{round(value, 1) + 0.0:.1f}"


def verdict(case):
    """Which algorithm has the better SI-SDR."""
    difference = case.adaptive[INTENSITY].si_sdr - case.fixed.si_sdr
    if abs(difference) < SAME_DB:
        return "equal"
    return "adaptive" if difference > 0 else "fixed"


def improvement(measured, softer_db):
    """Gains over microphone 0."""
    head = ["noise", "array"]
    head += [f"{name}, {algorithm}" for name in ("SI-SDR", "SNR", "seg. SNR") for algorithm in ("fixed", "adaptive")]
    rows = []
    for noise in study_scenes.NOISES:
        for case in measured:
            if (case.noise, case.softer_db) == (noise, softer_db):
                gains = case.fixed - case.microphone, case.adaptive[INTENSITY] - case.microphone
                cells = [decibels(getattr(gain, figure)) for figure in FIGURES for gain in gains]
                rows.append([noise, case.array, *cells, verdict(case)])
    return table([*head, "better SI-SDR"], rows)


def microphones(measured):
    """Where the bare microphone stands: the same for every array in the open."""
    rows = []
    for noise in study_scenes.NOISES:
        for softer_db in study_scenes.LEVELS:
            picked = [case.microphone for case in measured if (case.noise, case.softer_db) == (noise, softer_db)]
            spans = []
            for figure in FIGURES:
                values = sorted(getattr(one, figure) for one in picked)
                low, high = decibels(values[0]), decibels(values[-1])
                spans.append(low if low == high else f"{low} to {high}")
            rows.append([noise, f"{softer_db} dB", *spans])
    return table(["noise", "softer than the talker", "SI-SDR", "SNR", "seg. SNR"], rows)


def intensity(measured):
    """Means over the cases of a group, against the fixed beamformer."""
    head = ["intensity", "steady, 0 dB: SI-SDR", "SNR", "steady, 10 dB: SI-SDR", "SNR", "second talker: SI-SDR", "SNR"]
    head += ["all: SI-SDR", "SNR", "seg. SNR"]
    columns = [study_runs.over_fixed(measured, chosen) for chosen in study_runs.GROUPS.values()]
    rows = []
    for i in study_runs.INTENSITIES:
        cells = [f"{getattr(c[i], name) + 0.0:.2f}" for c in columns for name in ("si_sdr", "snr")]
        rows.append([str(i), *cells, f"{columns[-1][i].segmental:.2f}"])
    return table(head, rows)


def summary(measured):
    verdicts = [verdict(case) for case in measured]
    worse = [case for case in measured if case.adaptive[INTENSITY].si_sdr < case.microphone.si_sdr]
    fixed_worse = [case for case in measured if case.fixed.si_sdr < case.microphone.si_sdr]
    return (
        f"By SI-SDR, of the {len(measured)} rows below, the adaptive beamformer is the better one in "
        f"{verdicts.count('adaptive')}, the fixed one in {verdicts.count('fixed')}, and in {verdicts.count('equal')} "
        f"they are less than {SAME_DB} dB apart. The bare microphone is better than the adaptive beamformer in "
        f"{len(worse)} rows, and better than the fixed one in {len(fixed_worse) or 'none'}."
    )


def tables(measured, curves):
    best = study_runs.favoured(measured)
    values, outputs = curves["threshold"]
    result = {f"improvement {level} dB": improvement(measured, level) for level in study_scenes.LEVELS}
    result["summary"] = summary(measured)
    result["microphone 0"] = microphones(measured)
    result["intensity"] = intensity(measured)
    result["favoured"] = (
        f"Best mean over all scenes: intensity {best['si_sdr']} by SI-SDR, {best['snr']} by SNR, "
        f"{best['segmental']} by segmental SNR."
    )
    result["threshold"] = (
        f"Outputs that differ in any sample among {len(values)} thresholds from 0 to 1: "
        f"{'none' if outputs == 1 else outputs}."
    )
    return result
