# SPDX-License-Identifier: MIT
"""The command line: one subcommand per module."""

import argparse
import os
import sys

from . import compare, corpus, doctor, pattern, plot, simulate, study
from .errors import LabError

COMMANDS = (simulate, pattern, doctor, compare, plot, corpus, study)


class Parser(argparse.ArgumentParser):
    """Says what is wrong in one line, without the usage above it."""

    def error(self, message):
        self.exit(2, f"{self.prog}: {message}\n")


def parser():
    top = Parser(prog="vekbf-lab", description="The tuner's desk: make scenes, look at recordings, measure beams.")
    commands = top.add_subparsers(dest="command", required=True, metavar="COMMAND")
    for module in COMMANDS:
        name = module.__name__.rsplit(".", 1)[-1]
        text = module.__doc__.splitlines()[0]
        command = commands.add_parser(name, help=text, description=module.__doc__)
        module.add_arguments(command)
        command.set_defaults(run=module.run)
    return top


def joined(arguments):
    """`--mic -0.1,0` as `--mic=-0.1,0`: what begins with a minus sign would be taken for an option."""
    words = iter(arguments)
    result = []
    for word in words:
        position = next(words, None) if word == "--mic" else None
        result.append(word if position is None else f"{word}={position}")
    return result


def main(arguments=None):
    """Run one subcommand; 0 on success, 1 for what went wrong, 2 for a wrong command line."""
    options = parser().parse_args(joined(sys.argv[1:] if arguments is None else arguments))
    try:
        status = options.run(options) or 0
        sys.stdout.flush()
        return status
    except BrokenPipeError:
        # Whoever read the output has seen enough; nothing may be written to it at exit.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 1
    except OSError as error:
        where = "" if error.filename is None else f"{error.filename}: "
        print(f"vekbf-lab: {where}{error.strerror or error}", file=sys.stderr)
        return 1
    except LabError as error:
        print(f"vekbf-lab: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("vekbf-lab: interrupted", file=sys.stderr)
        return 130
