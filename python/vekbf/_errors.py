# SPDX-License-Identifier: MIT
"""The library's codes as exceptions."""

from __future__ import annotations

#: Code of the libraries: (its name in ``vek_bf.h`` or ``vek_direction.h``, what is wrong).
ERRORS: dict[int, tuple[str, str]] = {
    0x30000402: ("VEK_BF_ERR_NULL_HANDLE", "a handle, record or block is null"),
    0x30000403: ("VEK_BF_ERR_SAMPLE_RATE", "the sample rate is not from 8000 to 48000 Hz"),
    0x30000404: ("VEK_BF_ERR_BIT_WIDTH", "the samples do not have 16 bits"),
    0x30000405: ("VEK_BF_ERR_SOUND_SPEED", "the speed of sound is below 1 m/s"),
    0x30000406: ("VEK_BF_ERR_MIC_NUM", "there are more than 4 microphones"),
    0x30000407: ("VEK_BF_ERR_GEOMETRY", "the library does not know the geometry"),
    0x30000409: ("VEK_BF_ERR_VAD_THRESHOLD", "the detector's threshold is not from 0 to 1"),
    0x30000410: ("VEK_BF_ERR_INTENSITY", "the intensity is not from 0 to 10"),
    0x30000502: ("VEK_DIR_ERR_NULL_HANDLE", "a handle, record or block is null"),
    0x30000503: ("VEK_DIR_ERR_SAMPLE_RATE", "the sample rate is not from 8000 to 48000 Hz"),
    0x30000504: ("VEK_DIR_ERR_BIT_WIDTH", "the samples do not have 16 bits"),
    0x30000505: ("VEK_DIR_ERR_SOUND_SPEED", "the speed of sound is below 1 m/s"),
    0x30000506: ("VEK_DIR_ERR_MIC_NUM", "a direction takes 2 to 4 microphones"),
    0x30000507: ("VEK_DIR_ERR_GEOMETRY", "a direction takes a line or the corners of a square"),
    0x30000508: ("VEK_DIR_ERR_MIC_COORDINATE", "the positions of the microphones tell no directions apart"),
    0x30000509: ("VEK_DIR_ERR_HOLD", "the hold is above 10 seconds"),
    0x30000510: ("VEK_DIR_ERR_FOCUS", "the focus is above 96 dB"),
}


class VekBfError(ValueError):
    """The library refused a value.

    Attributes:
        code: the library's code for it, such as 0x30000403; 0 where the library has none.
        name: the name of the code in ``vek_bf.h``, such as ``"VEK_BF_ERR_SAMPLE_RATE"``; empty where there is none.
        call: the function that refused it, such as ``"VekBf_SetConfig"``.
    """

    def __init__(self, code: int, call: str, fault: str = "") -> None:
        self.code = code
        self.call = call
        self.name, reason = ERRORS.get(code, ("", "the library does not say why"))
        self.fault = fault or reason
        super().__init__(f"{self.fault} ({self.name}, 0x{code:08x})" if self.name else self.fault)

    def __reduce__(self) -> tuple[type[VekBfError], tuple[int, str, str]]:
        return type(self), (self.code, self.call, self.fault)


class LibraryNotFound(ImportError):
    """The shared object of the library cannot be loaded."""
