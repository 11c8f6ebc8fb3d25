#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Prints src/math/log_table.h: reciprocals and logarithms for log_rounded.h.

Entry j belongs to the floats m, 0x3f330000 + j 2^16 <= bits(m) < 0x3f330000 + (j + 1) 2^16, so 0.7
to 1.4. The reciprocal is that of the cell's middle, cut to 20 fractional bits, so that its product
with a float is exact in double precision; the logarithm is that of the reciprocal that stands
there. In the two cells beside 1 the reciprocal is 1 and the logarithm 0, which keeps the relative
precision of small results.
"""

import struct
import sys

from mpmath import log, mp, mpf

mp.prec = 200
ENTRIES = 128
FIRST = 0x3F330000

HEADER = """\
// SPDX-License-Identifier: MIT
//
// Made by src/math/tables/generate_log_table.py; do not edit.
#pragma once

#include <cstdint>

namespace vekbf {

inline constexpr int32_t kLogTableFirst = 0x3f330000;  // bits of the smallest reduced float
inline constexpr int kLogTableSize = 128;

// The reciprocal of a cell's middle, and minus its logarithm.
alignas(64) inline constexpr double kLogTable[kLogTableSize][2] = {"""


def from_bits(bits):
    return struct.unpack("f", struct.pack("I", bits))[0]


def main():
    lines = [HEADER]
    for j in range(ENTRIES):
        low, high = (mpf(from_bits(FIRST + (j + side) * 0x10000)) for side in (0, 1))
        if low <= 1 <= high:
            inverse = mpf(1)
        else:
            inverse = mp.nint(2 / (low + high) * 2**20) / 2**20
        lines.append("    {%s, %s}," % (float(inverse).hex(), float(-log(inverse)).hex()))
    lines += ["};", "", "}  // namespace vekbf"]
    sys.stdout.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
