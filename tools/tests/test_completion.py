# SPDX-License-Identifier: MIT
"""Completion in the real shells, at a terminal, from where the files are installed; and no option that --help lacks.

    test_completion.py bash|zsh|fish
"""

import os
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

from command_help import SUBCOMMANDS, offered, subcommands, takes_value

INSTALL_SCRIPT = os.environ["VEKBF_INSTALL_SCRIPT"]
SKIPPED = 77
SHELL = sys.argv.pop(1) if len(sys.argv) > 1 else "bash"

# A stand-in that shows its words, so that what the line became can be read.
SHOW = r"""printf '\nGOT'; printf ' <%s>' "$@"; printf '\nDONE\n'"""


class Terminal:
    """An interactive shell at a terminal of its own."""

    def __init__(self, command, environment, folder):
        self.seen = b""
        self.process, self.fd = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe(command[0], command, environment)
        self.until(b"READY")

    def until(self, text, seconds=300):
        """Everything up to the text; both are taken away."""
        end = time.monotonic() + seconds
        while text not in self.seen:
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.fd], [], [], left)[0]:
                raise TimeoutError(f"{text} did not come: {self.seen!r}")
            self.seen += os.read(self.fd, 65536)
        before, _, self.seen = self.seen.partition(text)
        return before

    def words(self, typed):
        """The words of the command after `typed`, in which tabulators complete, was entered."""
        os.write(self.fd, typed.encode() + b"\n")
        before = self.until(b"\nDONE").decode(errors="replace")
        self.until(b"READY")
        return re.findall(r"<(.*?)>", before[before.rindex("GOT"):])

    def close(self):
        os.write(self.fd, b"\x03\nexit\n")
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline and os.waitpid(self.process, os.WNOHANG)[0] == 0:
            try:
                os.read(self.fd, 65536)
            except OSError:
                time.sleep(0.05)
        os.close(self.fd)


# The subcommands that take an array.
WITH_ARRAY = [subcommand for subcommand in SUBCOMMANDS if "--array" in offered(subcommand)]


class CompletionTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.root = Path(scratch.name)
        cls.share = cls.root / "share"
        command = ["cmake", f"-DCMAKE_INSTALL_PREFIX={cls.root}", "-P", INSTALL_SCRIPT]
        subprocess.run(command, check=True, capture_output=True)
        cls.work = cls.root / "work"
        (cls.work / "results").mkdir(parents=True)
        for name in ("zoo.wav", "desk.ini"):
            (cls.work / name).write_text("")
        home = cls.root / "home"
        home.mkdir()
        cls.environment = {
            "PATH": os.environ["PATH"], "TERM": "dumb", "LC_ALL": "C.UTF-8", "HOME": str(home), "PS1": "READY",
            "XDG_DATA_DIRS": f"{cls.share}:/usr/local/share:/usr/share", "ZDOTDIR": str(home),
        }
        cls.terminal = Terminal(cls.start(home), cls.environment, cls.work)
        cls.addClassCleanup(cls.terminal.close)

    @classmethod
    def start(cls, home):
        """The command line of the shell, told to show the words of vekbf and to look among the installed files."""
        if SHELL == "bash":
            (home / "rc").write_text(f". /usr/share/bash-completion/bash_completion\nvekbf() {{ {SHOW}; }}\n"
                                     "bind 'set enable-bracketed-paste off'\nPS1=READY\n")
            return ["bash", "--noprofile", "--rcfile", str(home / "rc"), "-i"]
        if SHELL == "zsh":
            (home / ".zshrc").write_text(f"fpath=('{cls.share}/zsh/vendor-completions' $fpath)\nautoload -U compinit\n"
                                         f"compinit -u -D\nvekbf() {{ {SHOW}; }}\nunsetopt zle_bracketed_paste\nPS1=READY\n")
            return ["zsh", "-d", "-i"]
        show = r"""printf '\nGOT'; printf ' <%s>' $argv; printf '\nDONE\n'"""
        (home / ".config" / "fish").mkdir(parents=True)
        (home / ".config" / "fish" / "config.fish").write_text(
            f"function vekbf; {show}; end\nfunction fish_prompt; echo READY; end\nset fish_greeting\n"
            "set -g fish_autosuggestion_enabled 0\n")
        return ["fish", "-i"]

    def completed(self, typed):
        return self.terminal.words(typed)

    def test_subcommands(self):
        self.assertEqual(self.completed("vekbf pro\t"), ["process"])
        self.assertEqual(self.completed("vekbf geo\t"), ["geometry"])
        self.assertEqual(self.completed("vekbf --v\t"), ["--version"])

    def test_every_option_completes_where_the_help_has_it_and_no_other(self):
        """From all but its last letter, so that only longer names could also be meant."""
        everything = sorted(set().union(*(offered(s) for s in SUBCOMMANDS)))
        for subcommand in SUBCOMMANDS:
            mine = offered(subcommand)
            for option in everything:
                words = self.completed(f"vekbf {subcommand} {option[:-1]}\t")
                if option in mine:
                    self.assertEqual(words[1].rstrip("="), option)
                elif longer := [other for other in mine if other.startswith(option[:-1])]:
                    self.assertIn(words[1].rstrip("="), longer)
                else:
                    # fish takes what it does not know for the beginning of a file name: it stays.
                    self.assertEqual(words, [subcommand, option[:-1]])

    def test_the_file_has_no_option_that_the_help_lacks(self):
        place = {"bash": "bash-completion/completions/vekbf", "zsh": "zsh/vendor-completions/_vekbf",
                 "fish": "fish/vendor_completions.d/vekbf.fish"}[SHELL]
        text = (self.share / place).read_text()
        if SHELL == "fish":
            named = {f"--{name}" for name in re.findall(r"^complete .* -l ([a-z-]+)", text, re.MULTILINE)}
        else:
            named = set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", re.sub(r"^ *#.*$|compgen .*$", "", text, flags=re.MULTILINE)))
        self.assertEqual(named, set(offered()).union(*(offered(s) for s in SUBCOMMANDS)))
        self.assertEqual(subcommands(), list(SUBCOMMANDS))

    def test_values(self):
        self.assertEqual(self.completed("vekbf process --algorithm ad\t"), ["process", "--algorithm", "adaptive"])
        for subcommand in WITH_ARRAY:
            self.assertEqual(self.completed(f"vekbf {subcommand} --geometry tri\t"), [subcommand, "--geometry", "triangle"])
            # No blank follows: the rest of the shape is typed behind it.
            self.assertEqual(self.completed(f"vekbf {subcommand} --array sq\t64mm"), [subcommand, "--array", "square:64mm"])
            # A name is complete.
            self.assertEqual(self.completed(f"vekbf {subcommand} --array mat\t--"), [subcommand, "--array", "matrix-creator", "--"])
            self.assertEqual(self.completed(f"vekbf {subcommand} --config de\t"), [subcommand, "--config", "desk.ini"])
        words = self.completed("vekbf process --out-dir re\t")
        self.assertEqual([word.rstrip("/") for word in words], ["process", "--out-dir", "results"])
        self.assertEqual(self.completed("vekbf process --out-dir zo\t"), ["process", "--out-dir", "zo"])
        self.assertEqual(self.completed("vekbf process --angle-track de\t"), ["process", "--angle-track", "desk.ini"])
        self.assertEqual(self.completed("vekbf angle --angle-file de\t"), ["angle", "--angle-file", "desk.ini"])
        self.assertEqual(self.completed("vekbf process --angle au\t"), ["process", "--angle", "auto"])

    def test_values_behind_an_equals_sign(self):
        for subcommand in WITH_ARRAY:
            self.assertEqual(self.completed(f"vekbf {subcommand} --geometry=tri\t"), [subcommand, "--geometry=triangle"])
            self.assertEqual(self.completed(f"vekbf {subcommand} --array=sq\t64mm"), [subcommand, "--array=square:64mm"])
            self.assertEqual(self.completed(f"vekbf {subcommand} --array=mat\t--"), [subcommand, "--array=matrix-creator", "--"])
            self.assertEqual(self.completed(f"vekbf {subcommand} --config=de\t"), [subcommand, "--config=desk.ini"])
        self.assertEqual(self.completed("vekbf process --algorithm=ad\t"), ["process", "--algorithm=adaptive"])

    def test_nothing_is_offered_within_a_shape(self):
        for typed in ("line:zo", "line:4:zo"):
            self.assertEqual(self.completed(f"vekbf process --array {typed}\t"), ["process", "--array", typed])

    def test_an_option_that_takes_a_number_gets_no_file(self):
        text = {"--algorithm", "--angle-track", "--angle-track-out", "--angle-file", "--picture", "--array", "--config", "--geometry", "--out-dir"}
        for subcommand in SUBCOMMANDS:
            for option in sorted(takes_value(subcommand) - text):
                self.assertEqual(self.completed(f"vekbf {subcommand} {option} zo\t"), [subcommand, option, "zo"])

    def test_files_are_for_some_subcommands(self):
        self.assertEqual(self.completed("vekbf process zo\t out.wav"), ["process", "zoo.wav", "out.wav"])
        self.assertEqual(self.completed("vekbf process --join --angle 60 zo\t"),
                         ["process", "--join", "--angle", "60", "zoo.wav"])
        self.assertEqual(self.completed("vekbf track zo\t"), ["track", "zoo.wav"])
        self.assertEqual(self.completed("vekbf geometry zo\t"), ["geometry", "zo"])
        self.assertEqual(self.completed("vekbf zo\t"), ["zo"])


if __name__ == "__main__":
    needed = {"bash": ["bash", "cmake"], "zsh": ["zsh", "cmake"], "fish": ["fish", "cmake"]}[SHELL]
    missing = [program for program in needed if shutil.which(program) is None]
    if SHELL == "bash" and not Path("/usr/share/bash-completion/bash_completion").exists():
        missing.append("bash-completion")
    if missing:
        print(f"skipped: {', '.join(missing)} not installed")
        sys.exit(SKIPPED)
    unittest.main()
