# SPDX-License-Identifier: MIT
"""What --help offers: the truth that the manual page and the completions are held to."""

import re
import subprocess

from support import TOOL

SUBCOMMANDS = ("process", "geometry", "track", "angle")


def help_text(*subcommand):
    return subprocess.run([TOOL, *subcommand, "--help"], capture_output=True, text=True, check=True).stdout


def offered(*subcommand):
    """{option: default or None}, by its long name, from the lines that begin with one."""
    lines = re.findall(r"^  (?:-\w,)?(--[a-z-]+)(?: ([^\s=]+)(?:=(\S+))?)?.*$", help_text(*subcommand), re.MULTILINE)
    return {option: default or None for option, _, default in lines}


def takes_value(*subcommand):
    """The options that are followed by a value: they show what it is."""
    return set(re.findall(r"^  (--[a-z-]+) \S", help_text(*subcommand), re.MULTILINE))


def subcommands():
    return re.findall(r"^  (\w+) ", help_text().split("Subcommands:\n")[1], re.MULTILINE)
