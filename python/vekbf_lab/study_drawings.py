# SPDX-License-Identifier: MIT
"""The drawings of docs/geometry.md: which way angles go, and where microphones stand."""

from __future__ import annotations

import numpy as np
from matplotlib.patches import Circle

from . import plots

TALKER = 60
FAR = 1.0  # from the origin to the ring of angles


def towards(angle, distance=FAR):
    return distance * np.array([np.cos(np.radians(angle)), np.sin(np.radians(angle))])


def stage(axes, title):
    """A ring with the axes in it."""
    axes.add_patch(Circle((0, 0), FAR, fill=False, color="0.85", linewidth=1))
    for end, label, where in (((1.5, 0), "+x", (1.54, -0.05)), ((0, 1.5), "+y", (0.05, 1.44))):
        axes.annotate("", end, (0, 0), arrowprops={"arrowstyle": "->", "color": "0.5", "lw": 1})
        axes.text(*where, label, color="0.35", fontsize=10)
    axes.set_xlim(-1.75, 1.75)
    axes.set_ylim(-1.45, 1.75)
    axes.set_aspect("equal")
    axes.axis("off")
    axes.set_title(title, fontsize=11)


def ring(axes, names):
    """Labels of {degrees: text} outside the ring."""
    for angle, name in names.items():
        colour = "0.6" if name.startswith("(") else "black"
        axes.plot(*np.transpose([towards(angle, 0.97), towards(angle, 1.03)]), color="0.6", linewidth=1)
        # The axes' arrows pass at 0 and 90.
        aside = {0: (0.05, 0.1), 90: (-0.14, 0.02)}.get(angle, (0, 0))
        axes.text(*(towards(angle, 1.19) + aside), name, ha="center", va="center", fontsize=10, color=colour)


def talker(axes, angle):
    axes.plot(*towards(angle), "s", color="C0", markersize=11)
    arrow = {"arrowstyle": "->", "color": "C0", "lw": 1.8}
    axes.annotate("", towards(angle, 0.62), towards(angle, 0.93), arrowprops=arrow)
    axes.text(*(towards(angle, 1.19) + (0.16, 0)), "talker", color="C0", va="center", fontsize=10)


def microphones(axes, positions, below=(0.0, -0.15)):
    for m, position in enumerate(positions):
        axes.plot(*position, "o", color="black", markersize=9)
        axes.text(*(np.array(position) + below), f"m{m}", ha="center", va="center", fontsize=10)


def line(axes):
    stage(axes, "linear: microphones on the x axis")
    upper = {angle: f"{angle}°" for angle in range(0, 181, 30)}
    ring(axes, {**upper, **{-angle: f"({angle}°)" for angle in range(30, 180, 30)}})
    places = [(x, 0.0) for x in (-0.6, -0.2, 0.2, 0.6)]
    talker(axes, TALKER)
    # The wave front that has just reached the last microphone, and how far it still is from the first.
    foot = np.array(places[0]) + towards(TALKER, 1.2 * np.cos(np.radians(TALKER)))
    along = towards(TALKER + 90, 1.0)
    front = [np.array(places[-1]) - 0.12 * along, foot + 0.12 * along]
    axes.plot(*np.transpose(front), color="C1", linewidth=1.8)
    axes.plot(*np.transpose([places[0], foot]), color="C1", linestyle="--", linewidth=1.4)
    axes.text(-0.52, 0.34, "d cos 60°", fontsize=10, color="C1", ha="right")
    axes.annotate("", (-0.6, -0.32), (0.6, -0.32), arrowprops={"arrowstyle": "<->", "color": "0.4", "lw": 1})
    axes.text(0, -0.42, "d", fontsize=10, color="0.3", ha="center", va="center")
    microphones(axes, places)


def square(axes):
    stage(axes, "triangle: microphones on a circle")
    ring(axes, {angle: f"{angle}°" for angle in range(0, 360, 30)})
    radius = 0.5
    places = [towards(angle, radius) for angle in (0, 90, 180, 270)]
    axes.plot(*np.transpose([*places, places[0]]), color="0.8", linewidth=1)
    axes.plot(0, 0, "+", color="0.3", markersize=10)
    talker(axes, TALKER)
    axes.text(0.25, 0.06, "r", fontsize=10, color="0.3", ha="center")
    axes.text(-0.33, 0.33, "side", fontsize=9, color="0.5", ha="center", rotation=45)
    for m, (place, below) in enumerate(zip(places, ((0.14, -0.1), (-0.15, 0.06), (-0.1, -0.13), (0.16, -0.04)))):
        axes.plot(*place, "o", color="black", markersize=9)
        axes.text(*(place + below), f"m{m}", ha="center", va="center", fontsize=10)


def angles():
    page = plots.figure(10, 5)
    left, right = page.subplots(1, 2)
    line(left)
    square(right)
    return page
