# SPDX-License-Identifier: MIT
"""A beamformer over streams of any chunk length."""

from __future__ import annotations

import ctypes
import operator
import threading
from collections.abc import Sequence
from types import TracebackType
from typing import TYPE_CHECKING, Any, Literal, NamedTuple, Optional, Union

import numpy as np

from ._library import BLOCK_FRAMES, F32, F64, ROOM, S16, CountsRecord, DirectionState, load
from .settings import Settings, expect_no_fault

if TYPE_CHECKING:
    from numpy.typing import ArrayLike, NDArray

    Degrees = Union[float, Sequence[float], NDArray[np.number[Any]]]
    Angle = Union[Degrees, Literal["auto"]]

_LARGEST_ANGLE = 2**31 - 1


class Counts(NamedTuple):
    """What happened in a beamformer so far, flushed signals included."""

    frames: int  # taken
    blocks: int  # of 128 frames, the last one of a signal filled up
    zero_blocks: int  # of these, blocks whose first 128 values were zero, see `Beamformer.zero_blocks`
    clipped: int  # floating-point samples of the microphones beyond full scale
    not_numbers: int  # floating-point samples of the microphones that were not-a-number
    wraps: int  # steps of more than half the range from one sample of the beam to the next: sums that wrapped around


class Talker(NamedTuple):
    """What the direction finder knew after the last block."""

    angle: int  # whole degrees; -1: nothing heard yet
    heard: bool  # whether its last update counted
    confidence: float  # 0 to 1: lead over the best direction elsewhere
    age: int  # blocks since evidence last agreed with the angle


def _whole(value: int, what: str) -> str:
    try:
        return str(operator.index(value))
    except TypeError:
        raise TypeError(f"{what} is a whole number, not {value!r}") from None


def _address(array: NDArray[Any]) -> int:
    """Of an array that is not empty."""
    if array.flags.writeable:  # four times as fast
        return ctypes.addressof(ctypes.c_int8.from_buffer(array.data))
    return int(array.ctypes.data)


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
        keep_time: False: the library's own rule: its time stands still during a block of digital silence, see
            `zero_blocks`. True: time goes on, and every sample stays lined up with its frame.

    Raises:
        VekBfError: the library refuses a value; the error carries its code.
        ValueError: there is no microphone, or a position is not a pair of finite numbers.
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
        keep_time: bool = False,
    ) -> None:
        self._stream: Optional[int] = None  # until there is something to close
        positions = np.asarray(microphones, dtype=np.float32)
        if positions.ndim != 2 or positions.shape[1] != 2 or len(positions) == 0:
            raise ValueError(f"microphones has the shape (microphones, 2), not {positions.shape}")
        if not np.isfinite(positions).all():
            raise ValueError("the positions of the microphones are finite numbers")
        settings = Settings(
            {
                "mics": "; ".join(f"{x!r},{y!r}" for x, y in positions.tolist()),
                "geometry": geometry,
                "algorithm": algorithm,
                "sound-speed": _whole(sound_speed, "sound_speed"),
                "intensity": _whole(intensity, "intensity"),
                "vad-threshold": repr(float(vad_threshold)),
                "keep-time": "yes" if keep_time else "no",
            }
        )
        self._settings: Optional[Settings] = settings  # of this beam alone
        self._begin(settings, sample_rate, len(positions), 90)

    @classmethod
    def from_settings(cls, settings: Settings, sample_rate: int, channels: int) -> Beamformer:
        """A beam with the settings of the command-line tool, over recordings of so many channels.

        Until `process` is given an angle, `angle` and `angle-track` of the settings hold.
        """
        beam = cls.__new__(cls)
        beam._stream = None
        beam._settings = None
        beam._begin(settings, sample_rate, channels, None)
        return beam

    def _begin(self, settings: Settings, sample_rate: int, channels: int, angle: Optional[int]) -> None:
        rate = min(max(int(_whole(sample_rate, "sample_rate")), 0), 2**32 - 1)
        self._rate, self._channels = rate, channels
        self._stream = settings._open(rate, channels).value
        self._angle = angle  # where `process` is given none
        self._steered: Optional[int] = None  # the angle last given to the library
        self._earlier = Counts(0, 0, 0, 0, 0, 0)  # of signals that have been flushed
        self._lock = threading.Lock()
        self._library = load()
        # Looked up once: a call of a few milliseconds of sound takes hardly longer than the look-up.
        self._write, self._read = self._library.VekStream_WriteInterleaved, self._library.VekStream_Read

    @property
    def channels(self) -> int:
        """Number of channels of the signal: of microphones, unless the setting `channels` picks some of them."""
        return self._channels

    @property
    def zero_blocks(self) -> int:
        """Blocks so far that the library dropped because their first 128 values were zero.

        During such a block the library's time stands still: what was still on its way, up to `LAG_SAMPLES` samples,
        comes out after the pause instead of before it. (Values whose squares add up to a multiple of 2**32 count as
        zero too: a block of nothing but -32768 does.)
        """
        return self.counts.zero_blocks

    @property
    def counts(self) -> Counts:
        """What happened so far."""
        with self._lock:
            return self._counted()

    def _counted(self) -> Counts:
        record = CountsRecord()  # zeros after a closed stream
        self._library.VekStream_GetCounts(self._stream, ctypes.byref(record))
        return Counts(*(past + getattr(record, name) for past, (name, _) in zip(self._earlier, record._fields_)))

    @property
    def angle(self) -> int:
        """The angle of the block that was begun last; before the first one, the angle it would have."""
        return int(self._library.VekStream_GetAngle(self._stream))

    @property
    def talker(self) -> Talker:
        """Where the direction finder hears the talker; angle -1 and zeros where none listens, see `process`."""
        state = DirectionState()
        self._library.VekStream_GetDirection(self._stream, ctypes.byref(state))
        return Talker(state.angle, state.heard != 0, state.confidence, state.age)

    def blocks(self, frames: int) -> int:
        """Number of blocks that begin within the next `frames` frames: as many angles `process` takes."""
        begun = self._frames_to_block()
        return max(-(-(frames - begun) // BLOCK_FRAMES), 0)

    def _frames_to_block(self) -> int:
        """Frames that belong to a block that has begun."""
        return int(self._library.VekStream_FramesToBlock(self._stream)) % BLOCK_FRAMES

    def process(self, samples: NDArray[np.int16], angle: Optional[Angle] = None) -> NDArray[np.int16]:
        """Take the next part of the signal and return what has become ready.

        Results do not depend on how a signal is cut into parts. All of them, and what `flush` returns, put one behind
        the other, are as long as the signal and lined up with it.

        Args:
            samples: int16, shape (frames, microphones), or (frames,) for one microphone; any number of frames.
            angle: direction of the talker in degrees from +x towards +y: one number for all blocks of 128 frames that
                begin in `samples`, or an array with one for each of them (`blocks` tells how many they are). They are
                rounded to whole degrees. "auto": the direction finder listens to the signal from its beginning, and what
                it found with a block steers the next one, see `talker`; an angle given later wins over it, "auto" after
                that gives the beam back to it. Two to four microphones in a line or on the corners of a square.

        Returns:
            int16, shape (samples,).

        Raises:
            TypeError: `samples` is not an array of int16.
            ValueError: a shape is wrong, an angle is not a finite number, "auto" comes too late for the finder to hear the
                beginning, or the beamformer is closed.
            VekBfError: the array has no directions to find.
        """
        return self._process(self._as_signal(samples), S16, angle)

    def process_float(self, samples: NDArray[np.floating[Any]], angle: Optional[Angle] = None) -> NDArray[np.int16]:
        """`process` for float32 or float64 samples, full scale 1.0.

        They become 16-bit samples as value * 32768 * gain, rounded to nearest (ties to even) and clipped; not-a-number
        becomes 0. The gain is the setting `pre-gain`, 0 dB unless `from_settings` was given another one.
        """
        signal = np.asarray(samples)
        if signal.dtype not in (np.float32, np.float64):
            raise TypeError(f"samples are floating-point numbers of 32 or 64 bits, not {signal.dtype}")
        signal = np.ascontiguousarray(self._as_frames(signal))
        return self._process(signal, F32 if signal.dtype == np.float32 else F64, angle)

    def _process(self, signal: NDArray[Any], kind: int, angle: Optional[Angle]) -> NDArray[np.int16]:
        with self._lock:
            self._expect_open()
            if isinstance(angle, str):
                self._follow(angle)
                angle = None
            elif angle is None:
                angle = self._angle
            if type(angle) is int and -_LARGEST_ANGLE < angle < _LARGEST_ANGLE:
                self._steer(angle)
            elif angle is not None:
                angles = self._as_angles(angle, self.blocks(len(signal)))
                if angles.ndim > 0:
                    return self._run_parts(signal, kind, angles.tolist())
                self._steer(int(angles))
            # What is ready has been given: there is room for at most the rest of a block more than is put in.
            out = np.empty(len(signal) + BLOCK_FRAMES, dtype=np.int16)
            return out[: self._run(signal, kind, out)]

    def flush(self) -> NDArray[np.int16]:
        """End the signal: return the rest of it, int16, shape (samples,).

        Afterwards the beamformer stands at the beginning of a new signal, as if it had just been made.
        """
        with self._lock:
            self._expect_open()
            self._library.VekStream_Finish(self._stream)
            rest = np.empty(self._library.VekStream_Available(self._stream), dtype=np.int16)
            self._read(self._stream, S16, rest.ctypes.data, 1, len(rest))
            self._earlier = self._counted()
            expect_no_fault(self._library.VekStream_Restart(self._stream))
            return rest

    def close(self) -> None:
        """Release the library's memory. What has not been flushed is lost; a second call does nothing."""
        with self._lock:
            self._earlier = self._counted()
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
        # No lock: the garbage collector may have come while this thread holds one.
        self._release()

    def _expect_open(self) -> None:
        if self._stream is None:
            raise ValueError("the beamformer is closed")

    def _release(self) -> None:
        stream, self._stream = self._stream, None
        if stream is not None:
            self._library.VekStream_Close(stream)

    def _steer(self, degrees: int) -> None:
        if degrees != self._steered:
            self._library.VekStream_Steer(self._stream, degrees)
            self._steered = degrees

    def _follow(self, word: str) -> None:
        """Gives the beam to the direction finder."""
        if word != "auto":
            raise ValueError(f"an angle is a number of degrees or 'auto', not {word!r}")
        if not self._library.VekStream_GetDirection(self._stream, ctypes.byref(DirectionState())):
            self._listen()
        if self._steered is not None:
            self._library.VekStream_SteerAsSet(self._stream)
            self._steered = None

    def _listen(self) -> None:
        """Opens the stream once more, now with a direction finder."""
        if self._settings is None:
            raise ValueError("the setting `angle` is not auto")
        if self._counted().frames != self._earlier.frames:
            raise ValueError("angle='auto' holds from the beginning of a signal: give it with the first samples")
        self._settings["angle"] = "auto"
        opened = self._settings._open(self._rate, self._channels).value
        self._release()
        self._stream, self._steered = opened, None

    def _as_signal(self, samples: NDArray[np.int16]) -> NDArray[np.int16]:
        signal = np.asarray(samples)
        if signal.dtype.kind != "i" or signal.dtype.itemsize != 2:
            raise TypeError(f"samples are 16-bit integers (numpy.int16), not {signal.dtype}")
        return np.ascontiguousarray(self._as_frames(signal), dtype=np.int16)

    def _as_frames(self, signal: NDArray[Any]) -> NDArray[Any]:
        if signal.ndim == 1 and self._channels == 1:
            signal = signal[:, np.newaxis]
        if signal.ndim != 2 or signal.shape[1] != self._channels:
            raise ValueError(f"samples has the shape (frames, {self._channels}), not {signal.shape}")
        return signal

    @staticmethod
    def _as_angles(angle: Degrees, blocks: int) -> NDArray[np.int64]:
        degrees = np.asarray(angle, dtype=float)
        if degrees.ndim > 1 or (degrees.ndim == 1 and len(degrees) != blocks):
            raise ValueError(f"angle is a number, or one for each of the {blocks} blocks that begin in samples")
        if not np.isfinite(degrees).all() or (np.abs(degrees) >= _LARGEST_ANGLE).any():
            raise ValueError("angles are finite numbers of degrees")
        whole: NDArray[np.int64] = np.rint(degrees).astype(np.int64)
        return whole

    def _run(self, signal: NDArray[Any], kind: int, out: NDArray[np.int16]) -> int:
        """The signal through the library; the number of samples that became ready."""
        frames = len(signal)
        if frames == 0:
            return 0
        source, target = _address(signal), _address(out)
        frame_bytes = signal.itemsize * self._channels
        taken = given = 0
        while taken < frames:
            part: int = self._write(self._stream, kind, source + frame_bytes * taken, min(frames - taken, ROOM))
            given += self._read(self._stream, S16, target + 2 * given, 1, len(out) - given)
            taken += part
        return given

    def _run_parts(self, signal: NDArray[Any], kind: int, angles: list[int]) -> NDArray[np.int16]:
        """The same with an angle for each block that begins in the signal."""
        out = np.empty(len(signal) + BLOCK_FRAMES, dtype=np.int16)
        begin = self._frames_to_block()
        given = self._run(signal[:begin], kind, out)
        for block, degrees in enumerate(angles):
            self._steer(degrees)
            at = begin + block * BLOCK_FRAMES
            given += self._run(signal[at : at + BLOCK_FRAMES], kind, out[given:])
        return out[:given]
