# SPDX-License-Identifier: MIT
"""The binding installed as a user does it, without network, into an environment that sees Debian's NumPy."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(os.environ["VEKBF_PYTHON_SOURCE"])
LIBRARY = Path(os.environ["VEKBF_LIBRARY"])
VERSION = os.environ["VEKBF_VERSION"]

PROGRAM = """
import importlib.metadata, pathlib, numpy as np, vekbf
where = pathlib.Path(vekbf.__file__).parent
assert (where / "py.typed").is_file()
with vekbf.Beamformer(16000, [(0, 0)]) as beam:
    out = np.concatenate([beam.process(np.full(500, 1000, np.int16)), beam.flush()])
print(importlib.metadata.version("vekbf"), vekbf.__version__, len(out), out[400], where)
"""


class InstallTest(unittest.TestCase):
    def test_into_an_environment(self):
        with tempfile.TemporaryDirectory() as folder:
            folder = Path(folder).resolve()
            # Building leaves files beside the sources.
            shutil.copytree(SOURCE, folder / "python", ignore=shutil.ignore_patterns("__pycache__", "tests"))
            environment = {k: v for k, v in os.environ.items() if not k.startswith(("PYTHON", "PIP_", "VEKBF_"))}
            environment.update(PIP_NO_INDEX="1", PIP_DISABLE_PIP_VERSION_CHECK="1", PIP_NO_CACHE_DIR="1")

            def run(*command, **extra):
                result = subprocess.run(
                    command, cwd=folder, env={**environment, **extra}, capture_output=True, text=True
                )
                self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
                return result.stdout

            run(sys.executable, "-m", "venv", "--system-site-packages", "venv")
            python = folder / "venv/bin/python"
            run(python, "-m", "pip", "install", "--no-build-isolation", "--no-deps", "./python")
            # Found by the loader, as an installed library is.
            text = run(python, "-c", PROGRAM, LD_LIBRARY_PATH=str(LIBRARY.parent))
            installed, own, length, level, where = text.split()
            self.assertEqual((installed, own, length), (VERSION, VERSION, "500"))
            self.assertAlmostEqual(int(level), 795, delta=4)
            self.assertTrue(Path(where).is_relative_to(folder / "venv"), where)
            # The desk is no part of it.
            self.assertFalse(Path(where, "../vekbf_lab").exists())


if __name__ == "__main__":
    unittest.main()
