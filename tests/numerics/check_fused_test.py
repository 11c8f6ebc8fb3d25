#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What check_fused.py makes of machines and files: a stand-in for objdump prints the line-up."""
import os
import subprocess
import sys
import tempfile
import unittest

CHECKER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "check_fused.py")
PRODUCTS = "".join(f"  {at:x}:\tmulps  %xmm1,%xmm0\n" for at in range(60))
FUSED = "  99:\tvfmadd213ss %xmm0,%xmm1,%xmm2\n"


def look(wanted, listing):
    with tempfile.TemporaryDirectory() as folder:
        stand_in = os.path.join(folder, "objdump")
        with open(stand_in, "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\ncat <<'END'\n" + listing + "END\n")
        os.chmod(stand_in, 0o755)
        result = subprocess.run([sys.executable, "-B", CHECKER, stand_in, wanted, "library"], capture_output=True,
                                text=True, check=False)  # fmt: skip
        return result.returncode, result.stdout


class Search(unittest.TestCase):
    def test_a_machine_that_is_not_known_is_not_checked(self):
        for name in ("elf64-alpha", "elf32-sh-linux"):
            code, output = look("none", f"a.o:     file format {name}\n\n  0:\tfmadd f1,f2,f3,f4\n")
            self.assertEqual(code, 77, output)
            self.assertIn(f"not checked: the fused instructions of {name} are not listed", output)

    def test_a_fused_instruction_of_a_known_machine_is_found(self):
        for name in ("elf64-x86-64", "elf32-i386"):
            head = f"a.o:     file format {name}\n\n"
            self.assertEqual(look("none", head + PRODUCTS)[0], 0)
            self.assertEqual(look("some", head + PRODUCTS)[0], 1)
            self.assertEqual(look("none", head + PRODUCTS + FUSED)[0], 1)
            self.assertEqual(look("some", head + PRODUCTS + FUSED)[0], 0)

    def test_the_relaxed_vectors_of_webassembly_are_found(self):
        module = "a.wasm:\tfile format wasm\n\n" + "      1e:      \tf32x4.mul \n" * 60
        self.assertEqual(look("none", module)[0], 0)
        for name in ("f32x4.fma", "f64x2.fms", "i32x4.relaxed_trunc_f32x4_s", "i8x16.laneselect"):
            self.assertEqual(look("none", f"{module}      20:      \t{name} \n")[0], 1, name)

    def test_next_to_no_code_fails(self):
        self.assertEqual(look("none", "a.o:     file format elf64-x86-64\n")[0], 1)


if __name__ == "__main__":
    unittest.main()
