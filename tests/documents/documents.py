# SPDX-License-Identifier: MIT
"""The code blocks of README.md, CONTRIBUTING.md and docs/*.md, and what has become of each."""

from __future__ import annotations

import os
import re
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
# The installed tree, and the build that it came from.
TREE = Path(os.environ["VEKBF_TREE"])
BUILD = Path(os.environ["VEKBF_BUILD"])
LIBRARY = next(TREE.rglob("libvekbf.so.2"))
# What the Python binding loads.
STREAM_LIBRARY = Path(os.environ["VEKBF_LIBRARY"])
TEXTS = {
    str(path.relative_to(ROOT)): path.read_text(encoding="utf-8")
    for path in (ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted((ROOT / "docs").glob("*.md")))
}

# (document, a word of the block, why no test runs it)
EXCLUDED = (
    ("README.md", "scripts/demo     #", "the two set-up commands, which the continuous integration runs on their own"),
    ("docs/first-sound.md", "cmake --install", "installation; python_install and install_tree do the same elsewhere"),
    ("docs/integration.md", "scripts/package --arch", "the slow test debian_packages runs it"),
    ("docs/live.md", "scripts/package", "the slow test debian_packages runs it"),
    ("docs/live.md", "mic = 0.07,0", "a file of settings; plugin_port_hosts and the tool's tests read such files"),
    ("docs/live.md", "systemctl", "a user's session; plugin_pipewire starts what the unit starts"),
    ("docs/live.md", "vekbf angle 120", "a running PipeWire; plugin_pipewire turns one so"),
    ("docs/live.md", "f /run/vekbf", "a file of the system; plugin_alsa reads such an angle file"),
    ("docs/live.md", "journalctl", "a user's session"),
    ("docs/live.md", "alsasrc", "a sound card of four channels; plugin_gstreamer runs the element"),
    ("docs/live.md", "pcm.beam {", "a sound card; plugin_alsa records through such a definition"),
    ("docs/live.md", "vekbf:SLAVE", "a sound card; plugin_alsa records through that name"),
    ("docs/numerics.md", "a = T0 + T2", "formulas"),
    ("docs/numerics.md", "R0 = O0", "formulas"),
    ("docs/direction.md", "study docs", "takes a quarter of an hour; python_study measures a part"),
    ("docs/improvement.md", "study docs", "takes minutes: the slow test documents_study runs it, python_study a part"),
)


@dataclass(frozen=True)
class Block:
    document: str
    line: int  # of its first line of text, from 1
    language: str  # of a fenced block; empty where it has none or the block is only indented
    text: str
    heading: str = ""  # under which it stands

    def __str__(self):
        return f"{self.document}:{self.line}: {self.text.strip().splitlines()[0][:60]}"


def blocks_of(document, text):
    """Fenced blocks, and those that are only indented by four spaces after an empty line."""
    lines = text.split("\n")
    found, at, heading = [], 0, ""
    while at < len(lines):
        fence = re.fullmatch(r" {0,3}(```+|~~~+) *([a-z]*).*", lines[at])
        start = at + 1
        if title := re.fullmatch(r"#+ (.+)", lines[at]):
            heading = title[1]
        if fence:
            at = start
            while lines[at].strip() != fence[1]:
                at += 1
            found.append(Block(document, start + 1, fence[2], "\n".join(lines[start:at]) + "\n", heading))
        elif lines[at].startswith("    ") and lines[at].strip() and (at == 0 or not lines[at - 1].strip()):
            while start < len(lines) and (lines[start].startswith("    ") or not lines[start].strip()):
                start += 1
            text_of = "\n".join(line[4:] for line in lines[at:start]).rstrip() + "\n"
            found.append(Block(document, at + 1, "", text_of, heading))
            at = start - 1
        at += 1
    return found


BLOCKS = [block for document, text in TEXTS.items() for block in blocks_of(document, text)]
# Blocks that tests have run, and those of which they have only seen to it that what they name exists.
taken: set[Block] = set()
named: set[Block] = set()


def find(document, word):
    """The one block of the document that holds the word."""
    found = [block for block in BLOCKS if block.document == document and word in block.text]
    if len(found) != 1:
        raise AssertionError(f"{document}: {len(found)} blocks hold '{word}', not one")
    return found[0]


def take(document, word, language):
    """The text of that block, which the caller is going to run."""
    block = find(document, word)
    if block.language != language:
        raise AssertionError(f"{block} is marked as '{block.language}', not '{language}'")
    taken.add(block)
    return block.text
