# SPDX-License-Identifier: MIT
"""The shared object and its records, as ``vek_bf.h`` declares them."""

from __future__ import annotations

import ctypes
import functools
import os

from ._errors import OK, LibraryNotFound, VekBfError

#: Frames that the library takes, and samples that it gives, at a time.
BLOCK_FRAMES = 128
#: Samples by which the library's output lags its input; `Beamformer` takes them out.
LAG_SAMPLES = 384
#: Microphones that an array may have.
MAX_MICROPHONES = 4

FILE_NAME = "libvekbf.so.2"
GEOMETRIES = {"linear": 0, "triangle": 1, "rectangle": 2, "circular": 3}
ALGORITHMS = {"fixed": 0, "adaptive": 1}


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


class Config(ctypes.Structure):
    _fields_ = [("vadThreshold", ctypes.c_float), ("intensity", ctypes.c_uint32)]


assert ctypes.sizeof(Init) == 56 and ctypes.sizeof(Config) == 8


@functools.lru_cache(maxsize=None)
def load() -> ctypes.CDLL:
    """The library, with the types of its functions; each process loads it once."""
    name = os.environ.get("VEKBF_LIBRARY") or FILE_NAME
    try:
        library = ctypes.CDLL(name)
        pointer, code = ctypes.c_void_p, ctypes.c_uint32
        for function, result, arguments in (
            ("VekBf_GetBufferSize", ctypes.c_uint32, []),
            ("VekBf_Init", pointer, [pointer, ctypes.POINTER(Init)]),
            ("VekBf_SetConfig", code, [pointer, ctypes.POINTER(Config)]),
            ("VekBf_Run", code, [pointer, pointer, pointer, ctypes.c_int32]),
            ("VekBf_Free", code, [pointer]),
        ):
            entry = getattr(library, function)
            entry.restype, entry.argtypes = result, arguments
    except (OSError, AttributeError) as error:
        raise LibraryNotFound(
            f"{error}: install the library, or let VEKBF_LIBRARY name the file", name="vekbf", path=name
        ) from error
    return library


def expect_ok(code: int, call: str) -> None:
    if code != OK:
        raise VekBfError(code, call)
