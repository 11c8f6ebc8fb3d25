# SPDX-License-Identifier: MIT
"""Scenes with a known direction, by which the direction finder is measured: arrays, rooms, noises, talkers.

There are two sets that share no talker, no room and no position: one on which constants may be chosen ("tuning"), and
one that only judges ("held out").
"""

from __future__ import annotations

import functools
import subprocess
from dataclasses import dataclass
from pathlib import Path

import numpy as np
from scipy.signal import oaconvolve

from . import arrays, room, scene, simulate, speech

RATE = speech.RATE
SECONDS = 10
LEAD_SECONDS = 1.0  # noise alone
PEAK = 8000
TALKER_DB = -30.0
BLOCK = 128
FAN_HZ = 300.0

ARRAYS = ("line:2:50mm", "line:4:35mm", "line:4:80mm", "square:64mm", "square:100mm")


@dataclass(frozen=True)
class Condition:
    noise: str
    softer_db: float
    seconds: float | None = None  # reverberation time; None: in the open
    distance: float = 1.0
    higher: float = 0.0  # metres, the talker above the array


CONDITIONS = {
    "open, own noise 20 dB softer": Condition("own", 20),
    "open, own noise as loud": Condition("own", 0),
    "open, diffuse 5 dB softer": Condition("diffuse", 5),
    "open, hiss 10 dB softer": Condition("hiss", 10),
    "open, hiss as loud": Condition("hiss", 0),
    "open, fan as loud": Condition("fan", 0),
    "open, dishes 5 dB softer": Condition("dishes", 5),
    "room 0.3 s, 1 m": Condition("own", 20, 0.3),
    "room 0.3 s, 2 m": Condition("own", 20, 0.3, 2.0),
    "room 0.6 s, 1 m": Condition("own", 20, 0.6),
    "room 0.6 s, 2 m": Condition("own", 20, 0.6, 2.0),
    "room 0.3 s, 1 m, diffuse 5 dB softer": Condition("dark diffuse", 5, 0.3),
    "room 0.6 s, 1 m, hiss 5 dB softer": Condition("hiss", 5, 0.6),
    "room 0.3 s, 1 m, talker 0.5 m higher": Condition("own", 20, 0.3, 1.0, 0.5),
}


@dataclass(frozen=True)
class Place:
    """A room and where the array stands in it."""

    size: tuple
    centre: tuple
    voice: str


SETS = {
    "tuning": (
        Place((7.1, 6.2, 2.8), (3.3, 2.9, 1.1), "austen"),
        Place((7.1, 6.2, 2.8), (3.8, 3.3, 1.2), "en_US_f_Allison"),
        Place((5.6, 4.9, 2.5), (2.9, 2.4, 1.0), "numbers"),
    ),
    "held out": (
        Place((6.3, 5.2, 2.6), (2.9, 2.7, 0.9), "es_MX_f_Allison"),
        Place((8.2, 5.7, 3.1), (4.4, 2.8, 1.3), "it_IT_m_Carlo"),
        Place((5.4, 5.1, 2.7), (2.6, 2.4, 0.8), "ru_RU_f_IvrvoiceRU"),
        Place((9.0, 6.8, 3.3), (3.7, 3.1, 1.2), "fr_CA_f_June"),
    ),
}
SEEDS = {"tuning": 77, "held out": 20261122}


@dataclass(frozen=True)
class Scene:
    name: str
    geometry: arrays.Geometry
    samples: np.ndarray  # int16, shape (frames, microphones)
    angle: float  # what the array should be steered to: on a line the cone, for a talker above it
    speaks: np.ndarray  # by block of 128


PROMPTS = Path("/usr/share/asterisk/sounds")


@functools.lru_cache(maxsize=None)
def prompt(path):
    """A recorded prompt, 16 kHz."""
    command = ["ffmpeg", "-v", "error", "-f", "g722", "-i", str(path), "-f", "s16le", "-ar", str(RATE), "-ac", "1", "-"]
    return np.frombuffer(subprocess.run(command, check=True, capture_output=True).stdout, "<i2").astype(float)


def recordings(voice):
    """Sentences of one talker, at least SECONDS in all."""
    if voice == "austen":
        return speech.load(speech.TALKER)
    if voice == "cards":
        return speech.load(speech.SECOND_TALKER)
    if voice == "numbers":
        names = ("goforward.raw", "numbers.raw", "something.raw")
        return [np.fromfile(speech.FOLDER / name, "<i2").astype(float) for name in names]
    folder = PROMPTS / voice
    if not folder.is_dir():
        raise FileNotFoundError(f"{folder} is missing: install the Debian packages asterisk-core-sounds-*-g722")
    files = sorted(file for file in folder.glob("*.g722") if 20000 <= file.stat().st_size <= 48000)
    chosen = []
    total = 0
    for file in files[:: max(len(files) // 12, 1)]:
        chosen.append(prompt(file))
        total += len(chosen[-1])
        if total >= SECONDS * RATE:
            break
    return chosen


@functools.lru_cache(maxsize=None)
def talker(voice, seconds=SECONDS):
    """Silence, then the voice with its pauses."""
    said = speech.one_after_another(recordings(voice), 0.5)
    said = np.resize(said - said.mean(), round((seconds - LEAD_SECONDS) * RATE))
    return scene.at_level(np.concatenate([np.zeros(round(LEAD_SECONDS * RATE)), said]), TALKER_DB)


def speaking(signal, range_db=40.0):
    """By block: whether the last 32 ms are within `range_db` of the loud parts."""
    count = len(signal) // BLOCK
    powers = np.mean(signal[: count * BLOCK].reshape(count, BLOCK) ** 2, axis=1)
    frames = np.convolve(powers, np.ones(4) / 4)[:count]
    return frames > np.percentile(frames, 95) * 10 ** (-range_db / 10)


@functools.lru_cache(maxsize=None)
def responses(positions, size, centre, source, seconds, sound_speed):
    middle = np.mean(positions, axis=0)
    found = [
        room.impulse_response(size, source, np.asarray(centre) + (x, y, 0.0), seconds, RATE, sound_speed)
        for x, y in np.asarray(positions) - middle
    ]
    length = max(map(len, found))
    return np.stack([np.concatenate([h, np.zeros(length - len(h))]) for h in found], axis=1)


def heard(signal, geometry, angle, place, condition_seconds, distance, higher=0.0):
    """The signal at every microphone."""
    array = geometry.array
    if condition_seconds is None:
        return scene.plane_wave(signal, array, angle, RATE)[: len(signal)]
    turn = np.radians(angle)
    source = tuple(np.asarray(place.centre) + (distance * np.cos(turn), distance * np.sin(turn), higher))
    response = responses(array.positions, place.size, place.centre, source, condition_seconds, array.sound_speed)
    return distance * np.stack([oaconvolve(signal, h)[: len(signal)] for h in response.T], axis=1)


def clatter(frames, rng):
    """Dishes: running water, and struck bodies, each a handful of decaying modes."""
    signal = np.zeros(frames)
    at = 0.0
    while True:
        at += rng.exponential(0.2)
        start = int(at * RATE)
        if start >= frames:
            water = darker(rng.standard_normal(frames), 2000.0)
            return signal / np.std(signal) + 3 * water / np.std(water)
        time = np.arange(min(int(0.5 * RATE), frames - start)) / RATE
        hit = np.zeros(len(time))
        for frequency in rng.uniform(700, 7000, rng.integers(4, 10)):
            hit += rng.normal() * np.exp(-time / rng.uniform(0.01, 0.09)) * np.sin(
                2 * np.pi * frequency * time + rng.uniform(0, 6.3)
            )
        signal[start : start + len(hit)] += hit * rng.lognormal(0, 0.7)


def noise(kind, frames, geometry, rng, angle, place, seconds):
    array = geometry.array
    if kind == "own":
        return scene.sensor_noise(frames, len(array.positions), -30.0, rng)
    if kind in ("diffuse", "dark diffuse"):
        field = simulate.diffuse_noise(frames, array, -30.0, RATE, rng)
        return darker(field, 500.0) if kind == "dark diffuse" else field
    if kind == "dishes":
        return heard(1000 * clatter(frames, rng), geometry, angle, place, seconds, 1.5)
    white = 1000 * rng.standard_normal(frames)
    return heard(darker(white, FAN_HZ) if kind == "fan" else white, geometry, angle, place, seconds, 1.5)


def darker(signal, corner):
    frequencies = np.fft.rfftfreq(len(signal), 1 / RATE)
    slope = 1 / np.sqrt(1 + (frequencies / corner) ** 2)
    shape = (-1,) + (1,) * (signal.ndim - 1)
    return np.fft.irfft(np.fft.rfft(signal, axis=0) * slope.reshape(shape), len(signal), axis=0)


def mixed(talk, noise_, speaks, softer_db):
    """Talker and noise, the noise so much softer at microphone 0 while he speaks."""
    while_he_speaks = np.repeat(speaks, BLOCK)[: len(talk)]
    count = len(while_he_speaks)
    ratio = np.mean(talk[:count][while_he_speaks, 0] ** 2) / np.mean(noise_[:count][while_he_speaks, 0] ** 2)
    total = talk + noise_ * np.sqrt(ratio * 10 ** (-softer_db / 10))
    return np.rint(total * PEAK / np.abs(total).max()).astype(np.int16)


def steering(geometry, angle, distance, higher):
    """The angle to steer to: a line knows the cone on which a raised talker lies."""
    if not geometry.is_line:
        return angle
    flat = np.cos(np.radians(angle)) * distance / np.hypot(distance, higher)
    return float(np.degrees(np.arccos(flat)))


def make(which, array, condition_name, trial):
    """One scene of a set."""
    geometry = arrays.from_name(array)
    place = SETS[which][trial % len(SETS[which])]
    condition = CONDITIONS[condition_name]
    rng = np.random.default_rng(
        [SEEDS[which], trial, list(CONDITIONS).index(condition_name), ARRAYS.index(array)]
    )
    share = rng.random()
    aside = rng.random()
    if geometry.is_line:
        angle = float(np.round(20 + 140 * share))
        away = 50 + 40 * aside
        noise_angle = angle + away if angle < 90 else angle - away
    else:
        angle = float(np.round(360 * share))
        noise_angle = angle + 60 + 200 * aside
    dry = talker(place.voice)
    seconds = condition.seconds
    talk = heard(dry, geometry, angle, place, seconds, condition.distance, condition.higher)
    far = 0 if seconds is None else round(condition.distance / geometry.array.sound_speed * RATE)
    speaks = speaking(np.concatenate([np.zeros(far), dry])[: len(dry)])
    noise_ = noise(condition.noise, len(dry), geometry, rng, noise_angle, place, seconds)
    samples = mixed(talk, noise_, speaks, condition.softer_db)
    truth = steering(geometry, angle, condition.distance, condition.higher)
    return Scene(f"{array} | {condition_name} | {trial}", geometry, samples, truth, speaks)


def trials(which):
    return range(len(SETS[which]))
