# SPDX-License-Identifier: MIT
"""A folder in which the documents' commands run: the installed tool, recordings, and stand-ins for a sound card."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np
from documents import BLOCKS, LIBRARY, ROOT, STREAM_LIBRARY, TREE, taken

from vekbf_lab import arrays, scene, wav

RATE = 16000
SECONDS = 1.5
TALKER_ANGLE = 60
LINE = arrays.from_name("line:4:80mm").array
SQUARE = arrays.from_name("square:64mm").array
PROGRAMS = {
    "vekbf": f'exec "{TREE}/bin/vekbf" "$@"',
    "python3": f'exec "{sys.executable}" -B "$@"',
    "vekbf-lab": f'exec "{sys.executable}" -B -m vekbf_lab "$@"',
    # What the microphones hear is in the folder `heard`; what the loudspeaker plays goes to `played.raw`.
    "arecord": 'for last; do :; done; case "$last" in *.wav) cp heard/meeting.wav "$last";; *) cat heard/meeting.raw;; esac',
    "aplay": 'for last; do :; done; case "$last" in *.wav) cat "$last";; *) cat;; esac >>played.raw',
}


def speech(rng):
    """Noise with a pause: loud enough for every measure, gone for a quarter of the time."""
    signal = 1000 * rng.standard_normal(round(SECONDS * RATE))
    signal[len(signal) // 2 : len(signal) * 3 // 4] = 0
    return signal


class DeskTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / "bin").mkdir()
        for name, body in PROGRAMS.items():
            (self.folder / "bin" / name).write_text(f"#!/bin/sh\n{body}\n")
            (self.folder / "bin" / name).chmod(0o755)
        rng = np.random.default_rng(1)
        talker = speech(rng)
        wav.write(self.folder / "talker.wav", RATE, talker)
        wav.write(self.folder / "other.wav", RATE, speech(rng))
        for name, array in (("meeting", LINE), ("table", SQUARE)):
            heard = scene.plane_wave(talker, array, TALKER_ANGLE, RATE)
            self.write(name, heard + 50 * rng.standard_normal(heard.shape))
        (self.folder / "heard").mkdir()
        shutil.copy(self.folder / "meeting.wav", self.folder / "heard")
        samples = self.read("meeting").astype("<i2")
        (self.folder / "heard/meeting.raw").write_bytes(samples.tobytes())
        self.environment = {
            **{k: v for k, v in os.environ.items() if not k.endswith("FLAGS")},
            "PATH": f"{self.folder}/bin:{os.environ['PATH']}",
            "PYTHONPATH": str(ROOT / "python"),
            "VEKBF_LIBRARY": str(STREAM_LIBRARY),
            "LD_LIBRARY_PATH": str(LIBRARY.parent),
        }

    def tree(self):
        """What a source tree has after scripts/demo."""
        (self.folder / "python").symlink_to(ROOT / "python")
        (self.folder / "build/demo").mkdir(parents=True)
        (self.folder / "build/demo" / STREAM_LIBRARY.name).symlink_to(STREAM_LIBRARY)

    def write(self, name, samples):
        wav.write(self.folder / f"{name}.wav", RATE, samples)

    def read(self, name):
        return wav.read(self.folder / f"{name}.wav")[1]

    def run_script(self, text, status=0):
        """The block as a shell would take it; what was said on standard output and standard error."""
        result = subprocess.run(
            ["sh", "-eu", "-c", text],
            cwd=self.folder,
            env=self.environment,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=600,
        )
        self.assertEqual(result.returncode, status, f"{text}\n{result.stdout}{result.stderr}")
        return result.stdout, result.stderr

    def said(self, text, status=0):
        """As run_script, for commands that have nothing to complain about."""
        out, err = self.run_script(text, status)
        self.assertEqual(err, "", text)
        return out

    def walk(self, document, statuses=(), aloud=(), before=None, change=lambda text: text):
        """Every shell block of a document in its order, in this one folder. A block of text behind one is all it says;
        without such a block it says nothing on standard error, unless its heading is among `aloud`. `statuses`: {word of
        the block or of what it says: status} where that is not 0. `before` is called with each block's heading; `change`
        makes of a block what is run. Returns what was said on standard output."""
        told = ""
        blocks = [block for block in BLOCKS if block.document == document]
        for block, following in zip(blocks, [*blocks[1:], None]):
            if block.language != "sh":
                continue
            taken.add(block)
            text = following.text if following is not None and following.language == "text" else None
            (status,) = {status for word, status in dict(statuses).items() if word in block.text + (text or "")} or {0}
            with self.subTest(block=str(block)):
                if before:
                    before(block.heading)
                out, err = self.run_script(change(block.text), status)
                if text is not None:
                    taken.add(following)
                    self.assertEqual(out + err, text)
                elif block.heading not in aloud:
                    self.assertEqual(err, "")
                told += out
        return told

    def run_python(self, text):
        (self.folder / "program.py").write_text(text)
        return self.said("python3 program.py")

    def frames(self, name):
        return len(wav.read(self.folder / name)[1])

    def assert_written(self, *names):
        for name in names:
            self.assertGreater((self.folder / name).stat().st_size, 100, name)
