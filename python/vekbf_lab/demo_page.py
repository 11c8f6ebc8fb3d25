# SPDX-License-Identifier: MIT
"""The demonstration on one page: where everybody stood, what was heard, and what the beams made of it."""

import textwrap

import numpy as np

from . import plots


def plan(axes, array, talkers):
    """The array and the direction of each of {name: degrees}, seen from above; only the array's shape is to scale."""
    positions = np.asarray(array.positions)
    middle = positions.mean(axis=0)
    shown = (positions - middle) * 0.6 / np.ptp(positions, axis=0).max()
    axes.axhline(0, color="0.85", linewidth=1, zorder=0)
    axes.plot(shown[:, 0], shown[:, 1], "o", color="black", markersize=7)
    for m, (x, y) in enumerate(shown):
        axes.annotate(f"m{m}", (x, y), xytext=(0, -15), textcoords="offset points", ha="center", fontsize=9)
    for n, (name, angle) in enumerate(talkers.items()):
        towards = np.array([np.cos(np.radians(angle)), np.sin(np.radians(angle))])
        arrow = {"arrowstyle": "->", "color": f"C{n}", "lw": 2}
        axes.annotate("", 0.25 * towards, xytext=0.95 * towards, arrowprops=arrow)
        axes.plot(*(1.02 * towards), "s", color=f"C{n}", markersize=9)
        axes.annotate(
            f"{name}, {angle}°", 1.02 * towards, xytext=(0, 10), textcoords="offset points", ha="center", fontsize=9
        )
    for angle, words in ((0, "0°"), (180, "180°")):
        axes.annotate(words, (1.3 * np.cos(np.radians(angle)), 0.03), ha="center", fontsize=9, color="0.4")
    axes.set_xlim(-1.5, 1.5)
    axes.set_ylim(-0.3, 1.35)
    axes.set_aspect("equal")
    axes.axis("off")
    spacing = np.linalg.norm(positions[1] - positions[0])
    axes.set_title(f"Seen from above ({len(positions)} microphones, {100 * spacing:.0f} cm apart)", fontsize=10, pad=14)


def front(array, talkers, pattern, signals, rate):
    """The README's picture: the array, its beam, and the signals of {title: signal}."""
    drawn = plots.figure(10.5, 5.4)
    left, right = drawn.subfigures(1, 2, width_ratios=(1, 1.7))
    plan_part, pattern_part = left.subfigures(2, 1)
    plan(plan_part.add_subplot(), array, talkers)
    plots.beam_polar(pattern_part.add_subplot(projection="polar"), pattern, centres=(500, 1000, 2000))
    plots.spectrograms(right.subplots(len(signals), 1, sharex=True), signals, rate)[-1].set_xlabel("time (s)")
    return drawn


def figures(axes, rows):
    """Signal-to-distortion ratio and what is left in the pauses."""
    where = np.arange(len(rows))
    columns = ([row.si_sdr for row in rows], [row.pause_power for row in rows])
    words = ("SI-SDR (dB), more is better", "left in the pauses (dBFS), less is better")
    for n, (place, values, label) in enumerate(zip(axes, columns, words)):
        place.plot(values, where, "o", color=f"C{n}", markersize=9)
        for y, value in zip(where, values):
            beside = {"xytext": (8, 0), "textcoords": "offset points"}
            place.annotate(f"{value:.1f}", (value, y), **beside, va="center", fontsize=9)
        place.set_xlabel(label)
        place.set_yticks(where, [row.name for row in rows])
        place.set_ylim(len(rows) - 0.5, -0.5)
        place.margins(x=0.2)
        place.grid(alpha=0.3)
        place.spines[["top", "right"]].set_visible(False)


def page(array, talkers, rows, signals, rate, text):
    """The figure. `signals` is {title: signal}, the bare microphone first; `text` says what the figures say."""
    drawn = plots.figure(11, 15.5)
    drawn.suptitle("What both beamformers do to a talker in company", fontsize=14)
    top, below = drawn.subfigures(2, 1, height_ratios=(2.6, 2.3 * len(signals) + 2.6))
    grid = top.add_gridspec(2, 2)
    plan(top.add_subplot(grid[:, 0]), array, talkers)
    figures([top.add_subplot(grid[0, 1]), top.add_subplot(grid[1, 1])], rows)
    places = below.subplots(len(signals) + 1, 1, sharex=True)
    plots.spectrograms(places[:-1], signals, rate)
    # All but the talker alone, who would cover the others.
    plots.levels(places[-1], dict(list(signals.items())[:-1]), rate)
    lines = [part for line in text.splitlines() for part in textwrap.wrap(line, 120)]
    below.supxlabel("\n".join(lines), fontsize=10)
    return drawn
