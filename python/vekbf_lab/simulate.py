# SPDX-License-Identifier: MIT
"""A scene from mono files: an array, talkers around it, noise, and a room if there is to be one.

Each source is FILE,angle=DEGREES with, optionally: level=DB (of 16-bit full scale while it speaks, default -26),
to=DEGREES (it moves evenly from angle to there), start=SECONDS, distance=METRES (in a room, default 1). Besides the
scene each source is written alone, as all microphones hear it, into OUT-source1.wav and so on.
"""

from dataclasses import dataclass
from pathlib import Path
from typing import Optional

import numpy as np
from tqdm import tqdm

from . import arrays, audio, room, scene, wav
from .delay import delay
from .errors import LabError

# A moving source is cut into overlapping pieces, each of which stands still.
PIECE_SECONDS = 0.064
PIECE_SECONDS_IN_ROOM = 0.5


@dataclass(frozen=True)
class Source:
    signal: np.ndarray  # in 16-bit steps
    angle: float  # degrees
    to: Optional[float] = None  # where it has moved to at its end
    distance: float = 1.0  # metres from the middle of the array; counts in a room only


@dataclass(frozen=True)
class Room:
    size: tuple  # metres
    seconds: float  # reverberation time

    def places(self, array, angle, distance):
        """(source, microphones). The array lies level in the middle of the room."""
        middle = np.asarray(self.size) / 2
        source = middle + distance * np.array([np.cos(np.radians(angle)), np.sin(np.radians(angle)), 0.0])
        return source, [middle + (x, y, 0.0) for x, y in np.asarray(array.positions) - centre(array)]

    def heard(self, signal, array, angle, distance, rate):
        """The signal at every microphone. Direct sound has the level in the middle of the array that it has in the
        open; it is on its way for distance / sound_speed."""
        source, microphones = self.places(array, angle, distance)
        return distance * room.room_heard(
            signal, self.size, source, microphones, self.seconds, rate, array.sound_speed
        )

    def direct(self, signal, array, angle, distance, rate, *points):
        """What of it comes straight from the source to every microphone, and to more points given like those of the
        array: the same without the walls."""
        source, microphones = self.places(array, angle, distance)
        middle = np.asarray(self.size) / 2
        microphones += [middle + (x, y, 0.0) for x, y in np.reshape(points, (-1, 2)) - centre(array)]
        far = [np.linalg.norm(source - microphone) for microphone in microphones]
        alone = [distance / metres * delay(signal, metres * rate / array.sound_speed) for metres in far]
        return np.stack([room.high_pass(part, rate) for part in alone], axis=1)


def centre(array):
    return np.mean(array.positions, axis=0)


def pieces(signal, length):
    """(first frame, piece) of the signal under Hann windows that overlap by half and add up to it."""
    window = 0.5 - 0.5 * np.cos(2 * np.pi * np.arange(length) / length)
    half = length // 2
    padded = np.concatenate([np.zeros(half), signal, np.zeros(length)])
    for start in range(0, len(signal) + half, half):
        yield start - half, padded[start : start + length] * window


def moving(source, length, heard):
    """What `heard(piece, angle)` makes of the pieces, each at the angle of its middle; shape (frames, microphones)."""
    total = None
    frames = len(source.signal)
    margin = length
    for start, piece in tqdm(list(pieces(source.signal, length)), "moving", leave=False, disable=None):
        share = np.clip((start + length / 2) / max(frames - 1, 1), 0, 1)
        # Room for what the delays and the reverberation move beyond the piece.
        padded = np.concatenate([np.zeros(margin), piece, np.zeros(margin)])
        result = heard(padded, source.angle + share * (source.to - source.angle))
        if total is None:
            total = np.zeros((frames + 4 * length + len(result), result.shape[1]))
        at = start - margin + 2 * length
        total[at : at + len(result)] += result
    return total[2 * length : 2 * length + frames]


def alone(source, array, rate, walls=None):
    """One source as the microphones hear it, as long as its signal, shape (frames, microphones)."""
    if walls is None:
        def heard(signal, angle):
            return scene.plane_wave(signal, array, angle, rate)
    else:
        def heard(signal, angle):
            return walls.heard(signal, array, angle, source.distance, rate)

    if source.to is None or source.to == source.angle:
        return heard(source.signal, source.angle)[: len(source.signal)]
    seconds = PIECE_SECONDS if walls is None else PIECE_SECONDS_IN_ROOM
    return moving(source, 2 * round(seconds * rate / 2), heard)


def diffuse_noise(frames, array, decibels, rate, rng):
    """White noise from everywhere: between two microphones its coherence is sin(kd) / kd, as in a spherically isotropic
    field (Habets and Gannot 2007)."""
    positions = np.asarray(array.positions)
    distances = np.linalg.norm(positions[:, None] - positions[None], axis=2)
    frequencies = np.fft.rfftfreq(frames, 1 / rate)
    coherence = np.sinc(2 * frequencies[:, None, None] * distances / array.sound_speed)
    values, vectors = np.linalg.eigh(coherence)
    mix = vectors * np.sqrt(np.maximum(values, 0))[:, None, :]
    white = np.fft.rfft(rng.standard_normal((frames, len(positions))), axis=0)
    mixed = np.einsum("fij,fj->fi", mix, white)
    return np.fft.irfft(mixed, frames, axis=0) * 32768.0 * 10 ** (decibels / 20)


def compose(sources, array, rate, sensor_db=None, diffuse_db=None, walls=None, seed=0):
    """(each source alone, everything together), arrays of shape (frames, microphones) as long as the longest source."""
    frames = max(len(source.signal) for source in sources)
    parts = []
    for source in sources:
        part = alone(source, array, rate, walls)
        if len(part) < frames:
            part = np.concatenate([part, np.zeros((frames - len(part), part.shape[1]))])
        parts.append(part)
    rng = np.random.default_rng(seed)
    mixture = parts[0]
    for part in parts[1:]:
        mixture = mixture + part
    if sensor_db is not None:
        mixture = mixture + scene.sensor_noise(*mixture.shape, sensor_db, rng)
    if diffuse_db is not None:
        mixture = mixture + diffuse_noise(frames, array, diffuse_db, rate, rng)
    return parts, mixture


def add_arguments(parser):
    parser.add_argument("out", metavar="OUT", help="WAV file to write, one channel per microphone")
    arrays.add_arguments(parser)
    parser.add_argument("--source", action="append", required=True, metavar="FILE,angle=DEGREES[,...]")
    parser.add_argument("--sensor-noise", type=float, metavar="DB", help="white, of each microphone its own; dBFS")
    parser.add_argument("--diffuse-noise", type=float, metavar="DB", help="white, from everywhere; dBFS")
    parser.add_argument("--room", metavar="X,Y,Z", help="size in metres; the array lies level in its middle")
    parser.add_argument("--rt60", type=float, metavar="SECONDS", help="reverberation time of the room (default 0.3)")
    parser.add_argument("--seed", type=int, default=0, help="of the noise (default 0)")


def number(text, what):
    try:
        value = float(text)
    except ValueError:
        value = float("nan")
    if not np.isfinite(value):
        raise LabError(f"{what} is a number, not {text}")
    return value


def parse_source(text):
    """(file, {option: number})."""
    name, *parts = text.split(",")
    values = {}
    for part in parts:
        key, _, value = part.partition("=")
        if key not in ("angle", "to", "level", "start", "distance"):
            raise LabError(f"{text}: a source has angle, to, level, start and distance, not {key or part}")
        values[key] = number(value, f"{text}: {key}")
    if "angle" not in values:
        raise LabError(f"{text}: the angle is missing, as in {name},angle=60")
    if values.get("start", 0) < 0 or values.get("distance", 1) <= 0:
        raise LabError(f"{text}: start is at least 0 and distance above 0")
    return name, values


def load_source(text):
    """(sample rate, source)."""
    name, values = parse_source(text)
    rate, samples = audio.read(name)
    if samples.shape[1] != 1:
        raise LabError(f"{name} has {samples.shape[1]} channels: a source is mono")
    if not samples.any():
        raise LabError(f"{name} is silent")
    signal = scene.at_level(samples[:, 0], values.get("level", -26.0))
    signal = np.concatenate([np.zeros(round(values.get("start", 0) * rate)), signal])
    return rate, Source(signal, values["angle"], values.get("to"), values.get("distance", 1.0))


def load_room(options):
    if options.room is None:
        if options.rt60 is not None:
            raise LabError("--rt60 needs --room")
        return None
    size = tuple(number(part, f"--room {options.room}: each side") for part in options.room.split(","))
    if len(size) != 3 or min(size) <= 0:
        raise LabError(f"--room {options.room} is not X,Y,Z in metres")
    return Room(size, 0.3 if options.rt60 is None else options.rt60)


def run(options):
    geometry = arrays.from_options(options)
    walls = load_room(options)
    if options.seed < 0:
        raise LabError("a seed is 0 or above")
    for noise in (options.sensor_noise, options.diffuse_noise):
        if noise is not None and not np.isfinite(noise):
            raise LabError("the level of a noise is a number")
    loaded = [load_source(text) for text in options.source]
    if len({rate for rate, _ in loaded}) > 1:
        raise LabError("the sources have different sample rates")
    rate = loaded[0][0]
    parts, mixture = compose(
        [source for _, source in loaded],
        geometry.array,
        rate,
        options.sensor_noise,
        options.diffuse_noise,
        walls,
        options.seed,
    )
    out = Path(options.out)
    targets = {out: mixture}
    for number_, part in enumerate(parts, 1):
        targets[out.with_name(f"{out.stem}-source{number_}{out.suffix}")] = part
    for path, samples in targets.items():
        if np.abs(np.rint(samples)).max() > wav.FULL_SCALE:
            raise LabError(f"{path}: the scene is too loud for 16 bits; lower the levels")
    for path, samples in targets.items():
        wav.write(path, rate, samples)
    return 0
