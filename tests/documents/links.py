# SPDX-License-Identifier: MIT
"""Links between the documents, and to files of the tree."""

import re
import unittest

from documents import ROOT, TEXTS


def headings(text):
    """The anchors of a document, as they are made of its headings."""
    plain = re.sub(r"^```.*?^```$", "", text, flags=re.MULTILINE | re.DOTALL)
    found = re.findall(r"^#+ (.+)$", plain, re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in found}


class LinksTest(unittest.TestCase):
    def test_links_lead_somewhere(self):
        for document, text in TEXTS.items():
            targets = re.findall(r"\]\(([^)]+)\)", text)
            for target in targets:
                if target.startswith("https://"):
                    continue
                name, _, anchor = target.partition("#")
                file = (ROOT / document).parent / name if name else ROOT / document
                self.assertTrue(file.exists(), f"{document}: {target}")
                if anchor:
                    self.assertIn(anchor, headings(file.read_text(encoding="utf-8")), f"{document}: {target}")

    def test_every_document_is_reached_from_the_readme(self):
        reached, todo = set(), ["README.md"]
        while todo:
            document = todo.pop()
            reached.add(document)
            for target in re.findall(r"\]\(([^)#]+\.md)", TEXTS[document]):
                name = str(((ROOT / document).parent / target).resolve().relative_to(ROOT))
                if name in TEXTS and name not in reached:
                    todo.append(name)
        self.assertEqual(set(TEXTS) - reached, set())
