#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""`vekbf-lab study`, run on a copy of the documents, gives the documents that are there, but for a last digit."""

import re
import shutil
import sys
import tempfile
from pathlib import Path

from vekbf_lab import cli, study

DOCS = Path(__file__).resolve().parents[2] / "docs"
# Sums may be made in another order on another machine.
DIGIT = 0.11
NUMBER = r"-?\d+\.\d+"


def main():
    with tempfile.TemporaryDirectory() as folder:
        copy = Path(folder, "docs")
        copy.mkdir()
        for name in study.DOCUMENTS:
            # Nothing measured is left in the copy.
            text = (DOCS / name).read_text(encoding="utf-8")
            for title in re.findall(r"<!-- measured: (.*) -->", text):
                if title != "stamp":
                    text = study.filled(text, title, "")
            (copy / name).write_text(text, encoding="utf-8")
        if cli.main(["study", str(copy)]) != 0:
            return 1
        for name in study.DOCUMENTS:
            there, measured = ((where / name).read_text(encoding="utf-8") for where in (DOCS, copy))
            if re.sub(NUMBER, "#", re.sub(" +|-{3,}", " ", there)) != re.sub(NUMBER, "#", re.sub(" +|-{3,}", " ", measured)):
                print(f"{name}: words differ")
                return 1
            pairs = zip(re.findall(NUMBER, there), re.findall(NUMBER, measured))
            if far := [pair for pair in pairs if abs(float(pair[0]) - float(pair[1])) > DIGIT]:
                print(f"{name}: {far}")
                return 1
        pictures = sorted(path.name for path in (DOCS / study.PICTURES).glob("*.svg"))
        if not set(path.name for path in (copy / study.PICTURES).glob("*.svg")) <= set(pictures):
            print(f"pictures: {pictures}")
            return 1
    print("as in the documents")
    return 0


if __name__ == "__main__":
    sys.exit(main())
