# SPDX-License-Identifier: MIT
"""What several tests need."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

from vekbf_lab import cli


def call(*arguments):
    """(status, standard output, standard error) of `vekbf-lab ARGUMENTS`."""
    out, err = io.StringIO(), io.StringIO()
    with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
        try:
            status = cli.main([str(argument) for argument in arguments])
        except SystemExit as error:
            status = error.code
    return status, out.getvalue(), err.getvalue()


class CommandTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def refused(self, status, *arguments):
        """The one line that says why."""
        got, out, err = call(*arguments)
        self.assertEqual((got, out, err.count("\n")), (status, "", 1), err)
        return err
