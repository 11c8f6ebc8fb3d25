# SPDX-License-Identifier: MIT
"""The shared object and its records, as ``vek_stream.h`` and ``vek_bf.h`` declare them."""

from __future__ import annotations

import ctypes
import functools
import os

from ._errors import LibraryNotFound

#: Frames that the library takes, and samples that it gives, at a time.
BLOCK_FRAMES = 128
#: Samples by which the library's output lags its input; `Beamformer` takes them out.
LAG_SAMPLES = 384
#: Microphones that an array may have.
MAX_MICROPHONES = 4
#: Frames that a stream takes at once when all has been read.
ROOM = 4096
#: Numbers of the sample formats: 16-bit integers, and floating point with full scale 1.0.
S16, F32, F64 = 0, 1, 2

FILE_NAME = "libvekbf-stream.so.2"
GEOMETRIES = ("linear", "triangle", "rectangle", "circular")


class Init(ctypes.Structure):
    _fields_ = [
        ("sampleRate", ctypes.c_uint32),
        ("bitWidth", ctypes.c_int32),
        ("micNum", ctypes.c_int32),
        ("soundSpeed", ctypes.c_int32),
        ("algorithm", ctypes.c_int32),
        ("geometry", ctypes.c_int32),
        ("micCoordinate", ctypes.c_float * 2 * MAX_MICROPHONES),
    ]


class CountsRecord(ctypes.Structure):
    _fields_ = [
        (name, ctypes.c_uint64) for name in ("frames", "blocks", "zeroBlocks", "clipped", "notNumbers", "wraps")
    ]


class DirectionState(ctypes.Structure):
    _fields_ = [
        ("angle", ctypes.c_int32),
        ("heard", ctypes.c_int32),
        ("confidence", ctypes.c_float),
        ("age", ctypes.c_uint32),
    ]


assert ctypes.sizeof(Init) == 56 and ctypes.sizeof(CountsRecord) == 48


class Key(ctypes.Structure):
    _fields_ = [(name, ctypes.c_char_p) for name in ("name", "values", "initial", "help")]


@functools.lru_cache(maxsize=None)
def load() -> ctypes.CDLL:
    """The library, with the types of its functions; each process loads it once."""
    name = os.environ.get("VEKBF_LIBRARY") or FILE_NAME
    pointer, text, whole, size = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int32, ctypes.c_size_t
    try:
        library = ctypes.CDLL(name)
        for function, result, arguments in (
            ("NewSettings", pointer, []),
            ("FreeSettings", None, [pointer]),
            ("Set", text, [pointer, text, text]),
            ("Key", ctypes.POINTER(Key), [size]),
            ("Get", text, [pointer, text]),
            ("ReadFile", text, [pointer, text]),
            ("Check", text, [pointer, ctypes.c_uint32, whole]),
            ("GetArray", text, [pointer, ctypes.c_uint32, pointer]),
            ("Open", text, [pointer, ctypes.c_uint32, whole, pointer]),
            ("Restart", text, [pointer]),
            ("Close", None, [pointer]),
            ("Steer", None, [pointer, whole]),
            ("SteerAsSet", None, [pointer]),
            ("GetDirection", whole, [pointer, pointer]),
            ("WriteInterleaved", size, [pointer, whole, pointer, size]),
            ("Read", size, [pointer, whole, pointer, ctypes.c_ssize_t, size]),
            ("Available", size, [pointer]),
            ("Finish", None, [pointer]),
            ("GetAngle", whole, [pointer]),
            ("FramesToBlock", size, [pointer]),
            ("GetCounts", None, [pointer, pointer]),
        ):
            entry = getattr(library, "VekStream_" + function)
            entry.restype, entry.argtypes = result, arguments
    except (OSError, AttributeError) as error:
        raise LibraryNotFound(
            f"{error}: install the library, or let VEKBF_LIBRARY name the file {FILE_NAME}", name="vekbf", path=name
        ) from error
    return library
