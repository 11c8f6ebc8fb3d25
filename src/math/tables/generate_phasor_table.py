#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Prints src/math/phasor_table.h: cos and -sin of 2 pi q / 256, rounded once from 200 bits."""

import sys

from mpmath import mp, mpf, cospi, sinpi

mp.prec = 200
ENTRIES = 256

HEADER = """\
// SPDX-License-Identifier: MIT
//
// Made by src/math/tables/generate_phasor_table.py; do not edit.
#pragma once

namespace vekbf {

inline constexpr int kPhasorTableSize = 256;

// cos and -sin of 2 pi q / 256.
alignas(64) inline constexpr double kPhasorTable[kPhasorTableSize][2] = {"""


def main():
    lines = [HEADER]
    for q in range(ENTRIES):
        angle = mpf(2 * q) / ENTRIES
        cosine, sine = float(cospi(angle)).hex(), float(-sinpi(angle)).hex()
        lines.append(f"    {{{cosine}, {sine}}},")
    lines += ["};", "", "}  // namespace vekbf"]
    sys.stdout.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
