# SPDX-License-Identifier: MIT
"""Binding and desk installed as a user does it, without network, into an environment that sees Debian's packages."""

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

TALKER = """
import numpy, soundfile
soundfile.write("talker.wav", numpy.random.default_rng(1).normal(0, 0.1, 8000), 16000)
"""


class InstallTest(unittest.TestCase):
    def test_into_an_environment(self):
        with tempfile.TemporaryDirectory() as folder:
            folder = Path(folder).resolve()
            # Building leaves files beside the sources.
            shutil.copytree(SOURCE, folder / "python", ignore=shutil.ignore_patterns("__pycache__", "tests"))
            environment = {k: v for k, v in os.environ.items() if not k.startswith(("PYTHON", "PIP_", "VEKBF_"))}
            environment.update(PIP_NO_INDEX="1", PIP_DISABLE_PIP_VERSION_CHECK="1", PIP_NO_CACHE_DIR="1")

            def run(*command, status=0, **extra):
                result = subprocess.run(
                    command, cwd=folder, env={**environment, **extra}, capture_output=True, text=True
                )
                self.assertEqual(result.returncode, status, result.stdout + result.stderr)
                return result.stdout if status == 0 else result.stderr

            run(sys.executable, "-m", "venv", "--system-site-packages", "venv")
            python, lab = folder / "venv/bin/python", folder / "venv/bin/vekbf-lab"
            run(python, "-m", "pip", "install", "--no-build-isolation", "--no-deps", "./python")
            # Found by the loader, as an installed library is.
            place = {"LD_LIBRARY_PATH": str(LIBRARY.parent)}
            text = run(python, "-c", PROGRAM, **place)
            installed, own, length, level, where = text.split()
            self.assertEqual((installed, own, length), (VERSION, VERSION, "500"))
            self.assertAlmostEqual(int(level), 795, delta=4)
            self.assertTrue(Path(where).is_relative_to(folder / "venv"), where)

            # The desk is a command beside it.
            self.assertTrue(Path(where, "../vekbf_lab/cli.py").is_file())
            self.assertIn("simulate", run(lab, "--help"))
            run(python, "-c", TALKER)
            run(lab, "simulate", "scene.wav", "--array", "line:2:5cm", "--source", "talker.wav,angle=60", **place)
            # 44 bytes of header, 8000 frames of two channels: the scene is as long as its only source.
            self.assertGreaterEqual((folder / "scene.wav").stat().st_size, 44 + 8000 * 2 * 2)
            run(lab, "pattern", "--array", "line:2:5cm", "--step", "30", "pattern.csv", **place)
            self.assertTrue((folder / "pattern.csv").read_text())
            self.assertEqual(run(lab, "nonsense", status=2).count("\n"), 1)

            # A package that is not there is named in one line.
            (folder / "without").mkdir()
            (folder / "without/scipy.py").write_text("raise ModuleNotFoundError(name='scipy')\n")
            self.assertEqual(
                run(lab, "--help", status=1, PYTHONPATH=str(folder / "without")),
                "vekbf-lab: scipy is missing: install Debian's python3-scipy\n",
            )


if __name__ == "__main__":
    unittest.main()
