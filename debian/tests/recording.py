#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Writes a recording of four microphones, 8 cm apart: the same noise in all, so that it comes from 90 degrees.

    recording.py FILE.wav
"""

import array
import random
import sys
import wave

FRAMES, RATE, MICROPHONES = 16000 + 77, 16000, 4
numbers = random.Random(1)
frames = [numbers.randint(-9000, 9000) for _ in range(FRAMES)]
samples = array.array("h", [value for value in frames for _ in range(MICROPHONES)])
with wave.open(sys.argv[1], "wb") as file:
    file.setnchannels(MICROPHONES)
    file.setsampwidth(2)
    file.setframerate(RATE)
    file.writeframes(samples.tobytes())
