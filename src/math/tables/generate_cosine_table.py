#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Prints src/math/cosine_table.h: sines of a quarter turn and 2 pi / 256 as sums of doubles, and the bits of 1 / (2 pi)."""

import sys

from mpmath import floor, frexp, ldexp, mp, mpf, nint, pi, sinpi

mp.prec = 500
QUARTER = 64  # directions
SHORT_BITS = 22
TURN_WORDS = 9

HEADER = """\
// SPDX-License-Identifier: MIT
//
// Made by src/math/tables/generate_cosine_table.py; do not edit.
#pragma once

#include <cstdint>

namespace vekbf {

// A number as the unevaluated sum of two doubles.
struct DoubleDouble {
  double high;
  double low;
};
"""


def rounded(value, bits):
    mantissa, exponent = frexp(value)
    return float(ldexp(nint(ldexp(mantissa, bits)), exponent - bits))


def main():
    lines = [HEADER]
    lines += ["// 2 pi / 256 is the sum of these; the first three have 22 bits.", "inline constexpr double kDirectionStep[4] = {"]
    rest = 2 * pi / (4 * QUARTER)
    for bits in (SHORT_BITS, SHORT_BITS, SHORT_BITS, 53):
        part = rounded(rest, bits)
        rest -= mpf(part)
        lines.append(f"    {part.hex()},")
    lines += ["};", "", f"inline constexpr int kQuarterTurn = {QUARTER};", "", "// sin of 2 pi q / 256."]
    lines.append("alignas(64) inline constexpr DoubleDouble kQuarterSines[kQuarterTurn + 1] = {")
    for q in range(QUARTER + 1):
        sine = sinpi(mpf(q) / (2 * QUARTER))
        high = float(sine)
        lines.append(f"    {{{high.hex()}, {float(sine - mpf(high)).hex()}}},")
    lines += ["};", "", "// 1 / (2 pi) in binary: 32 bits before the point, the others behind it."]
    lines.append(f"inline constexpr uint32_t kTurnsPerRadian[{TURN_WORDS}] = {{")
    rest = 1 / (2 * pi)
    words = []
    for _ in range(TURN_WORDS):
        word = int(floor(rest))
        words.append(f"0x{word:08x},")
        rest = (rest - word) * 2**32
    lines += ["    " + " ".join(words[:5]), "    " + " ".join(words[5:])]
    lines += ["};", "", "}  // namespace vekbf"]
    sys.stdout.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
