#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""scripts/site: the pages are made, their links are checked, and a browser shows them on a telephone's screen.

    test_site.py CHROMIUM
"""

import functools
import http.server
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SCRIPT = ROOT / "scripts/site"
CHROMIUM = sys.argv.pop()
TELEPHONE = 390  # CSS pixels
# Loads each page in a frame as wide as a telephone and says how wide the page became and which images failed.
HARNESS = """<!DOCTYPE html><body><script>
const pages = %s, result = {};
function load(page) {
  return new Promise(done => {
    const frame = document.createElement('iframe');
    frame.style = 'width: %dpx; height: 800px; border: 0';
    frame.onload = () => {
      const page_ = frame.contentDocument, images = [...page_.images];
      result[page] = {
        width: page_.documentElement.scrollWidth, title: page_.title, text: page_.body.innerText.length,
        broken: images.filter(image => !image.complete || image.naturalWidth === 0).map(image => image.src),
        size: parseFloat(getComputedStyle(page_.body).fontSize)
      };
      frame.remove();
      done();
    };
    frame.src = page;
    document.body.append(frame);
  });
}
(async () => {
  for (const page of pages) await load(page);
  document.body.textContent = '@@' + JSON.stringify(result) + '@@';
})();
</script></body>"""


class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def shown(site, pages):
    """{page: what the browser says of it} of pages below the folder."""
    (site / "harness.html").write_text(HARNESS % (json.dumps(pages), TELEPHONE), encoding="utf-8")
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Quiet, directory=str(site))) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        with tempfile.TemporaryDirectory() as profile:
            command = [
                CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", f"--user-data-dir={profile}",
                "--virtual-time-budget=60000", "--dump-dom", f"http://127.0.0.1:{server.server_port}/harness.html",
            ]
            dom = subprocess.run(command, capture_output=True, text=True, timeout=300, check=True).stdout
        server.shutdown()
    (site / "harness.html").unlink()
    return json.loads(re.search("@@(.*)@@", dom, re.DOTALL)[1].replace("&amp;", "&"))


class SiteTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        os.chmod(folder.name, 0o755)  # linkchecker does not stay root
        cls.site = Path(folder.name) / "site"
        result = subprocess.run([SCRIPT, "--no-install", cls.site], capture_output=True, text=True)
        assert result.returncode == 0, result.stdout + result.stderr
        cls.pages = sorted(str(path.relative_to(cls.site)) for path in cls.site.rglob("*.html"))

    def test_every_document_is_a_page(self):
        for document in (*ROOT.glob("docs/*.md"), ROOT / "CONTRIBUTING.md", ROOT / "CHANGELOG.md"):
            self.assertIn(str(document.relative_to(ROOT).with_suffix(".html")), self.pages)
        for page in ("index.html", "man/vekbf.html", "reference/vek__bf_8h.html", "reference/vek__stream_8h.html"):
            self.assertIn(page, self.pages)

    def test_a_link_to_nothing_is_found(self):
        with tempfile.TemporaryDirectory() as folder:
            os.chmod(folder, 0o755)
            copy = shutil.copytree(self.site, Path(folder) / "site")
            (copy / "docs/live.html").unlink()
            result = subprocess.run([SCRIPT, "--check", copy], capture_output=True, text=True)
            self.assertNotEqual(result.returncode, 0)
            self.assertIn("live.html", result.stderr)

    def test_a_telephone_shows_every_page(self):
        pages = [page for page in self.pages if not page.startswith("reference/") and page != "vekbf.html"] + ["reference/vek__bf_8h.html"]
        found = shown(self.site, pages)
        self.assertEqual(sorted(found), sorted(pages))
        for page, state in found.items():
            self.assertEqual(state["broken"], [], page)
            self.assertGreater(state["text"], 200, page)
            self.assertTrue(state["title"], page)
            if not page.startswith("reference/"):
                self.assertLessEqual(state["width"], TELEPHONE, page)
                self.assertGreaterEqual(state["size"], 16, page)

    def test_a_page_that_is_too_wide_is_found(self):
        wide = self.site / "wide.html"
        wide.write_text("<title>wide</title><div style='width: 900px'>wide</div><img src='none.png'>", encoding="utf-8")
        self.addCleanup(wide.unlink)
        found = shown(self.site, ["wide.html"])["wide.html"]
        self.assertGreater(found["width"], TELEPHONE)
        self.assertEqual(len(found["broken"]), 1)


if __name__ == "__main__":
    unittest.main()
