# SPDX-License-Identifier: MIT
"""Impulse responses of a rectangular room by the image-source method (Allen and Berkley 1979)."""

import numpy as np
from scipy.signal import butter, oaconvolve, sosfilt

from .errors import LabError

# Half the length of the windowed sinc by which an image lands between two samples, in samples (Peterson 1986).
REACH = 32
LONGEST_SECONDS = 2.0
# Images of one sign add up to a slow push that no room has; Allen and Berkley take it away by a high-pass filter too.
HIGH_PASS_HZ = 50.0


def reflection(size, seconds, sound_speed):
    """The walls' pressure reflection coefficient for a reverberation time.

    Sound of each direction hits walls at a rate of its own, so that the images die away more slowly than Sabine's or
    Eyring's formula says for an even mixture. This averages over the directions (Lehmann and Johansson 2008) and
    makes the backward-integrated decay from -5 to -25 dB take a third of the reverberation time.
    """
    cosine, turn = np.meshgrid((np.arange(64) + 0.5) / 64, (np.arange(64) + 0.5) / 64 * np.pi / 2)
    sine = np.sqrt(1 - cosine**2)
    hits = sine * np.cos(turn) / size[0] + sine * np.sin(turn) / size[1] + cosine / size[2]  # walls per metre
    # Energy is exp(-x * hits) at x; x grows with the time and with how much the walls swallow.
    x = np.linspace(0, 30 / hits.mean(), 400)
    left = np.array([np.mean(np.exp(-at * hits) / hits) for at in x])
    decibels = 10 * np.log10(left / left[0])
    at_5, at_25 = np.interp([5, 25], -decibels, x)
    return np.exp(-3 * (at_25 - at_5) / (2 * sound_speed * seconds))


def images(size, source, beta, reach):
    """(positions, shape (images, 3); amplitudes by the walls) of all images up to `reach` metres from the source."""
    axes = []
    for length, coordinate in zip(size, source):
        most = int(np.ceil(reach / (2 * length))) + 1
        n = np.arange(-most, most + 1)
        # A direct and a mirrored image per double room; |n| and |n - 1| hits of either wall.
        where = np.concatenate([2 * n * length + coordinate, 2 * n * length - coordinate])
        hits = np.concatenate([np.abs(2 * n), np.abs(2 * n - 1)])
        axes.append((where, hits))
    (x, hx), (y, hy), (z, hz) = axes
    # Only what lies within reach: the whole box would be twice as many.
    dx, dy, dz = x - source[0], y - source[1], z - source[2]
    near = dx[:, None, None] ** 2 + dy[None, :, None] ** 2 + dz[None, None, :] ** 2 <= reach**2
    i, j, k = np.nonzero(near)
    return np.stack([x[i], y[j], z[k]], axis=1), beta ** (hx[i] + hy[j] + hz[k])


def impulse_response(size, source, microphone, seconds, rate, sound_speed=343.0):
    """Pressure at the microphone, 1 / distance for the direct sound; `seconds` is the reverberation time, and how
    long the response is."""
    source, microphone = np.asarray(source, float), np.asarray(microphone, float)
    for point in (source, microphone):
        if np.any(point <= 0) or np.any(point >= size):
            raise LabError(f"({', '.join(f'{c:.2f}' for c in point)}) m is not inside the room")
    if not 0 < seconds <= LONGEST_SECONDS:
        raise LabError(f"a reverberation time lies between 0 and {LONGEST_SECONDS} s")
    distance = np.linalg.norm(source - microphone)
    length = int(np.ceil((seconds + distance / sound_speed) * rate))
    reach = sound_speed * length / rate + distance
    where, amplitudes = images(size, source, reflection(size, seconds, sound_speed), reach)
    distances = np.linalg.norm(where - microphone, axis=1)
    arrivals = distances * rate / sound_speed
    heard = arrivals < length
    amplitudes, arrivals = amplitudes[heard] / distances[heard], arrivals[heard]

    response = np.zeros(length + 2 * REACH + 1)
    whole = np.floor(arrivals).astype(int)
    fraction = arrivals - whole
    # sin(pi (k - fraction)) only changes its sign with k.
    sine = np.sin(np.pi * fraction)
    for k in range(-REACH, REACH + 1):
        time = k - fraction
        window = np.where(np.abs(time) <= REACH, 0.5 + 0.5 * np.cos(np.pi * time / REACH), 0.0)
        with np.errstate(divide="ignore", invalid="ignore"):
            sinc = np.where(np.abs(time) < 1e-9, 1.0, -((-1.0) ** k) * sine / (np.pi * time))
        response += np.bincount(whole + k + REACH, weights=amplitudes * window * sinc, minlength=len(response))
    return high_pass(response[REACH : REACH + length], rate)


def high_pass(response, rate):
    return sosfilt(butter(2, HIGH_PASS_HZ, "highpass", fs=rate, output="sos"), response)


def room_heard(signal, size, source, microphones, seconds, rate, sound_speed=343.0):
    """The signal at every microphone, shape (frames + reverberation, microphones)."""
    responses = [impulse_response(size, source, m, seconds, rate, sound_speed) for m in microphones]
    length = max(len(response) for response in responses)
    padded = [np.concatenate([response, np.zeros(length - len(response))]) for response in responses]
    return np.stack([oaconvolve(signal, response) for response in padded], axis=1)
