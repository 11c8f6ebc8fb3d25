# SPDX-License-Identifier: MIT
"""Recordings as the command-line tool takes them: WAV files of 16, 24 or 32 bits or float, one of several channels or
several mono ones side by side, read in pieces."""

import os
import struct
from pathlib import Path

import numpy as np
import soundfile

from .errors import LabError

CONTAINERS = ("WAV", "WAVEX", "RF64")
ENCODINGS = ("PCM_16", "PCM_24", "PCM_32", "FLOAT", "DOUBLE")
IN_64_BITS = 0xFFFFFFFF  # RF64: the chunk "ds64" knows
# Recorders that write to a pipe never learn the length and leave a size near these in its place.
UNKNOWN_SIZES = (0x80000000, 0xFFFFFFFF)
UNKNOWN_SLACK = 0x100000


def promised_bytes(file):
    """(bytes of audio that the header of a WAV file promises, where they begin); None where it has no such chunk."""
    form, _, kind = struct.unpack("<4sI4s", file.read(12))
    order = ">" if form == b"RIFX" else "<"
    if kind != b"WAVE":
        return None
    in_64_bits = IN_64_BITS
    while len(head := file.read(8)) == 8:
        name, size = struct.unpack(order + "4sI", head)
        begin = file.tell()
        if name == b"ds64":
            _, in_64_bits = struct.unpack(order + "QQ", file.read(16))
        elif name == b"data":
            return (in_64_bits if size == IN_64_BITS else size), begin
        file.seek(begin + size + size % 2)
    return None


def is_cut_off(path):
    """Whether the header promises more audio than the file holds."""
    with open(path, "rb") as file:
        promised, begin = promised_bytes(file) or (0, 0)
        if any(size - UNKNOWN_SLACK <= promised <= size for size in UNKNOWN_SIZES):
            return False
        return promised > os.fstat(file.fileno()).st_size - begin


def open_wav(path):
    path = Path(path)
    if not path.exists():
        raise LabError(f"there is no file {path}")
    if not path.is_file():
        raise LabError(f"{path} is no regular file")
    if path.stat().st_size == 0:
        raise LabError(f"{path} is empty")
    try:
        file = soundfile.SoundFile(path)
    except (soundfile.LibsndfileError, RuntimeError) as error:
        reason = str(error).rsplit(": ", 1)[-1].rstrip(".")
        raise LabError(f"{path}: {reason}") from None
    try:
        if file.format not in CONTAINERS or file.subtype not in ENCODINGS:
            kind = f"{file.format_info}, {file.subtype_info}"
            raise LabError(f"{path} is {kind}; a WAV file of 16, 24 or 32-bit or float samples is needed")
        if is_cut_off(path):
            raise LabError(f"{path} is cut off: its header promises more audio than it holds")
        if file.frames <= 0:
            raise LabError(f"{path} holds no audio")
    except BaseException:
        file.close()
        raise
    return file


class Recording:
    """A context manager over one file, or over several mono files of one rate and length."""

    def __init__(self, paths):
        self.files = []
        try:
            for path in paths:
                self.files.append(open_wav(path))
                self._expect_to_fit(self.files[-1])
        except BaseException:
            self.close()
            raise
        first = self.files[0]
        self.rate, self.frames = first.samplerate, first.frames
        self.channels = first.channels if len(self.files) == 1 else len(self.files)
        # 16-bit samples stay what they are; all others are left to the library's rule.
        self.kind = "int16" if all(file.subtype == "PCM_16" for file in self.files) else "float64"

    def _expect_to_fit(self, file):
        first = self.files[0]
        for mono in (file, first) if file is not first else ():
            if mono.channels != 1:
                raise LabError(f"{mono.name} has {mono.channels} channels; several files are mono ones")
        if (file.samplerate, file.frames) != (first.samplerate, first.frames):
            raise LabError(f"{file.name} differs from {first.name} in its sample rate or length")

    def pieces(self, frames):
        """The recording from its beginning, in arrays of shape (at most `frames`, channels)."""
        for file in self.files:
            file.seek(0)
        left = self.frames
        while left > 0:
            try:
                parts = [file.read(min(frames, left), self.kind, always_2d=True) for file in self.files]
            except (soundfile.LibsndfileError, RuntimeError) as error:
                raise LabError(f"{self.files[0].name} cannot be read to its end: {error}") from None
            if any(len(part) < min(frames, left) for part in parts):
                raise LabError(f"{self.files[0].name} cannot be read to its end")
            left -= len(parts[0])
            yield parts[0] if len(parts) == 1 else np.hstack(parts)

    def close(self):
        for file in self.files:
            file.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
