# SPDX-License-Identifier: MIT
"""The array on the command line."""

import re
from dataclasses import dataclass

import numpy as np

from .errors import LabError
from .scene import Array

HELP = (
    "line:COUNT:SPACING (microphone 0 at x = 0) or square:SIDE (microphones at 0, 90, 180, 270 degrees); "
    "lengths such as 35mm, 6.4cm, 0.1m"
)
UNITS = {"mm": 1e-3, "cm": 1e-2, "m": 1.0}


@dataclass(frozen=True)
class Geometry:
    name: str  # as the library's binding calls it
    array: Array  # with the positions that the library uses

    @property
    def is_line(self):
        return self.name == "linear"

    def angles(self, step=1.0):
        """Every direction that the array can tell from another, degrees."""
        return np.arange(0, 180 + step / 2, step) if self.is_line else np.arange(0, 360 - step / 2, step)


def metres(text):
    match = re.fullmatch(r"(\d+(?:\.\d*)?|\.\d+)(mm|cm|m)", text)
    if not match or float(match[1]) == 0:
        raise LabError(f"{text} is not a length such as 35mm, 3.5cm or 0.035m")
    return float(match[1]) * UNITS[match[2]]


def circle(radius, count):
    quarter = ((1.0, 0.0), (0.0, 1.0), (-1.0, 0.0), (0.0, -1.0))
    return tuple((radius * x, radius * y) for x, y in quarter[:count])


def from_name(text, sound_speed=343.0):
    """The geometry that `--array` names."""
    parts = text.split(":")
    if parts[0] == "line" and len(parts) == 3 and parts[1] in ("1", "2", "3", "4"):
        spacing = metres(parts[2])
        return Geometry("linear", Array(tuple((m * spacing, 0.0) for m in range(int(parts[1]))), sound_speed))
    if parts[0] == "square" and len(parts) == 2:
        return Geometry("triangle", Array(circle(metres(parts[1]) / np.sqrt(2), 4), sound_speed))
    raise LabError(f"{text} is not an array: {HELP}")


def from_positions(positions, name="linear", sound_speed=343.0):
    """The geometry as the library takes these positions: it reads only x of a line, and only |x| of microphone 0
    otherwise."""
    if not 1 <= len(positions) <= 4:
        raise LabError(f"an array has 1 to 4 microphones, not {len(positions)}")
    if not np.isfinite(np.asarray(positions, float)).all():
        raise LabError("positions of microphones are finite numbers")
    if name == "triangle":
        return Geometry(name, Array(circle(abs(positions[0][0]), len(positions)), sound_speed))
    return Geometry(name, Array(tuple((float(x), 0.0) for x, _ in positions), sound_speed))


def position(text):
    try:
        x, y = (float(part) for part in text.split(","))
    except ValueError:
        raise LabError(f"{text} is not a position X,Y in metres") from None
    return x, y


def add_arguments(parser):
    group = parser.add_argument_group("the array, one of")
    group.add_argument("--array", metavar="ARRAY", help=HELP)
    group.add_argument("--mic", action="append", metavar="X,Y", help="position in metres, once per channel, in order")
    shapes = ("linear", "triangle")
    parser.add_argument("--geometry", choices=shapes, default="linear", help="of --mic (default linear)")
    parser.add_argument("--sound-speed", type=int, default=343, metavar="M/S", help="metres per second (default 343)")


def from_options(options):
    if (options.array is None) == (options.mic is None):
        raise LabError("describe the array by --array or by --mic")
    if options.sound_speed < 1:
        raise LabError("the speed of sound is at least 1 m/s")
    if options.array is not None:
        return from_name(options.array, float(options.sound_speed))
    return from_positions([position(text) for text in options.mic], options.geometry, float(options.sound_speed))
