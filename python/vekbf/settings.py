# SPDX-License-Identifier: MIT
"""Settings by text, with the words of the command-line tool's option file."""

from __future__ import annotations

import ctypes
import os
from typing import Optional, Union

from . import _library
from ._errors import VekBfError

# The library's codes for what it would refuse itself.
_CODES = {
    "mics": 0x30000406,
    "mic": 0x30000406,
    "sound-speed": 0x30000405,
    "vad-threshold": 0x30000409,
    "intensity": 0x30000410,
}
_RATE_CODE = 0x30000403


def expect_no_fault(fault: Optional[bytes], code: int = 0) -> None:
    if fault is not None:
        raise VekBfError(code, "VekBf_SetConfig", fault.decode())


class Settings:
    """What a beam is made from: the array, the algorithm, the angle.

        settings = vekbf.Settings({"array": "line:4:35mm", "algorithm": "adaptive"})
        settings["angle"] = "60"
        settings.read("beam.conf")
        settings.check(16000, channels=4)

    Keys and values are those of ``vek_stream.h`` and of the tool's ``--config`` file. What is set later wins. The
    defaults are those of ``vek_stream.h``: ``keep-time`` is "yes", where the tool and `Beamformer` have no.

    Raises:
        VekBfError: the one line that says which setting is wrong, and what would be right.
        LibraryNotFound: the shared object cannot be loaded.
    """

    def __init__(self, values: Union[dict[str, str], None] = None) -> None:
        self._handle: Optional[int] = None
        self._library = _library.load()
        self._handle = self._library.VekStream_NewSettings()
        for key, value in (values or {}).items():
            self[key] = value

    @staticmethod
    def keys() -> list[str]:
        """The names of all settings."""
        names: list[str] = []
        while key := _library.load().VekStream_Key(len(names)):
            names.append(key.contents.name.decode())
        return names

    def __setitem__(self, key: str, value: str) -> None:
        if "\0" in key + value:
            raise VekBfError(0, "VekStream_Set", f"{key!r} and {value!r} are texts without a null character")
        fault = self._library.VekStream_Set(self._handle, _bytes(key), _bytes(value))
        expect_no_fault(fault, _CODES.get(key, 0))

    def __getitem__(self, key: str) -> Optional[str]:
        """The text of a setting, else its default; None where there is none, or no such setting."""
        text: Optional[bytes] = self._library.VekStream_Get(self._handle, _bytes(key))
        return None if text is None else text.decode("utf-8", "surrogateescape")

    def read(self, path: Union[str, os.PathLike[str]]) -> None:
        """Take the settings of an option file: all of them, or none where one of them is wrong."""
        expect_no_fault(self._library.VekStream_ReadFile(self._handle, os.fsencode(path)))

    def check(self, sample_rate: int = 0, channels: int = 0) -> None:
        """Whether a beam can be made for this sound; 0 stands for what is not known yet."""
        expect_no_fault(self._library.VekStream_Check(self._handle, sample_rate, channels))

    def array(self) -> tuple[str, list[tuple[float, float]], int]:
        """(geometry, positions in metres, speed of sound in m/s), as the library takes them."""
        init = _library.Init()
        expect_no_fault(self._library.VekStream_GetArray(self._handle, 0, ctypes.byref(init)))
        positions = [(float(x), float(y)) for x, y in init.micCoordinate[: init.micNum]]
        return _library.GEOMETRIES[init.geometry], positions, int(init.soundSpeed)

    def _open(self, sample_rate: int, channels: int) -> ctypes.c_void_p:
        """A stream of the library, which its owner closes."""
        stream = ctypes.c_void_p()
        self.check(0, channels)
        fault = self._library.VekStream_Open(self._handle, sample_rate, channels, ctypes.byref(stream))
        expect_no_fault(fault, _RATE_CODE)
        return stream

    def __del__(self) -> None:
        if self._handle is not None:
            self._library.VekStream_FreeSettings(self._handle)


def _bytes(text: str) -> bytes:
    return text.encode("utf-8", "surrogateescape")
