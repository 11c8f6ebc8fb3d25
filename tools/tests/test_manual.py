# SPDX-License-Identifier: MIT
"""The manual page: well formed, installed, complete, and its examples run."""

import array
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from command_help import SUBCOMMANDS, offered, subcommands, takes_value
from support import TOOL, ToolTest, noise, read_wav, write_wav

PAGE = Path(__file__).resolve().parents[1] / "man" / "vekbf.1"
INSTALL_SCRIPT = os.environ["VEKBF_INSTALL_SCRIPT"]
SKIPPED = 77


class FormTest(unittest.TestCase):
    def test_mandoc_has_nothing_to_say(self):
        result = subprocess.run(["mandoc", "-T", "lint", PAGE], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))

    def test_groff_has_nothing_to_say(self):
        environment = {**os.environ, "MANWIDTH": "80", "LC_ALL": "C.UTF-8"}
        result = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", PAGE], capture_output=True, text=True, env=environment)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("EXIT STATUS", result.stdout)

    def test_it_is_installed_where_man_looks(self):
        with tempfile.TemporaryDirectory() as prefix:
            command = ["cmake", f"-DCMAKE_INSTALL_PREFIX={prefix}", "-P", INSTALL_SCRIPT]
            subprocess.run(command, check=True, capture_output=True)
            environment = {**os.environ, "MANPATH": f"{prefix}/share/man", "LC_ALL": "C.UTF-8"}
            found = subprocess.run(["man", "-w", "vekbf"], capture_output=True, text=True, env=environment, check=True)
            self.assertTrue(Path(found.stdout.strip()).samefile(f"{prefix}/share/man/man1/vekbf.1"))


class ContentTest(unittest.TestCase):
    """Compared with --help, subcommand by subcommand."""

    def section(self, subcommand):
        text = PAGE.read_text()
        if subcommand:
            return re.search(rf"^\.Ss {subcommand}\n(.*?)(?=^\.S[sh] )", text, re.MULTILINE | re.DOTALL)[1]
        return re.search(r"^\.Sh DESCRIPTION\n(.*?)(?=^\.Ss )", text, re.MULTILINE | re.DOTALL)[1]

    def items(self, subcommand):
        """{option: what follows it on its line and in its paragraph}."""
        parts = re.split(r"^\.It ((?:Fl h , )?Fl -[a-z-]+.*)$", self.section(subcommand), flags=re.MULTILINE)
        return {"-" + re.search(r"Fl (-[a-z-]+)", head)[1]: head + body for head, body in zip(parts[1::2], parts[2::2])}

    def test_every_subcommand_has_its_section(self):
        self.assertEqual(re.findall(r"^\.Ss (\w+)$", PAGE.read_text(), re.MULTILINE), subcommands())
        self.assertEqual(subcommands(), list(SUBCOMMANDS))

    def test_the_options_are_those_of_the_help(self):
        self.assertEqual(set(self.items(None)), set(offered()))
        for subcommand in SUBCOMMANDS:
            self.assertEqual(set(self.items(subcommand)), set(offered(subcommand)), subcommand)
        # The parsing of the help itself.
        self.assertGreater(len(offered("process")), 15)

    def test_options_take_a_value_where_the_help_says_so(self):
        for subcommand in SUBCOMMANDS:
            valued = {option for option, text in self.items(subcommand).items() if " Ar " in text.splitlines()[0]}
            self.assertEqual(valued, takes_value(subcommand))

    def test_the_defaults_are_those_of_the_help(self):
        for subcommand in SUBCOMMANDS:
            stated = {o: re.search(r"^The default is (\S+)\.$", t, re.MULTILINE) for o, t in self.items(subcommand).items()}
            self.assertEqual({o: m and m[1] for o, m in stated.items()}, offered(subcommand))


class ExamplesTest(ToolTest):
    def test_the_commands_run(self):
        text = PAGE.read_text()
        commands = re.findall(r"^\.Dl (.*)$", text, re.MULTILINE)
        commands += re.findall(r"^(arecord .*?)^\.Ed", text, re.MULTILINE | re.DOTALL)
        self.assertEqual(len(commands), 3)
        samples = noise(4 * 2000)
        write_wav(self.folder / "meeting.wav", samples, 4)
        (self.folder / "mics.raw").write_bytes(array.array("h", samples).tobytes())
        for name, body in (("arecord", "cat mics.raw"), ("aplay", "cat > heard.raw"), ("vekbf", f'exec "{TOOL}" "$@"')):
            (self.folder / name).write_text(f"#!/bin/sh\n{body}\n")
            (self.folder / name).chmod(0o755)
        environment = {**os.environ, "PATH": f"{self.folder}:{os.environ['PATH']}"}
        for command in commands:
            script = f"set -o pipefail; {command}"
            result = subprocess.run(["bash", "-euc", script], cwd=self.folder, env=environment, capture_output=True, text=True)
            self.assertEqual((result.returncode, result.stderr), (0, ""), command)
        heard = list(array.array("h", (self.folder / "heard.raw").read_bytes()))
        self.assertEqual(read_wav(self.folder / "clean.wav")[2], heard)
        self.assertEqual(len(heard), 2000)

    def test_the_file_of_options_is_understood(self):
        lines = re.search(r"^\.Bd -literal -offset indent\n(; the desk\n.*?)^\.Ed", PAGE.read_text(), re.MULTILINE | re.DOTALL)[1]
        (self.folder / "desk.ini").write_text(lines)
        write_wav(self.input, noise(4 * 500), 4)
        result = self.run_tool("process", self.input, self.output, "--config", self.folder / "desk.ini")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stderr, "")

    def test_the_fields_of_the_report(self):
        write_wav(self.input, noise(500))
        result = self.run_tool("process", self.input, self.output, "--mic", "0,0", "--json")
        section = re.search(r"^\.Sh JSON REPORT\n(.*?)^\.Sh", PAGE.read_text(), re.MULTILINE | re.DOTALL)[1]
        self.assertEqual(re.findall(r"^\.Va (\w+)", section, re.MULTILINE), list(json.loads(result.stdout)))


if __name__ == "__main__":
    if missing := [program for program in ("mandoc", "man", "cmake") if shutil.which(program) is None]:
        print(f"skipped: {', '.join(missing)} not installed")
        sys.exit(SKIPPED)
    unittest.main()
