#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Prints src/math/gain_table.h: the oscillating factor of the amplitude gain, cell by cell.

A(v) = exp(-v/2) (v J1(v/2) + (v + 1) J0(v/2)) on v = i + t, |t| <= 1/2, i = 0..200, scaled by a power
of two to a size of about one and interpolated at Chebyshev nodes by a polynomial of degree 8 in t.
Its coefficients 0 to 5 are doubles; 6 to 8, whose share is below 1e-5, are floats and evaluated in
single precision. The margin bounds, in every cell, everything that separates the kernel of
amplitude_gain.h from the value of the library functions.
"""

import struct
import sys

from mpmath import besselj, cos, exp, log, mp, mpf, pi

mp.prec = 200
CELLS = 201
DEGREE = 8
DOUBLES = 6
BIAS = 23  # keeps the float powers and their products with the SNR within range
HALF = mpf(1) / 2
SINGLE = mpf(2) ** -24  # half a unit in the last place, relative
DOUBLE = mpf(2) ** -53

HEADER = """\
// SPDX-License-Identifier: MIT
//
// Made by src/math/tables/generate_gain_table.py; do not edit.
// clang-format off
#pragma once

namespace vekbf {

struct alignas(64) GainCell {
  double head[6];  // coefficients 0 to 5
  float tail[3];   // coefficients 6 to 8
  float power;     // what the cell is scaled by, divided by 2^kGainBias
};

inline constexpr int kGainCells = 201;

// A cell for each value of 8 bits of v, so that no v, and no rounding mode, reads beyond the table:
// those beyond kGainCells are zero.
inline constexpr int kGainTableSize = 256;
"""


def parts(v):
    decay = exp(-v / 2)
    return decay * besselj(0, v / 2), decay * besselj(1, v / 2)


def factor(v):
    g0, g1 = parts(v)
    return v * g1 + (v + 1) * g0


def to_single(x):
    return struct.unpack("f", struct.pack("f", float(x)))[0]


def short(x):
    """A single-precision number without the zeros that its double has."""
    digits, exponent = x.hex().split("p")
    return digits.rstrip("0").rstrip(".") + "p" + exponent + "f"


def monomials(centre):
    """Interpolates at the Chebyshev nodes; returns the coefficients of 1, t, t^2, ..."""
    count = DEGREE + 1
    nodes = [HALF * cos(pi * (2 * j + 1) / (2 * count)) for j in range(count)]
    matrix = mp.matrix(count, count)
    values = mp.matrix(count, 1)
    for row, t in enumerate(nodes):
        for column in range(count):
            matrix[row, column] = t**column
        values[row] = factor(centre + t)
    return list(mp.lu_solve(matrix, values))


def cell(i):
    exact = monomials(mpf(i))
    fit = share = size = mpf(0)
    samples = 96
    points = [mpf(j) / samples - HALF for j in range(samples + 1)]
    for t in points:
        g0, g1 = parts(i + t)
        size = max(size, abs((i + t) * g1) + abs((i + t + 1) * g0))
    shift = -int(mp.nint(log(size, 2)))
    power = mpf(2) ** shift
    head = [float(c * power) for c in exact[:DOUBLES]]
    tail = [to_single(c * power) for c in exact[DOUBLES:]]
    for t in points:
        head_value = sum(mpf(c) * t**k for k, c in enumerate(head))
        tail_value = sum(mpf(c) * t ** (DOUBLES + k) for k, c in enumerate(tail))
        fit = max(fit, abs(head_value + tail_value - factor(i + t) * power))
        share = max(share, sum(abs(c) * abs(t) ** (DOUBLES + k) for k, c in enumerate(tail)))
    margin = (
        # Between the samples the error curve rises by less than a tenth.
        fit * mpf("1.1")
        # Two roundings of the tail, in single precision; it takes t without the shift below.
        + 4 * SINGLE * share
        # Terms of second order of that shift, and the roundings of its coefficients.
        + 64 * SINGLE**2 * size * power
        # Double precision: head, scale, product; and the library functions' own errors.
        + 40 * DOUBLE * size * power
    )
    return head, tail, 2.0 ** (shift - BIAS), margin


def main():
    cells = [cell(i) for i in range(CELLS)]
    margin = max(margin for _, _, _, margin in cells)
    lines = [HEADER]
    lines.append("inline constexpr int kGainBias = %d;" % BIAS)
    lines.append("inline constexpr double kGainMargin = %s;" % float(margin * mpf("1.01")).hex())
    lines.append("")
    lines.append("inline constexpr GainCell kGainTable[kGainTableSize] = {")
    for head, tail, power, _ in cells:
        lines.append("    {{%s}," % ", ".join(c.hex() for c in head))
        lines.append("     {%s}, %sf}," % (", ".join(short(c) for c in tail), short(power)[:-1]))
    lines += ["};", "", "}  // namespace vekbf"]
    sys.stdout.write("\n".join(lines) + "\n")
    if "--margins" in sys.argv:
        for i, (_, _, power, margin) in enumerate(cells):
            print(i, power, float(margin), file=sys.stderr)


if __name__ == "__main__":
    main()
