#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Prints the FNV-1a digest of the correctly rounded cosines of whole degrees, for tests/unit/cosine_test.cpp.

    generate_cosine_digest.py [LAST]

A degree becomes a double of radians as steering makes it; the cosine of that double is rounded once, from 200 bits.
"""
import struct
import sys

from mpmath import cos, mp, mpf

mp.prec = 200
RADIANS_PER_DEGREE = 0.017453292519943295


def main():
    last = int(sys.argv[1]) if len(sys.argv) > 1 else 200000
    digest = 0xCBF29CE484222325
    for degrees in range(last + 1):
        for byte in struct.pack("<d", float(cos(mpf(degrees * RADIANS_PER_DEGREE)))):
            digest = (digest ^ byte) * 0x100000001B3 % 2**64
    print(f"{digest:#018x}")


if __name__ == "__main__":
    main()
