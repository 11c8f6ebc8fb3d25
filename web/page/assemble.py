#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Puts style, script and the licence of the speech into the page: assemble.py INDEX STYLE SCRIPT LICENCE PAGE."""

import html
import re
import sys
from pathlib import Path


def licence(text):
    """The first paragraph of files in Debian's copyright file: who holds the rights, and the terms."""
    part = text[text.index("Files: *") : text.index("Files: ", text.index("Files: *") + 1)]
    lines = [line.strip() for line in part.splitlines()[1:]]
    return re.sub(r"\s+", " ", " ".join("" if line == "." else line for line in lines)).strip()


def main():
    index, style, script, terms, page = map(Path, sys.argv[1:])
    parts = {
        "@STYLE@": style.read_text(),
        # A script ends where it says so, also inside of a string.
        "@SCRIPT@": script.read_text().replace("</script", "<\\/script"),
        "@CREDITS@": html.escape(licence(terms.read_text()), quote=False),
    }
    text = index.read_text()
    for place, content in parts.items():
        if text.count(place) != 1:
            raise SystemExit(f"{index}: {place} stands there {text.count(place)} times")
        text = text.replace(place, content)
    page.write_text(text)


main()
