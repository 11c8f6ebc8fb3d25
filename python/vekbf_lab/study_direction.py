# SPDX-License-Identifier: MIT
"""The measurements behind docs/direction.md: how well the finder finds, and what that is worth in sound."""

from __future__ import annotations

from dataclasses import dataclass

import numpy as np
import vekbf
from tqdm import tqdm

from . import arrays, direction_scenes, doctor, gcc_phat, scene, study_figures, study_scenes
from .direction_scenes import ARRAYS, BLOCK, CONDITIONS, RATE

SETTLED_SECONDS = 1.0  # after the talker begins; judged from then on
LOCK_SECONDS = 0.48  # of nearly unbroken right angles
NOISES = ("own", "diffuse", "hiss", "fan")
STEADY_SECONDS = 60
CONFIDENCES = (0.0, 0.08, 0.5, 0.92)
STEERING_ERRORS = (5, 10, 20, 40)
SECTOR = 40  # degrees to either side
PLAIN_SECONDS = 0.5


def fold(degrees):
    """Distance on the circle."""
    return np.abs((np.asarray(degrees, float) + 180) % 360 - 180)


def found(samples, geometry, rate=RATE, **settings):
    finder = vekbf.Direction(rate, geometry.array.positions, geometry.name, **settings)
    return finder.process(samples)


def errors(angles, truth):
    """An angle that is not given yet is as wrong as can be."""
    return np.where(np.asarray(angles) >= 0, fold(np.asarray(angles, float) - truth), 180.0)


@dataclass(frozen=True)
class Score:
    mean: float  # degrees
    in5: float  # share of the time
    in10: float
    lock: float  # seconds


def lock_seconds(right, speaks):
    """From the first sound to the first block from which the angle is right, but for an eighth of the blocks."""
    sounding = np.flatnonzero(speaks)
    count = round(LOCK_SECONDS * RATE / BLOCK)
    for n, block in enumerate(sounding):
        following = sounding[n : n + count]
        if right[block] and right[following].sum() >= 7 * len(following) / 8:
            return (block - sounding[0]) * BLOCK / RATE
    return np.inf


def score(off, speaks):
    """Of errors by block, while the talker speaks."""
    speaks = speaks[: len(off)]
    first = int(np.flatnonzero(speaks)[0])
    judged = speaks & (np.arange(len(off)) >= first + round(SETTLED_SECONDS * RATE / BLOCK))
    off_then = off[judged]
    return Score(
        float(off_then.mean()),
        float(np.mean(off_then <= 5)),
        float(np.mean(off_then <= 10)),
        lock_seconds(off <= 10, speaks),
    )


def plain_srp_phat(samples, geometry):
    """By block: the strongest direction of the last half second, every bin and frame counting alike."""
    spectra = gcc_phat.frames_of(samples.astype(float), 4 * BLOCK)
    phases = np.divide(spectra, np.abs(spectra), out=np.zeros_like(spectra), where=np.abs(spectra) > 0)
    frequencies = np.fft.rfftfreq(4 * BLOCK, 1 / RATE)
    band = (frequencies >= gcc_phat.LOWEST_HZ) & (frequencies <= gcc_phat.HIGHEST_HZ)
    angles = geometry.angles()
    delays = np.array([geometry.array.arrival_delays(angle) for angle in angles])
    maps = np.zeros((len(spectra), len(angles)))
    for i in range(samples.shape[1]):
        for j in range(i + 1, samples.shape[1]):
            cross = (phases[:, :, j] * np.conj(phases[:, :, i]))[:, band]
            turns = np.exp(2j * np.pi * np.outer(frequencies[band], delays[:, j] - delays[:, i]))
            maps += np.real(cross @ turns)
    window = round(PLAIN_SECONDS * RATE / (2 * BLOCK))
    sums = np.cumsum(maps, axis=0)
    sums[window:] -= sums[:-window].copy()
    strongest = angles[np.argmax(sums, axis=1)]
    # Frame n ends with block 2 n + 3.
    by_block = np.full(len(samples) // BLOCK, -1.0)
    for n, angle in enumerate(strongest):
        by_block[2 * n + 3 : 2 * n + 5] = angle
    return by_block


@dataclass(frozen=True)
class Row:
    """One scene."""

    array: str
    condition: str
    finder: Score
    plain: Score
    doctor_right: bool
    confidences: np.ndarray  # while he speaks
    right: np.ndarray  # within 10 degrees, at these times


def row(array, condition, made):
    track = found(made.samples, made.geometry)
    off = errors(track.angle, made.angle)
    advice = doctor.examine(made.samples.astype(float), made.geometry, RATE)["angle"]
    speaks = made.speaks[: len(off)] & (track.angle >= 0)
    return Row(
        array,
        condition,
        score(off, made.speaks),
        score(errors(plain_srp_phat(made.samples, made.geometry), made.angle), made.speaks),
        advice is not None and bool(fold(advice - made.angle) <= 10),
        track.confidence[speaks],
        off[speaks] <= 10,
    )


def grid(make=direction_scenes.make, which="held out"):
    keys = [(a, c, t) for t in direction_scenes.trials(which) for a in ARRAYS for c in CONDITIONS]
    return [row(a, c, make(which, a, c, t)) for a, c, t in tqdm(keys, "direction", leave=False, disable=None)]


def steady_noise(kind, geometry, seconds=STEADY_SECONDS):
    """A noise alone; where it has a direction, it comes from 100 degrees."""
    rng = np.random.default_rng([20261122, NOISES.index(kind)])
    frames = seconds * RATE
    place = direction_scenes.SETS["held out"][0]
    noise = direction_scenes.noise(kind, frames, geometry, rng, 100.0, place, None)
    return np.rint(noise * direction_scenes.PEAK / np.abs(noise).max()).astype(np.int16)


def steady():
    """{(noise, array): blocks that counted}."""
    result = {}
    for kind in NOISES:
        for array in ARRAYS:
            geometry = arrays.from_name(array)
            track = found(steady_noise(kind, geometry), geometry)
            result[kind, array] = int(np.count_nonzero(track.heard) + np.count_nonzero(track.angle >= 0))
    return result


def switch_seconds(array, first, second, seconds=None, each=4.0):
    """Seconds from the first sound of a second talker until the finder is within 10 degrees of him."""
    geometry = arrays.from_name(array)
    place = direction_scenes.SETS["held out"][1]
    length = round(each * RATE)
    voices = [direction_scenes.talker(name)[RATE : RATE + length] for name in ("it_IT_m_Carlo", "fr_CA_f_June")]
    silence = np.zeros(RATE)
    gap = round(0.3 * RATE)
    dry, truth = [silence], [np.full(RATE, first)]
    for n in range(4):
        said = voices[n % 2].copy()
        said[-gap:] = 0
        dry.append(said)
        truth.append(np.full(length, (first, second)[n % 2]))
    signal, angles = np.concatenate(dry), np.concatenate(truth)
    total = np.zeros((len(signal), len(geometry.array.positions)))
    for angle in (first, second):
        total += direction_scenes.heard(np.where(angles == angle, signal, 0), geometry, angle, place, seconds, 1.2)
    own = scene.sensor_noise(*total.shape, -75.0, np.random.default_rng(3))
    samples = np.rint((total + own) * 8000 / np.abs(total).max()).astype(np.int16)
    track = found(samples, geometry)
    speaks = direction_scenes.speaking(signal)
    waits = []
    for n in range(1, 4):
        begin = (RATE + n * length) // BLOCK
        sound = begin + int(np.argmax(speaks[begin:]))
        there = fold(track.angle[sound:].astype(float) - (first, second)[n % 2]) <= 10
        waits.append(int(np.argmax(there)) * BLOCK / RATE if there[: length // BLOCK].any() else np.inf)
    return waits


def switches():
    return [
        wait
        for array in ("line:4:35mm", "line:4:80mm", "square:64mm")
        for first, second in ((60, 120), (90, 40))
        for seconds in (None, 0.3)
        for wait in switch_seconds(array, first, second, seconds)
    ]


def steered_by(track):
    """The angle found with a block steers the next one; straight ahead until something is heard."""
    angles = np.where(track.angle >= 0, track.angle, 90)
    return np.concatenate([[90], angles[:-1]])


def loss(trial, angles, best):
    """dB of SI-SDR lost against the true angle, by the fixed beam."""
    return best.si_sdr - study_figures.of_beam(trial, angle=angles).si_sdr


@dataclass(frozen=True)
class Sound:
    """Losses of one trial against the true angle, dB."""

    array: str
    noise: str
    auto: float  # with a sector where there is a second talker
    ahead: float  # left at 90 degrees
    off: dict  # by degrees


def blocks_of(trial, angles):
    """As many angles as the beam takes blocks for the samples."""
    count = -(-len(trial.samples) // BLOCK)
    return np.concatenate([angles, np.full(max(count - len(angles), 0), angles[-1])])[:count]


def sound():
    results = []
    keys = [(t, a, n, level) for t in study_scenes.TAKES for a in study_scenes.GEOMETRIES for n in study_scenes.NOISES
            for level in study_scenes.LEVELS]
    for take, array, noise, level in tqdm(keys, "sound", leave=False, disable=None):
        geometry = study_scenes.GEOMETRIES[array]
        trial = study_scenes.make(take, geometry, noise, level)
        best = study_figures.of_beam(trial)
        second = noise == "second talker"
        sector = (take.talker - SECTOR, take.talker + SECTOR) if second else None
        track = found(trial.samples, geometry, sector=sector)
        off = {}
        for error in STEERING_ERRORS:
            sides = [a for a in (take.talker - error, take.talker + error) if not geometry.is_line or 0 <= a <= 180]
            off[error] = float(np.mean([loss(trial, side, best) for side in sides]))
        results.append(Sound(array, noise, loss(trial, blocks_of(trial, steered_by(track)), best),
                             loss(trial, 90, best), off))
    return results


def mean_score(scores):
    locks = [s.lock for s in scores]
    return (
        np.mean([s.mean for s in scores]),
        100 * np.mean([s.in5 for s in scores]),
        100 * np.mean([s.in10 for s in scores]),
        np.median(locks),
        np.quantile(locks, 0.9, method="inverted_cdf"),
    )


def grid_line(name, rows):
    error, in5, in10, lock, late = mean_score([r.finder for r in rows])
    plain = 100 * np.mean([r.plain.in10 for r in rows])
    advice = 100 * np.mean([r.doctor_right for r in rows])
    seconds = [f"{value:.2f}" if np.isfinite(value) else "never" for value in (lock, late)]
    return f"| {name} | {error:.1f} | {in5:.1f} | {in10:.1f} | {seconds[0]} ({seconds[1]}) | {plain:.1f} | {advice:.1f} |"


def confidence_shares(rows):
    """[(from, to, share of right angles, share of the time)]."""
    values = np.concatenate([r.confidences for r in rows])
    right = np.concatenate([r.right for r in rows])
    steps = []
    for low, high in zip(CONFIDENCES, (*CONFIDENCES[1:], 1.01)):
        inside = (values >= low) & (values < high)
        steps.append((low, min(high, 1.0), float(right[inside].mean()), float(inside.mean())))
    return steps


def tables(rows, steady_counts, waits, sounds):
    """{name: text} for the marks of docs/direction.md."""
    head = ("| {} | mean error, ° | within 5°, % | within 10°, % | lock, s: median (90 %) | plain SRP-PHAT within 10°, % "
            "| doctor within 10°, % of files |\n|---|---|---|---|---|---|---|\n")
    by_condition = [grid_line(c, [r for r in rows if r.condition == c]) for c in CONDITIONS]
    by_array = [grid_line(a, [r for r in rows if r.array == a]) for a in ARRAYS]
    whole = grid_line(f"all {len(rows)} scenes", rows)
    confidence = ["| confidence | right within 10°, % | of the time, % |", "|---|---|---|"] + [
        f"| {low:.2f} to {high:.2f} | {100 * share:.1f} | {100 * part:.1f} |"
        for low, high, share, part in confidence_shares(rows)
    ]
    noises = [f"| noise | blocks that counted, {len(ARRAYS)} arrays together |", "|---|---|"] + [
        f"| {kind} | {sum(steady_counts[kind, array] for array in ARRAYS)} |" for kind in NOISES
    ]
    lost = ["| | " + " | ".join(f"{e}° off" for e in STEERING_ERRORS) + " | found by itself | left at 90° |",
            "|---" * (len(STEERING_ERRORS) + 3) + "|"]
    one = [s for s in sounds if s.noise != "second talker"]
    two = [s for s in sounds if s.noise == "second talker"]
    groups = {"one talker": one, f"two talkers, a sector of ±{SECTOR}°": two}
    groups.update({f"one talker, {array}": [s for s in one if s.array == array] for array in study_scenes.GEOMETRIES})
    for name, chosen in groups.items():
        cells = [np.mean([s.off[e] for s in chosen]) for e in STEERING_ERRORS]
        cells += [np.mean([s.auto for s in chosen]), np.mean([s.ahead for s in chosen])]
        lost.append(f"| {name} | " + " | ".join(f"{cell:.2f}" for cell in cells) + " |")
    late = np.quantile(waits, 0.9, method="inverted_cdf")
    return {
        "direction by condition": head.format("scene") + "\n".join([*by_condition, whole]),
        "direction by array": head.format("array") + "\n".join(by_array),
        "direction confidence": "\n".join(confidence),
        "direction steady noise": "\n".join(noises),
        "direction switch": f"{np.median(waits):.2f} s (median of {len(waits)}; 90 %: {late:.2f} s)",
        "direction sound": "\n".join(lost),
    }


def measured():
    return tables(grid(), steady(), switches(), sound())
