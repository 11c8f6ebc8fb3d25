# SPDX-License-Identifier: MIT
"""The array on the command line."""

from dataclasses import dataclass

import numpy as np
import vekbf

from .errors import LabError
from .scene import Array

HELP = (
    "line:COUNT:SPACING (microphone 0 at x = 0) or square:SIDE (microphones at 0, 90, 180, 270 degrees); "
    "lengths such as 35mm, 6.4cm, 0.1m; or the name or the file of an array"
)


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


def from_settings(values, positions=()):
    """The geometry of settings in the tool's words, with the texts X,Y of `positions` in the order of the channels."""
    try:
        settings = vekbf.Settings(values)
        for position in positions:
            settings["mic"] = position
        name, places, sound_speed = settings.array()
    except (vekbf.VekBfError, vekbf.LibraryNotFound) as error:
        raise LabError(str(error)) from None
    if name == "linear":
        # The library reads only x of a line,
        places = [(x, 0.0) for x, _ in places]
    else:
        # and only |x| of microphone 0 of a triangle.
        radius = abs(places[0][0])
        corners = ((radius, 0.0), (0.0, radius), (-radius, 0.0), (0.0, -radius))
        places = corners[: len(places)]
    return Geometry(name, Array(tuple(places), float(sound_speed)))


def from_name(text, sound_speed=343):
    """The geometry that `--array` names."""
    return from_settings({"array": text, "sound-speed": str(sound_speed)})


def from_positions(positions, name="linear", sound_speed=343):
    """The geometry as the library takes these positions in metres."""
    texts = [f"{float(x)!r},{float(y)!r}" for x, y in positions]
    return from_settings({"geometry": name, "sound-speed": str(sound_speed)}, texts)


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
    if options.array is not None:
        return from_name(options.array, options.sound_speed)
    return from_settings({"geometry": options.geometry, "sound-speed": str(options.sound_speed)}, options.mic)
