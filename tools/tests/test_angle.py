# SPDX-License-Identifier: MIT
"""`vekbf angle`: what it says to PipeWire and writes into an angle file. A real PipeWire is in tests/plugins."""

import os
import shutil
import subprocess
import unittest

from support import TOOL, ToolTest

# Stands in for pw-cli: lists one node, and notes what it is told.
PW_CLI = """#!/bin/sh
case $1 in
  ls) echo '  node.name = "vekbf.microphones"' ;;
  *) printf '%s\\n' "$@" >>"$NOTES"; [ -z "$FAULT" ] || { echo "Error: $FAULT"; exit 0; } ;;
esac
"""


class AngleTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.notes = str(self.folder / "notes")
        self.file = str(self.folder / "angle")
        folder = str(self.folder / "bin")
        os.mkdir(folder)
        self.with_node = {"PATH": f"{folder}:{os.environ['PATH']}", "NOTES": self.notes}
        script = os.path.join(folder, "pw-cli")
        with open(script, "w", encoding="utf-8") as out:
            out.write(PW_CLI)
        os.chmod(script, 0o755)

    def angle(self, *arguments, **environment):
        nobody = {"PIPEWIRE_REMOTE": "vekbf-no-such-remote", "XDG_RUNTIME_DIR": str(self.folder / "nowhere")}
        return subprocess.run(
            [TOOL, "angle", *arguments],
            capture_output=True,
            text=True,
            env={**os.environ, **nobody, **environment},
            check=False,
            timeout=30,
        )

    def write(self, text):
        with open(self.file, "w", encoding="utf-8") as out:
            out.write(text)

    def test_the_file_is_written_in_place(self):
        for before, angle in (("60\n", "120"), ("-1200\n", "7"), ("", "-30"), ("auto\n", "0"), ("90", "auto")):
            self.write(before)
            inode = os.stat(self.file).st_ino
            result = self.angle(angle, "--angle-file", self.file)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertEqual(result.stdout, f"{self.file}: {angle}\n")
            with open(self.file, encoding="utf-8") as written:
                self.assertEqual(written.read(), angle + "\n")
            self.assertEqual(os.stat(self.file).st_ino, inode, "a reader holds the former file")

    def test_a_reader_never_finds_half_an_angle(self):
        """The file is shortened behind the end of the line only."""
        self.write("-1200\n")
        if shutil.which("strace") is None:
            self.skipTest("there is no strace")
        trace = subprocess.run(
            ["strace", "-e", "trace=openat,pwrite64,ftruncate", TOOL, "angle", "60", "--angle-file", self.file],
            capture_output=True,
            text=True,
            check=False,
        )
        if trace.returncode != 0:
            self.skipTest("strace is not allowed here")
        lines = trace.stderr.splitlines()
        calls = [line for line in lines if any(word in line for word in (self.file, "pwrite64", "ftruncate"))]
        calls = calls[-3:]
        self.assertNotIn("O_TRUNC", calls[0])
        self.assertRegex(calls[1], r'pwrite64\(\d+, "60\\n", 3, 0\)')
        self.assertRegex(calls[2], r"ftruncate\(\d+, 3\)")

    def test_pipewire_is_told(self):
        for angle, controls in (
            ("120", '"beam:Follow" 0.0 "beam:Angle" 120.0'),
            ("-30", '"beam:Follow" 0.0 "beam:Angle" -30.0'),
            ("auto", '"beam:Follow" 1.0'),
        ):
            if os.path.exists(self.notes):
                os.remove(self.notes)
            result = self.angle(angle, **self.with_node)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn(f"vekbf.microphones: {angle}\n", result.stdout)
            with open(self.notes, encoding="utf-8") as notes:
                told = notes.read().splitlines()
            self.assertEqual(told, ["set-param", "vekbf.microphones", "Props", f"{{ params = [ {controls} ] }}"])

    def test_a_named_file_is_all_that_is_turned(self):
        self.write("60\n")
        result = self.angle("120", "--angle-file", self.file, **self.with_node)
        self.assertEqual((result.returncode, result.stdout), (0, f"{self.file}: 120\n"))
        self.assertFalse(os.path.exists(self.notes))

    def refused(self, status, *arguments, **environment):
        result = self.angle(*arguments, **environment)
        self.assertEqual((result.returncode, result.stdout), (status, ""), result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        return result.stderr

    def test_refusals_in_one_line(self):
        for arguments in ([], ["60", "70"]):
            self.assertIn("one number of degrees", self.refused(2, *arguments))
        for word in ("north", "60.5", "", "3601", "1e2", "+60"):
            line = self.refused(2, word)
            self.assertIn("whole number of degrees", line)
            self.assertIn(f"'{word}'", line)
        self.assertIn("angle-file is a file, not ''", self.refused(2, "60", "--angle-file", ""))
        self.assertIn("--array", self.refused(2, "60", "--array", "line:4:80mm"))
        missing = str(self.folder / "missing")
        self.assertIn(f"{missing}: cannot be opened", self.refused(1, "60", "--angle-file", missing))
        self.assertFalse(os.path.exists(missing))
        self.assertIn("does not turn", self.refused(1, "60", **self.with_node, FAULT="no such node"))

    def test_nothing_runs(self):
        if os.path.exists("/run/vekbf/angle"):
            self.skipTest("there is a beam on this machine")
        line = self.refused(1, "60")
        self.assertIn("no beam runs here", line)
        self.assertIn("vekbf.microphones", line)
        self.assertIn("/run/vekbf/angle", line)
        self.assertIn("no beam runs here", self.refused(1, "60", PATH="/nowhere"))


if __name__ == "__main__":
    unittest.main()
