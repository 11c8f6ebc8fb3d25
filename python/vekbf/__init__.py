# SPDX-License-Identifier: MIT
"""Microphone-array beamforming: the VekBf library from Python, over NumPy arrays.

    import vekbf

    with vekbf.Beamformer(16000, [(0, 0), (0.05, 0), (0.10, 0)]) as beam:
        for chunk in chunks:                        # int16, shape (frames, 3), any number of frames
            play(beam.process(chunk, angle=60))     # int16, shape (samples,)
        play(beam.flush())

`Beamformer.process` with ``angle="auto"`` finds the talker itself.

The shared object ``libvekbf-stream.so.2`` is looked for where the system's loader looks, or in the file that the
environment variable ``VEKBF_LIBRARY`` names; `Direction` looks for ``libvekbf-direction.so.2`` likewise, or in the file
that ``VEKBF_DIRECTION_LIBRARY`` names.
"""

from ._errors import ERRORS, LibraryNotFound, VekBfError
from ._library import BLOCK_FRAMES, LAG_SAMPLES, MAX_MICROPHONES
from .beamformer import Beamformer, Counts, Talker
from .direction import Direction, Track
from .settings import Settings

__version__ = "2.1.0"

__all__ = [
    "BLOCK_FRAMES",
    "Beamformer",
    "Counts",
    "Direction",
    "ERRORS",
    "LAG_SAMPLES",
    "LibraryNotFound",
    "MAX_MICROPHONES",
    "Settings",
    "Talker",
    "Track",
    "VekBfError",
    "__version__",
]
