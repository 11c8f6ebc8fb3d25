# SPDX-License-Identifier: MIT
"""A beamformer over streams of any chunk length."""

from __future__ import annotations

import contextlib
import ctypes
import operator
import threading
from collections import deque
from collections.abc import Sequence
from types import TracebackType
from typing import TYPE_CHECKING, Any, Union

import numpy as np

from . import _library
from ._library import BLOCK_FRAMES, LAG_SAMPLES, MAX_MICROPHONES, expect_ok
from ._quiet import quiet

if TYPE_CHECKING:
    from numpy.typing import ArrayLike, NDArray

    Angle = Union[float, Sequence[float], NDArray[np.number[Any]]]

_TAIL_BLOCKS = LAG_SAMPLES // BLOCK_FRAMES

# Buffers of instances that nobody closed. The garbage collector may run while this thread holds a lock, so that it must
# not call the library; the next instance that is made releases them.
_unclosed: deque[ctypes.Array[ctypes.c_uint64]] = deque()


def _whole(value: int, lowest: int, highest: int, what: str) -> int:
    """`value` as it fits into a field of the library's record, which then refuses what is out of its range."""
    try:
        return min(max(operator.index(value), lowest), highest)
    except TypeError:
        raise TypeError(f"{what} is a whole number, not {value!r}") from None


def _chosen(name: str, names: dict[str, int], what: str) -> int:
    if name not in names:
        raise ValueError(f"{what} is one of {', '.join(names)}, not {name!r}")
    return names[name]


class Beamformer:
    """One beam over the signals of one to four microphones.

    A context manager: leaving it releases the library's memory, as `close` does. Instances are independent of each
    other; one instance used by several threads takes their calls one after the other.

    Args:
        sample_rate: in Hz, 8000 to 48000.
        microphones: positions in metres, shape (microphones, 2): x and y of each, in the order of the channels.
        geometry: "linear": the microphones lie on the x axis (y is not read); 0 degrees is along +x, 90 is straight
            ahead, and both sides of the line sound alike. "triangle": the microphones stand at 0, 90, 180 and 270
            degrees on a circle around the origin whose radius is abs(x) of the first one, whatever the other
            positions say.
        algorithm: "fixed": delay-and-sum. "adaptive": also cancels what does not come from the talker's direction, at
            some cost to the talker.
        sound_speed: in m/s, a whole number of at least 1.
        intensity: 0 to 10; a tenth of it is the probability of speech below which the adaptive algorithm takes a
            frequency for noise, in part. The fixed one does not read it.
        vad_threshold: 0 to 1, the probability above which the adaptive algorithm's detector takes a frame for speech.
            Its decision changes no sample.

    Raises:
        VekBfError: the library refuses a value; the error carries its code.
        ValueError: there is no microphone, a position is not a pair of finite numbers, or the geometry is a rectangle
            or a circle, which the library accepts but answers with silence.
        LibraryNotFound: the shared object cannot be loaded.
    """

    def __init__(
        self,
        sample_rate: int,
        microphones: ArrayLike,
        geometry: str = "linear",
        algorithm: str = "fixed",
        sound_speed: int = 343,
        intensity: int = 3,
        vad_threshold: float = 0.5,
    ) -> None:
        self._buffer: ctypes.Array[ctypes.c_uint64] | None = None  # until there is something to close
        positions = np.asarray(microphones, dtype=np.float32)
        if positions.ndim != 2 or positions.shape[1] != 2 or len(positions) == 0:
            raise ValueError(f"microphones has the shape (microphones, 2), not {positions.shape}")
        if not np.isfinite(positions).all():
            raise ValueError("the positions of the microphones are finite numbers")
        shape = _chosen(geometry, _library.GEOMETRIES, "geometry")
        if geometry not in ("linear", "triangle"):
            raise ValueError(
                f"the library answers the geometry {geometry!r} with silence: use 'triangle' for microphones at 0, 90, "
                "180 and 270 degrees on a circle"
            )
        init = _library.Init(
            sampleRate=_whole(sample_rate, 0, 2**32 - 1, "sample_rate"),
            bitWidth=16,
            micNum=len(positions),
            soundSpeed=_whole(sound_speed, -(2**31), 2**31 - 1, "sound_speed"),
            algorithm=_chosen(algorithm, _library.ALGORITHMS, "algorithm"),
            geometry=shape,
        )
        for m, (x, y) in enumerate(positions[:MAX_MICROPHONES].tolist()):
            init.micCoordinate[m][:] = (x, y)
        threshold = float(vad_threshold)
        config = _library.Config(
            # Not-a-number would pass the library's check.
            vadThreshold=threshold if threshold == threshold else -1.0,
            intensity=_whole(intensity, -1, 2**32 - 1, "intensity") % 2**32,
        )
        self._init, self._config = init, config
        self._channels = len(positions)
        self._zero_blocks = 0
        self._lock = threading.Lock()
        self._library = _library.load()
        self._open()

    def _open(self) -> None:
        """An instance of the library at the beginning of a signal."""
        with quiet():
            with contextlib.suppress(IndexError):  # the deque is empty
                while True:
                    self._library.VekBf_Free(_unclosed.popleft())
            size = self._library.VekBf_GetBufferSize()
            # Whole 64-bit words: the buffer is to be aligned like a pointer.
            buffer = (ctypes.c_uint64 * ((size + 7) // 8))()
            handle = self._library.VekBf_Init(buffer, ctypes.byref(self._init))
            expect_ok(self._library.VekBf_SetConfig(handle, ctypes.byref(self._config)), "VekBf_SetConfig")
        self._buffer = buffer
        self._pending = np.empty((0, self._channels), dtype=np.int16)
        self._pending_angle = 90  # of the block that `_pending` begins
        self._angle = 90  # of the last block
        self._lag = LAG_SAMPLES
        self._unread = 0  # frames taken whose samples have not been given

    @property
    def channels(self) -> int:
        """Number of microphones."""
        return self._channels

    @property
    def zero_blocks(self) -> int:
        """Blocks so far that the library dropped because their first 128 values were zero.

        During such a block the library's time stands still: what was still on its way, up to `LAG_SAMPLES` samples,
        comes out after the pause instead of before it. (Values whose squares add up to a multiple of 2**32 count as
        zero too: a block of nothing but -32768 does.)
        """
        return self._zero_blocks

    def blocks(self, frames: int) -> int:
        """Number of blocks that begin within the next `frames` frames: as many angles `process` takes."""
        return self._blocks_begun(len(self._pending), frames)

    @staticmethod
    def _blocks_begun(pending: int, frames: int) -> int:
        return -(-(pending + frames) // BLOCK_FRAMES) - (1 if pending > 0 else 0)

    def process(self, samples: NDArray[np.int16], angle: Angle = 90) -> NDArray[np.int16]:
        """Take the next part of the signal and return what has become ready.

        Results do not depend on how a signal is cut into parts. All of them, and what `flush` returns, put one behind
        the other, are as long as the signal and lined up with it.

        Args:
            samples: int16, shape (frames, microphones), or (frames,) for one microphone; any number of frames.
            angle: direction of the talker in degrees from +x towards +y: one number for all blocks of 128 frames that
                begin in `samples`, or an array with one for each of them (`blocks` tells how many they are). They are
                rounded to whole degrees.

        Returns:
            int16, shape (samples,).

        Raises:
            TypeError: `samples` is not an array of int16.
            ValueError: a shape is wrong, an angle is not a finite number, or the beamformer is closed.
        """
        with self._lock:
            self._expect_open()
            signal = self._as_signal(samples)
            pending = len(self._pending)
            angles = self._as_angles(angle, self._blocks_begun(pending, len(signal)))
            if pending > 0:
                angles = [self._pending_angle, *angles]
                signal = np.concatenate([self._pending, signal])
            whole = len(signal) // BLOCK_FRAMES
            self._unread += len(signal) - pending
            self._pending = signal[whole * BLOCK_FRAMES :].copy()
            if len(angles) > whole:
                self._pending_angle = angles[whole]
            return self._run(signal[: whole * BLOCK_FRAMES], angles[:whole])

    def flush(self) -> NDArray[np.int16]:
        """End the signal: return the rest of it, int16, shape (samples,).

        Afterwards the beamformer stands at the beginning of a new signal, as if it had just been made.
        """
        with self._lock:
            self._expect_open()
            # The last block is filled up with silence. Three more bring out the lag; a single 1 in each keeps the
            # library from dropping them as zero blocks.
            filled = -(-len(self._pending) // BLOCK_FRAMES)
            signal = np.zeros(((filled + _TAIL_BLOCKS) * BLOCK_FRAMES, self._channels), dtype=np.int16)
            signal[: len(self._pending)] = self._pending
            signal[filled * BLOCK_FRAMES :: BLOCK_FRAMES, 0] = 1
            angles = [self._pending_angle] * filled
            last = angles[-1] if angles else self._angle
            rest = self._run(signal, angles + [last] * _TAIL_BLOCKS)
            self._release()
            self._open()
            return rest

    def close(self) -> None:
        """Release the library's memory. What has not been flushed is lost; a second call does nothing."""
        with self._lock:
            self._release()

    def __enter__(self) -> Beamformer:
        self._expect_open()
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def __del__(self) -> None:
        buffer = getattr(self, "_buffer", None)
        if buffer is not None:
            _unclosed.append(buffer)

    def _expect_open(self) -> None:
        if self._buffer is None:
            raise ValueError("the beamformer is closed")

    def _release(self) -> None:
        buffer, self._buffer = self._buffer, None
        if buffer is not None:
            with quiet():
                self._library.VekBf_Free(buffer)

    def _as_signal(self, samples: NDArray[np.int16]) -> NDArray[np.int16]:
        signal = np.asarray(samples)
        if signal.dtype.kind != "i" or signal.dtype.itemsize != 2:
            raise TypeError(f"samples are 16-bit integers (numpy.int16), not {signal.dtype}")
        if signal.ndim == 1 and self._channels == 1:
            signal = signal[:, np.newaxis]
        if signal.ndim != 2 or signal.shape[1] != self._channels:
            raise ValueError(f"samples has the shape (frames, {self._channels}), not {signal.shape}")
        return signal.astype(np.int16, copy=False)

    @staticmethod
    def _as_angles(angle: Angle, blocks: int) -> list[int]:
        degrees = np.asarray(angle, dtype=float)
        if degrees.ndim > 1 or (degrees.ndim == 1 and len(degrees) != blocks):
            raise ValueError(f"angle is a number, or one for each of the {blocks} blocks that begin in samples")
        if not np.isfinite(degrees).all() or (np.abs(degrees) >= 2**31 - 1).any():
            raise ValueError("angles are finite numbers of degrees")
        whole = np.rint(degrees).astype(int)
        return [int(one) for one in np.broadcast_to(whole, (blocks,))]

    def _run(self, signal: NDArray[np.int16], angles: list[int]) -> NDArray[np.int16]:
        """Whole blocks through the library; what came out, without the lag and no longer than the signal."""
        assert self._buffer is not None  # the callers have looked
        signal = np.ascontiguousarray(signal)
        tested = signal.reshape(len(angles), BLOCK_FRAMES * self._channels)[:, :BLOCK_FRAMES].astype(np.int64)
        self._zero_blocks += int(np.count_nonzero((tested * tested).sum(axis=1) % 2**32 == 0))
        out = np.empty(len(signal), dtype=np.int16)
        source, target = signal.ctypes.data, out.ctypes.data
        run, buffer = self._library.VekBf_Run, ctypes.addressof(self._buffer)
        with quiet():
            for angle in angles:
                expect_ok(run(buffer, source, target, angle), "VekBf_Run")
                source += BLOCK_FRAMES * self._channels * 2
                target += BLOCK_FRAMES * 2
        if angles:
            self._angle = angles[-1]
        dropped = min(self._lag, len(out))
        self._lag -= dropped
        out = out[dropped : dropped + self._unread]
        self._unread -= len(out)
        return out
