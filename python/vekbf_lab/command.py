# SPDX-License-Identifier: MIT
"""The installed command. The desk's modules may be there without the packages that they need."""

import sys

PACKAGES = {"matplotlib", "numpy", "scipy", "soundfile", "tqdm"}


def main() -> int:
    try:
        from . import cli
    except ModuleNotFoundError as error:
        missing = (error.name or "").partition(".")[0]
        if missing not in PACKAGES:
            raise
        print(f"vekbf-lab: {missing} is missing: install Debian's python3-{missing}", file=sys.stderr)
        return 1
    return cli.main()
