# SPDX-License-Identifier: MIT
"""The manual page names every command and every option, and none that does not exist."""

import argparse
import re
import unittest
from pathlib import Path

from vekbf_lab import cli

PAGE = (Path(__file__).parent / "../vekbf-lab.1").read_text().replace("\\-", "-")


def commands():
    (action,) = [a for a in cli.parser()._actions if isinstance(a, argparse._SubParsersAction)]
    return action.choices


class ManualTest(unittest.TestCase):
    def test_commands(self):
        found = re.findall(r'^\.TP\n\.BI "(\w+) ', PAGE, re.MULTILINE)
        self.assertEqual(found, list(commands()))

    def test_options(self):
        wanted = {
            option
            for command in commands().values()
            for action in command._actions
            for option in action.option_strings
            if option.startswith("--")
        }
        # The examples are no place to explain an option.
        text = PAGE.split("\n.SH EXAMPLE\n")[0]
        self.assertEqual(set(re.findall(r"--[a-z][a-z0-9-]*", text)), wanted)


if __name__ == "__main__":
    unittest.main()
