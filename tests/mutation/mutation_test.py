#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The mutation sampler makes the mutants that its rules promise, the same ones for the same seed."""
from __future__ import annotations

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
sys.path.insert(0, str(HERE))
sys.dont_write_bytecode = True

import mutants  # noqa: E402
import rules  # noqa: E402
import scan  # noqa: E402
from workshop import Test, Workshop  # noqa: E402


def texts(rule: rules.Rule, code: str) -> list[str]:
    """What a rule makes of a text, with the change applied."""
    return [code[: c.start] + c.text + code[c.end :] for c in rule(code)]


class Rules(unittest.TestCase):
    def expect(self, rule: rules.Rule, code: str, *wanted: str) -> None:
        self.assertEqual(sorted(texts(rule, code)), sorted(wanted))

    def test_constants(self) -> None:
        self.expect(rules.constant, "x = 8;", "x = 9;", "x = 7;")
        self.expect(rules.constant, "x = 0;", "x = 1;")
        self.expect(rules.constant, "x = 1.0f;", "x = 0x1.0000020000000p+0f;", "x = 0x1.0000000000000p+1f;")
        self.expect(rules.constant, "x = 0.5;", "x = 0x1.0000000000001p-1;", "x = 0x1.0000000000000p+0;")
        self.expect(rules.constant, "return true;", "return false;")
        self.expect(rules.constant, "f32x4 v2 = _mm_f64(a.v3);")

    def test_operators(self) -> None:
        self.expect(rules.arithmetic, "a + b * c", "a - b * c", "a + b / c")
        self.expect(rules.arithmetic, "f(-a)", "f(a)")
        self.expect(rules.arithmetic, "Complex* p, V& v, Pairs<V> w")
        self.expect(rules.strictness, "a < b && c == d", "a <= b && c == d", "a < b && c != d")
        self.expect(rules.strictness, "template <class V> V load<V>(x)")
        self.expect(rules.logic, "if (a && !b) return;", "if (a || !b) return;", "if (a && b) return;",
                    "if (!(a && !b)) return;")  # fmt: skip

    def test_bounds(self) -> None:
        self.expect(rules.bound, "for (int i = 0; i < n; ++i) {}", "for (int i = (0) + 1; i < n; ++i) {}",
                    "for (int i = 0; i < (n) - 1; ++i) {}", "for (int i = 0; i < (n) + 1; ++i) {}")  # fmt: skip

    def test_roundings(self) -> None:
        self.expect(rules.rounding, "static_cast<float>(a * b)", "(a * b)",
                    "(static_cast<float>(a) * static_cast<float>(b))")  # fmt: skip
        self.expect(rules.rounding, "x = a + b * c + d;", "x = a + (b * c + d);")
        self.expect(rules.rounding, "x = (a * b) * c;", "x = (a * (b * c));")
        self.expect(rules.rounding, "x = a * (b * c);", "x = a * b * c;")
        self.expect(rules.rounding, "x = a - (b + c);")

    def test_lanes(self) -> None:
        self.expect(rules.lane, "a.re * b.im", "a.im * b.im", "a.re * b.re")
        self.expect(rules.lane, "select(greater(a, b), c, d)", "select(greater_equal(a, b), c, d)",
                    "select(greater(a, b), d, c)")  # fmt: skip
        self.expect(rules.lane, "_mm_add_ps(a, b)", "_mm_sub_ps(a, b)", "_mm_mul_ps(a, b)")

    def test_what_is_hidden(self) -> None:
        code = scan.masked('// 1 + 2\nputs("3 + 4");\n#define A (5 + 6)\nstatic_assert(7 < 8);\n/* 9\n10 */ x = 11;\n')
        self.assertEqual(len(code.split("\n")), 7)
        for rule in rules.RULES:
            for text in texts(rule, code):
                self.assertIn("x = 1", text)
        self.assertEqual(len(texts(rules.constant, code)), 2)


class Draw(unittest.TestCase):
    SOURCE = "int f(int a, int b) {\n  if (a < 3) return a + 5;\n  return b * 7 + 9;\n}\n"

    def draw(self, seed: int) -> list[str]:
        made = mutants.in_text("src/base/f.h", "base", self.SOURCE, scan.masked(self.SOURCE))
        return [mutant.id for mutant in mutants.order(made, seed, "base")]

    def test_the_seed_fixes_the_draw(self) -> None:
        self.assertEqual(self.draw(1), self.draw(1))
        self.assertNotEqual(self.draw(1), self.draw(2))
        self.assertEqual(sorted(self.draw(1)), sorted(self.draw(2)))

    def test_the_rules_take_turns(self) -> None:
        first = [identity.split(":")[3] for identity in self.draw(1)[:4]]
        self.assertEqual(first, ["constant", "arithmetic", "strictness", "logic"])

    def test_a_mutant_is_shown(self) -> None:
        made = mutants.in_text("src/base/f.h", "base", self.SOURCE, scan.masked(self.SOURCE))
        found = [mutant for mutant in made if mutant.id == "src/base/f.h:2:9:strictness:0"]
        self.assertEqual(found[0].shown(self.SOURCE), "- if (a < 3) return a + 5;\n+ if (a <= 3) return a + 5;")


class Tree(unittest.TestCase):
    def test_only_compiled_lines_are_touched(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            source = "#if defined(VEKBF_OTHER)\nint a = 1;\n#else\nint b = 2;\n#endif\n"
            (Path(folder) / "f.h").write_text(source, encoding="utf-8")
            self.assertEqual(scan.compiled_lines("g++", Path(folder), "f.h", []), {4})
            self.assertEqual(scan.compiled_lines("g++", Path(folder), "f.h", ["-DVEKBF_OTHER"]), {2})

    def test_every_module_has_mutants(self) -> None:
        wanted = [module for module in mutants.MODULES if module != mutants.NEON]
        found = mutants.of_tree(ROOT, wanted)
        self.assertEqual(len({mutant.id for mutant in found}), len(found))
        for module in wanted:
            self.assertGreaterEqual(sum(mutant.module == module for mutant in found), 20, module)

    def test_a_known_mutant_of_the_tree(self) -> None:
        found = mutants.of_tree(ROOT, ["base"])
        path = "src/base/saturate.h"
        source = (ROOT / path).read_text(encoding="utf-8")
        line = "if (value > 2147483647.0) return INT32_MAX;"
        self.assertEqual(sum(line in mutant.applied(source) for mutant in found if mutant.path == path), 1)


class Verdicts(unittest.TestCase):
    def verdict(self, *command: str) -> str:
        shop = Workshop.__new__(Workshop)
        shop.build = HERE
        return shop._run(Test("t", "unit", "t", command, ("A=1",)), 0.5)

    def test_verdicts(self) -> None:
        self.assertEqual(self.verdict("true"), "passed")
        self.assertEqual(self.verdict("false"), "failed")
        self.assertEqual(self.verdict("sleep", "60"), "hang")
        self.assertEqual(self.verdict("sh", "-c", "kill -SEGV $$"), "failed")
        self.assertEqual(self.verdict("sh", "-c", "test $A = 1"), "passed")


class Command(unittest.TestCase):
    def run_it(self, *words: str) -> subprocess.CompletedProcess[str]:
        command = [sys.executable, "-B", str(ROOT / "scripts" / "mutate"), *words]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def test_bad_arguments_are_refused(self) -> None:
        for words in (["--module", "nothing"], ["--seed", "x"], ["--commit", "no-such-commit"]):
            result = self.run_it(*words)
            self.assertEqual(result.returncode, 2, words)
            self.assertTrue(result.stderr.strip(), words)


if __name__ == "__main__":
    unittest.main()
