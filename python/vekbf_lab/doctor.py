# SPDX-License-Identifier: MIT
"""Which channels of a recording are dead, duplicated, clipped, inverted, delayed or swapped, and where the talker is.

The recording should hold a few seconds of one talker who stays where he is. An array that is its own mirror image
(every evenly spaced line, the square) hides some exchanges of channels: --angle, the direction in which the talker is
known to be, brings them to light. Channels are counted from 1. The exit status is 3 where a fault was found.
"""

import json
from itertools import combinations, permutations

import numpy as np

from . import arrays, audio
from .errors import LabError
from .gcc_phat import LEAST_PEAK, Correlations

FAULTS_FOUND = 3
DEAD_DB = -40.0  # below the median channel
COPY_DB = -60.0  # what is left of a channel after another one is taken away
# A flat top: this many samples in a row at the largest value of the channel, which is at least so large.
CLIPPED_RUN = 3
CLIPPED_PEAK = 1000
# Lags of real rooms stray from the plane wave's; all in samples at 16 kHz, and in proportion at other rates.
BEYOND = 1.5
FITS = 0.75
ANGLE_TOLERANCE = 5  # degrees
# Cosines of the elevations, up to 60 degrees, of a talker above the plane of a square.
HEIGHTS = (1.0, 0.94, 0.87, 0.77, 0.64, 0.5)


def add_arguments(parser):
    parser.add_argument("recording", metavar="RECORDING", help="one channel per microphone")
    arrays.add_arguments(parser)
    parser.add_argument("--angle", type=float, metavar="DEGREES", help="where the talker is known to be")
    parser.add_argument("--json", action="store_true", help="print an object instead of lines")


def flat_tops(signal):
    """Samples in runs at the largest or the smallest value."""
    count = 0
    for value in (signal.max(), signal.min()):
        if abs(value) >= CLIPPED_PEAK:
            edges = np.flatnonzero(np.diff(np.concatenate([[0], signal == value, [0]]).astype(int)))
            runs = edges[1::2] - edges[::2]
            count += int(runs[runs >= CLIPPED_RUN].sum())
    return count


def dead_channels(samples):
    powers = np.var(samples, axis=0)
    limit = np.median(powers) * 10 ** (DEAD_DB / 10)
    return [m for m, power in enumerate(powers) if power == 0 or power < limit]


def copies(samples, channels):
    """(first, second, whether the copy is upside down) of channels that carry the same signal."""
    found = []
    for i, j in combinations(channels, 2):
        factor = np.dot(samples[:, i], samples[:, j]) / np.dot(samples[:, i], samples[:, i])
        rest = np.sum((samples[:, j] - factor * samples[:, i]) ** 2)
        if rest <= 10 ** (COPY_DB / 10) * np.sum(samples[:, j] ** 2):
            found.append((i, j, bool(factor < 0)))
    return found


def inverted_channels(channels, signs):
    """The smaller part of the channels whose signs contradict those of the rest; of two equal ones, that without the
    first channel."""
    first = channels[0]
    against = [m for m in channels if m != first and signs[first, m] < 0]
    return [m for m in channels if m not in against] if 2 * len(against) > len(channels) else against


class Lags:
    """What the geometry says about the measured lags, in samples."""

    def __init__(self, measured, geometry, rate, known_angle):
        self.measured = measured
        self.positions = np.asarray(geometry.array.positions)
        self.scale = max(rate / 16000, 1.0)
        self.samples_per_metre = rate / geometry.array.sound_speed
        angles = geometry.angles(0.5)
        if known_angle is not None:
            angles = np.arange(known_angle - ANGLE_TOLERANCE, known_angle + ANGLE_TOLERANCE + 0.25, 0.5)
        # A talker above a square shortens all its delays alike; on a line that is another angle.
        flat = np.array([geometry.array.arrival_delays(angle) for angle in angles]) * rate
        heights = (1.0,) if geometry.is_line else HEIGHTS
        self.angles = np.tile(angles, len(heights))
        self.delays = np.concatenate([height * flat for height in heights])

    def possible(self, i, j):
        distance = np.linalg.norm(self.positions[i] - self.positions[j])
        return abs(self.measured[i, j]) <= distance * self.samples_per_metre + BEYOND * self.scale

    def agreeing(self, channels):
        """The largest set of channels between which every lag is possible; the earlier ones where two are as large."""
        for size in range(len(channels), 0, -1):
            for group in combinations(channels, size):
                if all(self.possible(i, j) for i, j in combinations(group, 2)):
                    return list(group)
        return []

    def misfit(self, channels, microphone_of=None):
        """(largest deviation from the plane wave that fits best, its index among the angles)."""
        if len(channels) < 2:
            return 0.0, 0
        where = microphone_of or {m: m for m in channels}
        deviations = [
            np.abs(self.measured[i, j] - (self.delays[:, where[j]] - self.delays[:, where[i]]))
            for i, j in combinations(channels, 2)
        ]
        worst = np.max(deviations, axis=0)
        best = int(np.argmin(worst))
        return worst[best], best

    def fits(self, *arguments):
        return self.misfit(*arguments)[0] <= FITS * self.scale

    def delay_of(self, channel, others):
        """Samples by which a channel comes too late for the plane wave that fits the others."""
        _, best = self.misfit(others) if len(others) > 1 else (0, int(np.argmin(np.abs(self.angles - 90))))
        expected = self.delays[best]
        extra = []
        for m in others:
            i, j = sorted((m, channel))
            sign = 1 if j == channel else -1
            extra.append(sign * (self.measured[i, j] - (expected[j] - expected[i])))
        return float(np.mean(extra))

    def orders(self, channels):
        """The exchanges of fewest channels after which the plane wave fits, each as {channel: microphone}."""
        found = {}
        for order in permutations(channels):
            where = dict(zip(channels, order))
            moved = sum(m != n for m, n in where.items())
            if moved and self.fits(channels, where):
                found.setdefault(moved, []).append(where)
        return found[min(found)] if found else []


def examine(samples, geometry, rate, known_angle=None):
    """{"faults": [{"kind", "channels", "text"}], "angle": degrees or None} of samples of shape (frames, channels).
    Channels are counted from 1 in what is returned, from 0 in here."""
    faults = []

    def fault(kind, channels, text):
        faults.append({"kind": kind, "channels": [m + 1 for m in channels], "text": text})

    samples = samples - samples.mean(axis=0)
    for m in range(samples.shape[1]):
        if flat := flat_tops(samples[:, m]):
            fault("clipped", [m], f"channel {m + 1} is clipped: {flat} samples in flat tops")
    dead = dead_channels(samples)
    for m in dead:
        fault("dead", [m], f"channel {m + 1} is dead")
    alive = [m for m in range(samples.shape[1]) if m not in dead]
    copied = copies(samples, alive)

    correlations = Correlations(samples, rate)
    measured, signs, peaks = {}, {}, {}
    for i, j in combinations(alive, 2):
        measured[i, j], signs[i, j], peaks[i, j] = correlations.lag(i, j)
    lags = Lags(measured, geometry, rate, known_angle)
    useful = alive
    # Where a plane wave fits, it came from where their microphones do hear the same.
    copied = [] if lags.fits(alive) and not any(upside_down for _, _, upside_down in copied) else copied
    for i, j, upside_down in copied:
        text = f"channels {i + 1} and {j + 1} carry the same signal"
        fault("duplicated", [i, j], text + (", inverted" if upside_down else ""))
    if copied:
        # None of them can be trusted to be at its own place.
        doubtful = {m for i, j, _ in copied for m in (i, j)}
        useful = [m for m in alive if m not in doubtful]
    related = [m for m in useful if any(peaks[tuple(sorted((m, n)))] >= LEAST_PEAK for n in useful if n != m)]
    for m in useful:
        if m not in related and len(useful) > 1:
            fault("unrelated", [m], f"channel {m + 1} hears nothing of what the others hear")
    useful = related
    if len(useful) < 2:
        return {"faults": faults, "angle": None}

    # What is shared by two channels of one sign has a positive peak.
    upside_down = inverted_channels(useful, signs)
    for m in upside_down:
        fault("inverted", [m], f"channel {m + 1} is inverted")
    polarity = {m: -1.0 if m in upside_down else 1.0 for m in range(samples.shape[1])}

    where = {m: m for m in useful}
    group = useful
    if not lags.fits(useful):
        orders = lags.orders(useful)
        if orders:
            where = orders[0]
            moved = sorted(m for m in useful if where[m] != m)
            fault("swapped", moved, " or ".join(exchange(order) for order in orders))
        else:
            group = delayed(lags, useful, fault)
    if len(group) < 2:
        return {"faults": faults, "angle": None}
    # The channels in the places of their microphones.
    placed = arrays.Geometry(geometry.name, reordered(geometry.array, where))
    return {"faults": faults, "angle": correlations.angle(placed, group, polarity)}


def delayed(lags, channels, fault):
    """Reports the channels whose delays do not go with those of the rest; returns the rest."""
    group = lags.agreeing(channels)
    if not lags.fits(group):
        rests = [[n for n in group if n != m] for m in group]
        fitting = [rest for rest in rests if len(rest) > 2 and lags.fits(rest)]
        if len(fitting) == 1:
            group = fitting[0]
        else:
            deviation, _ = lags.misfit(group)
            fault("misfit", group, f"the lags stray from those of the array by up to {deviation:.1f} samples")
    for m in channels:
        if m not in group:
            fault("delayed", [m], late(m, lags.delay_of(m, group)))
    return group


def reordered(array, where):
    positions = list(array.positions)
    for channel, microphone in where.items():
        positions[channel] = array.positions[microphone]
    return arrays.Array(tuple(positions), array.sound_speed)


def late(channel, samples):
    return f"channel {channel + 1} comes {abs(samples):.1f} samples too {'late' if samples > 0 else 'early'}"


def exchange(where):
    moved = sorted(m for m, n in where.items() if m != n)
    if len(moved) == 2:
        return f"channels {moved[0] + 1} and {moved[1] + 1} are swapped"
    return "channels " + ", ".join(f"{m + 1} (belongs in the place of {where[m] + 1})" for m in moved) + " are swapped"


def run(options):
    geometry = arrays.from_options(options)
    rate, samples = audio.read(options.recording)
    count = len(geometry.array.positions)
    if samples.shape[1] != count:
        raise LabError(f"{options.recording} has {samples.shape[1]} channels, but the array {count} microphones")
    if len(samples) < rate // 2:
        raise LabError(f"{options.recording}: half a second is the least")
    result = examine(samples, geometry, rate, options.angle)
    if options.json:
        print(json.dumps(result, indent=2))
    else:
        for fault in result["faults"]:
            print(fault["text"])
        if not result["faults"]:
            print("no fault found")
        if result["angle"] is None:
            print("loudest talker: not enough channels to tell a direction")
        else:
            mirrored = " (or as far on the other side of the line)" if geometry.is_line else ""
            print(f"loudest talker: {result['angle']:.0f} degrees{mirrored}")
    return FAULTS_FOUND if result["faults"] else 0
