#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Prints tests/support/hard_cases.h: where a function, as a double, lies next to the middle between two floats.

The arguments were found by walking every float of the kernels' domains: those whose cosine or sine comes within 40 units in
the last place of a double to such a middle, and whose logarithm within 12. Anywhere else a mathematics library that is
good to a few units gives the same floats as any other. What is expected here owes nothing to a library: the function
to 200 bits, rounded to a double, and that rounded to a float, ties to even. The doubles of glibc 2.36 are good to 0.55
units, so that only a distance below that leaves room: there the rounded double is what glibc 2.36 gives.
"""

import struct
import sys

from mpmath import cos, floor, frexp, ldexp, log, mp, mpf, nint, sin

mp.prec = 200

ARGUMENTS = {
    "Cos": """
    0x1p-12 0x1.1e377ap-11 0x1.a8872ap-11 0x1.83fac2p-9 0x1.869c24p-9 0x1.d3065ep-9 0x1.20ffccp-7
    0x1.f9f7fep-6 0x1.b141d4p-5 0x1.589f8p-4 0x1.a45414p-4 0x1.1c8332p-3 0x1.bf4e1cp-3 0x1.41cddep-2
    0x1.ec680ap-2 0x1.fd825cp-2 0x1.440c3ap-1 0x1.0c4d4ap+0 0x1.544ce4p+0 0x1.b6781cp+0 0x1.21497ep+1
    0x1.4b3ef8p+1 0x1.f3c748p+3 0x1.2b7fcp+5 0x1.6f1b7p+5 0x1.8f219cp+5 0x1.2e2296p+6 0x1.534a2ap+8
    0x1.ea8098p+9 0x1.016652p+11 0x1.ef4daap+11 0x1.ce6bf4p+13
""",
    "Sin": """
    0x1.d12edp-12 0x1.d12ed2p-12 0x1.250bfep-11 0x1.a6a58ep-11 0x1.0a403p-10 0x1.61246ep-10 0x1.dcfea2p-9
    0x1.e57bf6p-8 0x1.404b8cp-6 0x1.0ca1d4p-5 0x1.9eab2ep-4 0x1.c4dfap-4 0x1.e64002p-2 0x1.e7061ep-2
    0x1.41f49cp+0 0x1.3e42p+1 0x1.ce1026p+2 0x1.a88a5p+6 0x1.baf404p+7 0x1.e35bc6p+7 0x1.ed68fp+7 0x1.09e25p+8
    0x1.2ee95ep+8 0x1.89093ep+10 0x1.0fd748p+11 0x1.515766p+12 0x1.8c22dap+12 0x1.c716dcp+12 0x1.0b638ep+13
    0x1.33333p+13
""",
    "Log": """
    0x1.8aa6f2p+0 0x1.a6c9aep+0 0x1.a09964p+1 0x1.addc8ap+1 0x1.2f1fd6p+3 0x1.c7655ep+4
""",
}

HEADER = """\
// SPDX-License-Identifier: MIT
//
// Made by tests/support/generate_hard_cases.py, which says what they are; do not edit.
#pragma once

namespace vekbf::test {

struct HardCase {
  float argument;
  float expected;
  double distance;  // of the function from the middle between two floats, in units of the double
};
"""


def rounded(value, bits):
    """To so many bits, ties to even (mpmath's nint)."""
    exponent = frexp(value)[1]
    return ldexp(nint(ldexp(value, bits - exponent)), exponent - bits)


def distance(value):
    """From the nearest middle between two floats, in units of the last of 53 bits."""
    scaled = ldexp(value, 24 - frexp(value)[1])
    return ldexp(scaled - floor(scaled) - mpf(1) / 2, 53 - 24)


def float_hex(value):
    narrowed = struct.unpack("f", struct.pack("f", float(value)))[0]
    assert mpf(narrowed) == value
    return narrowed.hex() + "f"


def main():
    lines = [HEADER]
    functions = {"Cos": cos, "Sin": sin, "Log": log}
    for name, arguments in ARGUMENTS.items():
        lines.append(f"inline constexpr HardCase kHard{name}[] = {{")
        for text in arguments.split():
            argument = mpf(float.fromhex(text))
            value = functions[name](argument)
            expected = rounded(rounded(value, 53), 24)
            lines.append(f"    {{{float_hex(argument)}, {float_hex(expected)}, {float(distance(value)):.2f}}},")
        lines.append("};")
    lines += ["", "}  // namespace vekbf::test"]
    sys.stdout.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
