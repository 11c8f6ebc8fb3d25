#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Each check of the tree passes on a clean tree and finds a violation that is planted there."""
import os
import subprocess
import sys
import tempfile
import unittest

CHECKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "check_tree.py")
SPDX = "// SPDX-License-Identifier: MIT\n"
CLEAN = {
    "src/api/run.cpp": SPDX + '#include "api/instance.h"\n#include "bf/beam.h"\n#include <cstdint>\n',
    "src/api/instance.h": SPDX + '#include "base/sizes.h"\n#include "vek_bf.h"\n',
    "src/bf/beam.h": SPDX + '#include "api/instance.h"\n#include "fft/fft.h"\n',
    "src/bf/sidelobe_canceller.cpp": SPDX + "float f(float d) { return reciprocal_two_step(d); }\n",
    "src/fft/fft.h": SPDX + '#include "simd/lanes.h"\n',
    "src/noise/vad.h": SPDX + '#include "math/log.h"\n',
    "src/simd/lanes.h": SPDX + '#include "math/log.h"\n#include <emmintrin.h>\n',
    "src/math/log.h": SPDX + '#include "base/sizes.h"\n#include <cmath>\n',
    "src/base/sizes.h": SPDX,
    "tests/reference/model.h": SPDX + '#include "api/instance.h"\n#include "vek_bf.h"\n',
    "tests/reference/vad.cpp": SPDX + '#include "reference/model.h"\n#include <cmath>\n',
    "scripts/run": "#!/bin/sh\n# SPDX-License-Identifier: MIT\n",
    "README.md": "no licence line needed\n",
}


def run(check, tree):
    with tempfile.TemporaryDirectory() as root:
        for path, text in tree.items():
            os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
            with open(os.path.join(root, path), "w", encoding="utf-8") as file:
                file.write(text)
        result = subprocess.run([sys.executable, "-B", CHECKER, check, root], capture_output=True, text=True, check=False)
        return result.returncode, result.stdout + result.stderr


class Checks(unittest.TestCase):
    ALL = ("arrows", "circles", "system_headers", "model", "licence", "length", "reciprocal_callers")

    def test_a_clean_tree_passes(self):
        for check in self.ALL:
            self.assertEqual(run(check, CLEAN)[0], 0, (check, run(check, CLEAN)[1]))

    def test_an_empty_tree_fails(self):
        for check in self.ALL:
            self.assertEqual(run(check, {"README.md": ""})[0], 1, check)

    def finds(self, check, path, text, word):
        code, output = run(check, {**CLEAN, path: text})
        self.assertEqual(code, 1, output)
        self.assertIn(path, output)
        self.assertIn(word, output)

    def test_arrows_that_point_up_or_aside(self):
        for path, name in (
            ("src/base/sizes.h", "math/log.h"), ("src/math/log.h", "fft/fft.h"), ("src/simd/lanes.h", "noise/vad.h"),
            ("src/fft/fft.h", "noise/vad.h"), ("src/noise/vad.h", "fft/fft.h"), ("src/fft/fft.h", "bf/beam.h"),
            ("src/fft/fft.h", "api/instance.h"), ("src/noise/vad.h", "api/instance.h"), ("src/bf/beam.h", "api/run.h"),
        ):
            tree_file = SPDX + f'#  include "{name}"\n'
            self.finds("arrows", path, tree_file, name)

    def test_the_instance_record_includes_no_module(self):
        for name in ("fft/fft.h", "noise/vad.h", "bf/beam.h", "api/run.h", "simd/lanes.h"):
            self.finds("arrows", "src/api/instance.h", SPDX + f'#include "{name}"\n', name)

    def test_a_file_outside_the_folders(self):
        self.finds("arrows", "src/stray.h", SPDX, "folder")
        self.finds("arrows", "src/extra/stray.h", SPDX, "folder")

    def test_detours_around_the_arrows(self):
        self.finds("arrows", "src/fft/fft.h", SPDX + '#include "../api/run.cpp"\n', "../api")
        self.finds("arrows", "src/fft/fft.h", SPDX + '#include "fft/../api/instance.h"\n', "fft/..")

    def test_circles(self):
        self.finds("circles", "src/math/log.h", SPDX + '#include "simd/lanes.h"\n', "circle")

    def test_heavy_system_headers(self):
        for name in ("vector", "iostream", "string", "thread", "fftw3.h", "sys/mman.h"):
            self.finds("system_headers", "src/fft/fft.h", SPDX + f"#include <{name}>\n", name)

    def test_the_model_and_the_code_under_test(self):
        for name in ("simd/lanes.h", "math/log.h", "bf/beam.h", "base/saturate.h", "fft/butterfly.h"):
            self.finds("model", "tests/reference/vad.cpp", SPDX + f'#include "{name}"\n', name)

    def test_missing_licences(self):
        self.finds("licence", "src/fft/fft.h", "#pragma once\n", "SPDX")
        self.finds("licence", "tools/x.py", "#!/usr/bin/env python3\n\n# SPDX-License-Identifier: MIT\n", "SPDX")
        self.finds("licence", "scripts/run", "#!/bin/sh\n", "SPDX")
        self.finds("licence", "tests/empty.cpp", "", "SPDX")
        self.finds("licence", "src/fft/fft.h", "// SPDX-License-Identifier: GPL-3.0\n", "SPDX")

    def test_long_files(self):
        self.assertEqual(run("length", {**CLEAN, "src/fft/fft.h": "\n" * 500})[0], 0)
        self.finds("length", "src/fft/fft.h", "\n" * 501, "501")

    def test_only_tables_made_by_a_program_in_the_tree_may_be_long(self):
        made = SPDX + "//\n// Made by tools/table.py; do not edit.\n" + "\n" * 600
        self.finds("length", "src/math/table.h", made, "603")
        self.assertEqual(run("length", {**CLEAN, "src/math/table.h": made, "tools/table.py": ""})[0], 0)

    def test_callers_of_the_reciprocal(self):
        self.finds("reciprocal_callers", "src/fft/fft.h", SPDX + "float x = vekbf::reciprocal_two_step(d);\n", "proof")


if __name__ == "__main__":
    unittest.main()
