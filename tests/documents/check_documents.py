#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every code block of README.md, CONTRIBUTING.md and docs/*.md is run, or is named in documents.EXCLUDED with the reason.
A block that is neither is a failure, and so is an exclusion that excludes nothing."""

import re
import sys
import unittest

import commands
import documents
import links
import programs
from documents import BLOCKS, EXCLUDED, blocks_of, find


class ParserTest(unittest.TestCase):
    def test_what_a_block_is(self):
        text = "a\n\n    one\n\n    two\n\nb\n    no block\n```sh\nthree\n    four\n```\n- c\n  d\n\n    five\n"
        found = [(block.line, block.language, block.text) for block in blocks_of("x", text)]
        wanted = [(3, "", "one\n\ntwo\n"), (10, "sh", "three\n    four\n"), (16, "", "five\n")]
        self.assertEqual(found, wanted)
        self.assertEqual([block.heading for block in blocks_of("x", "# A\n\n    b\n")], ["A"])

    def test_none_is_overlooked(self):
        for document, text in documents.TEXTS.items():
            fences = re.findall(r"^ {0,3}(?:```|~~~)", text, re.MULTILINE)
            count = sum(text.splitlines()[block.line - 2].lstrip().startswith(("```", "~~~")) for block in BLOCKS
                        if block.document == document)
            self.assertEqual(len(fences), 2 * count, document)


def unclassified():
    """(what is excluded and why, one line for each block that nobody takes and each exclusion that is not needed)."""
    excluded, wrong = {}, []
    for document, word, reason in EXCLUDED:
        try:
            excluded[find(document, word)] = reason
        except AssertionError as error:
            wrong.append(f"not needed: {error}")
    wrong += [f"run as well as excluded: {block}" for block in excluded if block in documents.taken]
    known = documents.taken | documents.named | set(excluded)
    wrong += [f"neither run nor excluded: {block}" for block in BLOCKS if block not in known]
    return excluded, wrong


def main():
    suite = unittest.TestSuite()
    for module in (sys.modules[__name__], links, programs, commands):
        suite.addTests(unittest.defaultTestLoader.loadTestsFromModule(module))
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    excluded, wrong = unclassified()
    for block, reason in excluded.items():
        print(f"not run: {block}\n    {reason}")
    for block in sorted(documents.named, key=str):
        print(f"not run: {block}\n    tests or scripts that take minutes; what it names is there")
    for line in wrong:
        print(line)
    print(f"{len(documents.taken)} of {len(BLOCKS)} blocks were run, {len(documents.named)} name what is there, {len(excluded)} are excluded")
    return 0 if result.wasSuccessful() and not wrong else 1


if __name__ == "__main__":
    sys.exit(main())
