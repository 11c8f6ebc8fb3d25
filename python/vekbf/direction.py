# SPDX-License-Identifier: MIT
"""Where the talker is."""

from __future__ import annotations

import ctypes
import functools
import os
from typing import TYPE_CHECKING, Any, NamedTuple, Optional

import numpy as np

from ._errors import LibraryNotFound, VekBfError
from ._library import BLOCK_FRAMES, GEOMETRIES, MAX_MICROPHONES, Init

if TYPE_CHECKING:
    from numpy.typing import ArrayLike, NDArray

FILE_NAME = "libvekbf-direction.so.2"
_DEGREES = 360


class _Config(ctypes.Structure):
    _fields_ = [
        ("sectorFrom", ctypes.c_int32),
        ("sectorTo", ctypes.c_int32),
        ("holdMs", ctypes.c_uint32),
        ("focusDb", ctypes.c_uint32),
    ]


# The record of one block.
_STATE = np.dtype([("angle", np.int32), ("heard", np.int32), ("confidence", np.float32), ("age", np.uint32)])


@functools.lru_cache(maxsize=None)
def _load() -> ctypes.CDLL:
    name = os.environ.get("VEKBF_DIRECTION_LIBRARY") or FILE_NAME
    pointer, number = ctypes.c_void_p, ctypes.c_uint32
    try:
        library = ctypes.CDLL(name)
        for function, result, arguments in (
            ("GetBufferSize", number, []),
            ("CheckArray", number, [pointer]),
            ("Init", pointer, [pointer, pointer]),
            ("SetConfig", number, [pointer, pointer]),
            ("Run", number, [pointer, pointer, pointer]),
            ("Pause", number, [pointer, ctypes.c_int32]),
            ("GetMap", number, [pointer, pointer]),
        ):
            entry = getattr(library, "VekDir_" + function)
            entry.restype, entry.argtypes = result, arguments
    except (OSError, AttributeError) as error:
        raise LibraryNotFound(
            f"{error}: install the library, or let VEKBF_DIRECTION_LIBRARY name the file {FILE_NAME}",
            name="vekbf",
            path=name,
        ) from error
    return library


class Track(NamedTuple):
    """What is known after each block of 128 frames: arrays of one length."""

    angle: NDArray[np.int32]  # whole degrees as `Beamformer.process` takes them; -1: nothing heard yet
    heard: NDArray[np.bool_]  # whether the last update counted
    confidence: NDArray[np.float32]  # 0 to 1: lead over the best direction elsewhere
    age: NDArray[np.uint32]  # blocks since evidence last agreed with the angle


class Direction:
    """Finds the direction of the talker in the signals of two to four microphones.

    Args:
        sample_rate: in Hz, 8000 to 48000.
        microphones: positions in metres, shape (microphones, 2), as `Beamformer` takes them.
        geometry: "linear" or "triangle", as for `Beamformer`. A line gives 0 to 180 degrees.
        sound_speed: in m/s, a whole number of at least 1.
        sector: (from, to) in degrees, counter-clockwise: only a talker inside is followed. None: everywhere.
        hold: seconds of sound that a talker elsewhere needs before he is followed.
        focus: dB; sound more than this below the recent loudest is not followed.

    Raises:
        VekBfError: the library refuses a value; the error carries its code.
        LibraryNotFound: the shared object cannot be loaded.
    """

    def __init__(
        self,
        sample_rate: int,
        microphones: ArrayLike,
        geometry: str = "linear",
        sound_speed: int = 343,
        sector: Optional[tuple[int, int]] = None,
        hold: float = 0.13,
        focus: int = 15,
    ) -> None:
        positions = np.asarray(microphones, dtype=np.float32)
        if positions.ndim != 2 or positions.shape[1] != 2 or len(positions) == 0:
            raise ValueError(f"microphones has the shape (microphones, 2), not {positions.shape}")
        if geometry not in GEOMETRIES:
            raise ValueError(f"the geometry is one of {', '.join(GEOMETRIES)}, not {geometry!r}")
        self._library = _load()
        self._channels = len(positions)
        array = Init(sample_rate, 16, self._channels, sound_speed, 0, GEOMETRIES.index(geometry))
        for m, (x, y) in enumerate(positions[:MAX_MICROPHONES].tolist()):
            array.micCoordinate[m][0], array.micCoordinate[m][1] = x, y
        self._expect(self._library.VekDir_CheckArray(ctypes.byref(array)), "VekDir_CheckArray")
        # Aligned to 8 bytes.
        self._memory = (ctypes.c_uint64 * (-(-self._library.VekDir_GetBufferSize() // 8)))()
        self._handle = self._library.VekDir_Init(self._memory, ctypes.byref(array))
        self._rest = np.empty((0, self._channels), np.int16)
        self.configure(sector, hold, focus)

    def _expect(self, code: int, call: str) -> None:
        if code != 0:
            raise VekBfError(code, call)

    def configure(self, sector: Optional[tuple[int, int]] = None, hold: float = 0.13, focus: int = 15) -> None:
        """Changes the settings between two blocks. What is known stays; an angle outside a new sector is forgotten."""
        first, last = (0, 0) if sector is None else (int(sector[0]) % _DEGREES, int(sector[1]) % _DEGREES)
        if sector is not None and first == last:
            raise ValueError("a sector has two ends")
        if not hold >= 0 or not 1 <= focus < 2**32:
            raise ValueError("the hold is at least 0 seconds and the focus at least 1 dB")
        # 0 stands for the default: the shortest hold is a millisecond.
        config = _Config(first, last, max(round(min(hold, 4e6) * 1000), 1), int(focus))
        self._expect(self._library.VekDir_SetConfig(self._handle, ctypes.byref(config)), "VekDir_SetConfig")

    def process(self, samples: ArrayLike) -> Track:
        """Takes frames, int16 of shape (frames, microphones), any number of them; gives what is known after each block
        that they complete."""
        new = np.asarray(samples)
        if new.dtype != np.int16 or new.ndim != 2 or new.shape[1] != self._channels:
            raise ValueError(f"samples is int16 of the shape (frames, {self._channels})")
        every = np.ascontiguousarray(np.concatenate([self._rest, new]))
        count = len(every) // BLOCK_FRAMES
        states: NDArray[Any] = np.zeros(count, _STATE)
        run, size = self._library.VekDir_Run, BLOCK_FRAMES * every.strides[0]
        start, state = every.ctypes.data, states.ctypes.data
        for block in range(count):
            run(self._handle, start + block * size, state + block * _STATE.itemsize)
        self._rest = every[count * BLOCK_FRAMES :].copy()
        return Track(states["angle"], states["heard"] != 0, states["confidence"], states["age"])

    def pause(self, on: bool = True) -> None:
        """While paused, no sound counts and the angle stays: for when the device itself plays."""
        self._expect(self._library.VekDir_Pause(self._handle, int(on)), "VekDir_Pause")

    def map(self) -> NDArray[np.float32]:
        """Evidence of the last update for each of 360 degrees; the mean of all directions is 0."""
        evidence = np.zeros(_DEGREES, np.float32)
        self._expect(self._library.VekDir_GetMap(self._handle, evidence.ctypes.data), "VekDir_GetMap")
        return evidence

