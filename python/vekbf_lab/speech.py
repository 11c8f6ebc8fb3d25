# SPDX-License-Identifier: MIT
"""Real speech from Debian's packages."""

from pathlib import Path

import numpy as np

from . import wav

# Debian package pocketsphinx-testdata.
FOLDER = Path("/usr/share/pocketsphinx/test/data")
RATE = 16000
TALKER = [f"librivox/sense_and_sensibility_01_austen_64kb-{n}.wav" for n in ("0870", "0880", "0890", "0920", "0930")]
SECOND_TALKER = [f"cards/{n:03d}.wav" for n in (5, 2, 3, 1, 4)]


def load(names):
    """The named recordings as a list of arrays."""
    recordings = []
    for name in names:
        path = FOLDER / name
        if not path.exists():
            raise FileNotFoundError(f"{path} is missing: install the Debian package pocketsphinx-testdata")
        rate, samples = wav.read(path)
        if rate != RATE:
            raise ValueError(f"{path} has a rate of {rate} Hz, not {RATE}")
        recordings.append(samples[:, 0])
    return recordings


def one_after_another(recordings, gap_seconds):
    """The recordings in a row with silence of `gap_seconds` after each."""
    gap = np.zeros(round(gap_seconds * RATE))
    return np.concatenate([part for recording in recordings for part in (recording, gap)])
