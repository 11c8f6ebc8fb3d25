#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The speech of the page, from Debian's pocketsphinx-testdata: speech.py FOLDER writes talker.mp3 and second.mp3."""

import sys
from pathlib import Path

import soundfile

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "python"))
from vekbf_lab import speech  # noqa: E402

GAP_SECONDS = 0.5
SOUNDS = {"talker": speech.TALKER[:4], "second": speech.SECOND_TALKER}


def main():
    for name, recordings in SOUNDS.items():
        signal = speech.one_after_another(speech.load(recordings), GAP_SECONDS) / 32768
        soundfile.write(Path(sys.argv[1]) / f"{name}.mp3", signal, speech.RATE, format="MP3", subtype="MPEG_LAYER_III")


main()
