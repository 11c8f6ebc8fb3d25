# SPDX-License-Identifier: MIT
"""The shell commands of the documents."""

import os
import re
import shlex
import shutil
import socket
import subprocess
import unittest

import numpy as np
from desk import RATE, SECONDS, DeskTest
from documents import BLOCKS, BUILD, EXCLUDED, ROOT, TEXTS, named, take

FRAMES = round(SECONDS * RATE)


class ReadmeTest(DeskTest):
    def test_own_recording(self):
        self.assertEqual(self.said(take("README.md", "meeting.wav", "sh")), "")
        self.assertEqual(self.frames("clean.wav"), FRAMES)

    def test_live_audio(self):
        self.said(take("README.md", "arecord", "sh"))
        self.said("vekbf process meeting.wav file.wav --array line:4:80mm --angle 60")
        played = (self.folder / "played.raw").read_bytes()
        self.assertEqual(len(played), 2 * FRAMES)
        self.assertEqual(played, (self.folder / "file.wav").read_bytes()[-2 * FRAMES :])

    def test_python(self):
        text = take("README.md", "from_settings", "python")
        before = "from vekbf_lab import wav\nrecording = wav.read('meeting.wav')[1].astype('int16')\n"
        self.run_python(before + text + f"assert 0 < len(clean) <= {FRAMES}\n")


class SourceTest(DeskTest):
    def test_library_alone(self):
        text = take("docs/integration.md", "VEKBF_BUILD_TESTS=OFF", "sh")
        # A folder like the source tree, in which the block may make its own `build`.
        tree = self.folder / "tree"
        tree.mkdir()
        for entry in ROOT.iterdir():
            if entry.name not in ("build", "out", ".git"):
                (tree / entry.name).symlink_to(entry)
        self.environment |= {"DESTDIR": str(tree / "root"), "CMAKE_GENERATOR": "Ninja", "CMAKE_BUILD_PARALLEL_LEVEL": "2"}
        subprocess.run(
            ["sh", "-eu", "-c", text], cwd=tree, env=self.environment, stdout=subprocess.DEVNULL, check=True
        )
        self.assertTrue(list(tree.glob("root/usr/local/lib*/**/libvekbf.so.2")))


class ContributingTest(unittest.TestCase):
    def test_build_in_a_minute(self):
        # The preset's own build folder: what it would do is known to the build that runs this test.
        commands = take("CONTRIBUTING.md", "cmake --preset release", "").strip().split(" && ")
        self.assertEqual(commands[0], "cmake --preset release")
        words = commands[1].split()
        self.assertEqual(words[:3], ["cmake", "--build", "build/release"])
        subprocess.run(["cmake", "--build", str(BUILD), *words[3:], "--", "-n"], stdout=subprocess.DEVNULL, check=True)


class DirectionTest(DeskTest):
    def test_the_talker_is_found_and_steered_to(self):
        told = self.said(take("docs/direction.md", "vekbf track", "sh"))
        degrees = [int(line.split()[1]) for line in told.splitlines() if line and not line.startswith("#")]
        self.assertAlmostEqual(degrees[-1], 60, delta=3)
        self.assertEqual(self.frames("clean.wav"), FRAMES)

    def test_a_sector(self):
        self.said(take("docs/direction.md", "--sector", "sh"))
        self.assertEqual(self.frames("clean.wav"), FRAMES)


class LabTest(DeskTest):
    def test_from_the_source_tree(self):
        self.tree()
        for name in ("PYTHONPATH", "VEKBF_LIBRARY", "LD_LIBRARY_PATH"):
            del self.environment[name]
        setting = take("docs/lab.md", "export PYTHONPATH", "sh")
        self.assertIn("simulate", self.said(setting))
        # Nothing but what the block sets is needed, not even for the library.
        self.said(setting + "python3 -m vekbf_lab pattern --array line:2:80mm --step 30 few.csv")
        self.assert_written("few.csv")

    def test_every_command(self):
        self.tree()
        told = self.walk("docs/lab.md")
        self.assert_written("clean.wav", "pattern.csv", "pattern.png", "before-and-after.png")
        self.assert_written("scene.wav", "beam.wav", "scene-source1.wav", "scene-source2.wav")
        self.assertRegex(told, r"(?m)^no fault found\nloudest talker: (59|60|61) degrees")
        self.assertRegex(told, r"(?m)^beam\.wav +0 ")
        self.run_python(take("docs/lab.md", "plots.beam_polar", "python"))
        self.run_python(take("docs/lab.md", "direction_track", "python"))
        self.assert_written("beam.svg", "levels.png", "track.png", "map.svg")


class CorpusTest(DeskTest):
    def test_every_command(self):
        self.tree()
        with socket.create_server(("127.0.0.1", 0)) as server:
            free = str(server.getsockname()[1])
        told = self.walk("docs/corpus.md", {"wrong.csv": 1}, change=lambda text: text.replace("8786", free))
        self.assertRegex(told, r"(?m)^2 recordings: 2 done .* 0 failed\n2 recordings: 1 done .* 1 done before, 0 failed\n")
        self.assertRegex(told, r"2 recordings: 0 done, 2 done before, 0 failed\n$")
        for name, options in (("fixed", "--algorithm fixed"), ("adaptive", "--algorithm adaptive")):
            self.said(f"vekbf process meeting.wav {name}.wav --array line:4:80mm --angle 60 {options}")
            ours = (self.folder / f"beams/meeting/{name}.wav").read_bytes()
            self.assertEqual(ours, (self.folder / f"{name}.wav").read_bytes())
        self.assert_written("beams/meeting/pair.wav", "beams/report.jsonl", "beams/summary.html")


class GeometryTest(DeskTest):
    def test_every_command(self):
        self.walk("docs/geometry.md")
        for angle in (0, 60, 180):
            self.assertEqual(self.frames(f"at-{angle}.wav"), FRAMES)


class FirstSoundTest(DeskTest):
    def test_every_command(self):
        (self.folder / "meeting.wav").unlink()
        self.walk("docs/first-sound.md")
        self.assertEqual(self.frames("clean.wav"), FRAMES)
        self.assert_written("before-and-after.png", "pattern.png")
        self.assertEqual((self.folder / "played.raw").read_bytes(), (self.folder / "clean.wav").read_bytes())


class LiveTest(DeskTest):
    @unittest.skipUnless(shutil.which("gst-launch-1.0"), "there is no GStreamer")
    def test_every_command(self):
        self.environment |= {
            "GST_PLUGIN_PATH": str(BUILD / "plugins"),
            "GST_REGISTRY": str(self.folder / "registry.bin"),
        }
        self.tree()
        self.walk("docs/live.md")
        self.assertEqual(self.frames("clean.wav"), FRAMES)


class TroubleShootingTest(DeskTest):
    """In each section the recording has the fault that it is about."""

    def test_every_command(self):
        meeting = self.read("meeting")
        self.write("loud", np.clip(meeting * 20, -32767, 32767))
        muted = meeting.copy()
        muted[FRAMES // 3 : FRAMES // 2] = 0
        self.write("muted", muted)
        self.tree()

        def before(heading):
            swapped = heading == "Channels in another order"
            self.write("meeting", meeting[:, [0, 2, 1, 3]] if swapped else meeting)

        self.walk(
            "docs/trouble-shooting.md",
            statuses={
                "has no steering": 2,
                "are swapped": 3,
                "doctor loud.wav": 3,
                "microphones, the sound 4 channels": 1,
                "input needs --rate": 2,
            },
            aloud=("Clipped input", "Lines on standard output"),
            before=before,
        )


class ListedTest(unittest.TestCase):
    """Blocks of nothing but `ctest`, or of the scripts of this tree: running them takes minutes, up to hours. What they
    name has to exist."""

    def blocks(self, command):
        """Blocks of this kind, and their lines without remarks."""
        for block in BLOCKS:
            lines = [line.partition("  #")[0].strip() for line in block.text.strip().splitlines()]
            excluded = any(block.document == name and word in block.text for name, word, _ in EXCLUDED)
            if block.language in ("", "sh") and not excluded and all(re.match(command, line) for line in lines):
                yield block, lines

    def test_ctest_finds_tests(self):
        for block, lines in self.blocks("ctest "):
            named.add(block)
            for line in lines:
                command = ["sh", "-euc", f"{line} -N"]
                result = subprocess.run(command, cwd=BUILD, capture_output=True, text=True, check=True)
                self.assertGreater(int(re.search(r"Total Tests: (\d+)", result.stdout)[1]), 0, str(block))

    def test_ctest_in_the_text_finds_tests(self):
        # Some tests exist in other builds only: there the line names the build folder.
        count = 0
        for document, text in TEXTS.items():
            for line in text.splitlines():
                for command in re.findall(r"`(ctest [^`]+)`", line.replace("\\|", "|")):
                    if re.search(r"build/(?!release)", line) or "NAME" in command:
                        continue
                    result = subprocess.run(["sh", "-euc", f"{command} -N"], cwd=BUILD, capture_output=True, text=True, check=True)
                    self.assertGreater(int(re.search(r"Total Tests: (\d+)", result.stdout)[1]), 0, f"{document}: {command}")
                    count += 1
        self.assertGreater(count, 20)

    def test_scripts_know_their_options(self):
        for block, lines in self.blocks("scripts/"):
            named.add(block)
            for line in lines:
                name, *arguments = shlex.split(line)
                self.assertTrue(os.access(ROOT / name, os.X_OK), str(block))
                text = (ROOT / name).read_text(encoding="utf-8")
                for option in (word for word in arguments if word.startswith("--")):
                    self.assertIn(option.partition("=")[0], text, str(block))
