#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""check_tree.py passes on a clean tree and finds a violation of each rule that is planted there."""
import os
import subprocess
import sys
import tempfile
import unittest

CHECKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "check_tree.py")
DRAWING = "docs/pictures/rooms.svg"
DRAWN = """stream direction, stream api, direction fft, direction noise, api bf, bf fft, bf noise, fft math, noise math,
    math simd, simd base"""


def picture(arrows):
    paths = ['<path data-from="%s" data-to="%s"/>' % tuple(arrow.split()) for arrow in arrows.split(",")]
    return f"<svg>{''.join(paths)}</svg>"


CLEAN = {
    "src/stream/open.cpp": '#include "api/run.h"\n#include "direction/find.h"\n#include "vek_stream.h"\n',
    "src/direction/find.h": '#include "fft/fft.h"\n#include "vek_direction.h"\n',
    "src/api/run.h": '#include "bf/beam.h"\n',
    "src/bf/beam.h": '#include "fft/fft.h"\n#include "vek_bf.h"\n#include <cmath>\n',
    "src/fft/fft.h": '#include "base/sizes.h"\n',
    "src/base/sizes.h": "",
    "tests/reference/model.h": '#include "base/sizes.h"\n#include "vek_bf.h"\n',
    DRAWING: picture(DRAWN),
}


def run(tree):
    with tempfile.TemporaryDirectory() as root:
        for path, text in tree.items():
            os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
            with open(os.path.join(root, path), "w", encoding="utf-8") as file:
                file.write(text)
        command = [sys.executable, "-B", CHECKER, root]
        result = subprocess.run(command, capture_output=True, text=True, check=False)
        return result.returncode, result.stdout + result.stderr


class Checks(unittest.TestCase):
    def test_a_clean_tree_passes(self):
        self.assertEqual(run(CLEAN)[0], 0, run(CLEAN)[1])

    def test_an_empty_tree_fails(self):
        self.assertEqual(run({"README.md": ""})[0], 1)

    def test_violations_are_found(self):
        for path, text in (
            ("src/fft/fft.h", '#  include "bf/beam.h"\n'),
            ("src/fft/fft.h", '#include "../bf/beam.h"\n'),
            ("src/direction/find.h", '#include "bf/beam.h"\n'),
            ("src/api/run.h", '#include "direction/find.h"\n'),
            ("src/stream/open.cpp", '#include "bf/beam.h"\n'),
            ("src/stray.h", ""),
            ("tests/reference/model.h", '#include "fft/factor.h"\n'),
            (DRAWING, picture(DRAWN + ", fft noise")),
            (DRAWING, picture(DRAWN.replace("direction noise, ", ""))),
        ):
            code, output = run({**CLEAN, path: text})
            self.assertEqual(code, 1, output)
            self.assertIn(path, output)


if __name__ == "__main__":
    unittest.main()
