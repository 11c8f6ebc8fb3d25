# SPDX-License-Identifier: MIT
"""The scenes by which the documents measure the beamformers: one talker, one noise, one array, ten seconds."""

from __future__ import annotations

import functools
from dataclasses import dataclass

import numpy as np

from . import arrays, measures, scene, simulate, speech

SECONDS = 10
LEAD_SECONDS = 1.0  # noise alone, in which the adaptive beamformer settles; left out of every figure
GAP_SECONDS = 1.0
TALKER_DB = -36.0  # of 16-bit full scale, while speaking: far above rounding, and no overshoot reaches the limit
ROOM = simulate.Room((5.0, 4.0, 2.6), 0.3)
ROOM_DISTANCE = 1.0  # metres from the array to the talker and to the noise
# Above this a fan's noise falls by 6 dB per octave.
FAN_HZ = 300.0

GEOMETRIES = {
    "line of 2, 50 mm": arrays.from_name("line:2:50mm"),
    "line of 4, 35 mm": arrays.from_name("line:4:35mm"),
    "line of 4, 80 mm": arrays.from_name("line:4:80mm"),
    "square of 64 mm": arrays.from_name("square:64mm"),
}
NOISES = ("own", "diffuse", "hiss", "fan", "hiss in a room", "second talker")
LEVELS = (0, 10)  # dB by which the noise is softer than the talker


@dataclass(frozen=True)
class Take:
    """Who speaks from where, and the seed of the noise."""

    name: str
    recordings: tuple  # of speech.TALKER
    talker: int  # degrees
    noise: int  # degrees
    seed: int


TAKES = (
    Take("60 against 150 degrees", (1, 4), 60, 150, 20261120),
    Take("90 against 30 degrees", (2, 1), 90, 30, 7),
    Take("20 against 110 degrees", (3, 1), 20, 110, 8),
)


@dataclass(frozen=True)
class Trial:
    """What the microphones hear, and what they should have heard."""

    take: Take
    geometry: arrays.Geometry
    samples: np.ndarray  # int16, shape (frames, microphones)
    at_microphone: np.ndarray  # what comes straight from the talker to microphone 0
    at_reference: np.ndarray  # and to the point that the beam refers to


@functools.lru_cache(maxsize=None)
def talker(take):
    signal = np.zeros(SECONDS * speech.RATE)
    start = round(LEAD_SECONDS * speech.RATE)
    recordings = speech.load([speech.TALKER[n] for n in take.recordings])
    said = speech.one_after_another(recordings, GAP_SECONDS)[: len(signal) - start]
    signal[start : start + len(said)] = said
    return scene.at_level(signal, TALKER_DB)


def noise_signal(kind, rng):
    """A noise that comes from one direction, at any level."""
    frames = SECONDS * speech.RATE
    if kind == "second talker":
        said = speech.one_after_another(speech.load(speech.SECOND_TALKER), gap_seconds=0.4)
        return np.resize(said, frames)
    white = 1000 * rng.standard_normal(frames)
    if kind != "fan":
        return white
    frequencies = np.fft.rfftfreq(frames, 1 / speech.RATE)
    return np.fft.irfft(np.fft.rfft(white) / np.sqrt(1 + (frequencies / FAN_HZ) ** 2), frames)


def heard(signal, array, angle, in_room):
    source = simulate.Source(signal, angle, distance=ROOM_DISTANCE)
    return simulate.alone(source, array, speech.RATE, ROOM if in_room else None)


def with_reference(geometry):
    """The array with one microphone more, the first: the point that the beam refers to. Of a line that is microphone 0,
    of a square its centre."""
    array = geometry.array
    point = array.positions[0] if geometry.is_line else (0.0, 0.0)
    return scene.Array((point, *array.positions), array.sound_speed)


@functools.lru_cache(maxsize=8)
def talker_heard(take, geometry, in_room):
    """(the talker at every microphone, what comes straight from him to microphone 0, and to the reference)."""
    signal = talker(take)
    everywhere = heard(signal, geometry.array, take.talker, in_room)
    if in_room:
        straight = ROOM.direct(signal, geometry.array, take.talker, ROOM_DISTANCE, speech.RATE, (0.0, 0.0))
        return everywhere, straight[:, 0], straight[:, 0 if geometry.is_line else -1]
    straight = heard(signal, with_reference(geometry), take.talker, False)
    return everywhere, straight[:, 1], straight[:, 0]


@functools.lru_cache(maxsize=8)
def noise_heard(take, geometry, kind):
    rng = np.random.default_rng(take.seed)
    frames = SECONDS * speech.RATE
    if kind == "own":
        return scene.sensor_noise(frames, len(geometry.array.positions), -30.0, rng)
    if kind == "diffuse":
        return simulate.diffuse_noise(frames, geometry.array, -30.0, speech.RATE, rng)
    return heard(noise_signal(kind, rng), geometry.array, take.noise, kind == "hiss in a room")


def make(take, geometry, kind, softer_db):
    """The talker and a noise which at microphone 0 is `softer_db` softer than what comes straight from him while he
    speaks."""
    everywhere, at_microphone, at_reference = talker_heard(take, geometry, kind == "hiss in a room")
    noise = noise_heard(take, geometry, kind)
    talks = ~measures.pauses(at_microphone, speech.RATE)
    powers = [measures.frame_powers(signal, speech.RATE)[talks].mean() for signal in (at_microphone, noise[:, 0])]
    scale = np.sqrt(powers[0] / powers[1] * 10 ** (-softer_db / 10))
    mixture = np.rint(everywhere + scale * noise)
    if np.abs(mixture).max() > np.iinfo(np.int16).max:
        raise ValueError(f"{kind}, {softer_db} dB softer, does not fit into 16 bits")
    return Trial(take, geometry, mixture.astype(np.int16), at_microphone, at_reference)
