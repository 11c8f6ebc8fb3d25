# SPDX-License-Identifier: MIT
"""What the documents show does what they say: programs compile and run, commands work, figures are those of the demo."""

import array
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

from support import BLOCK, TOOL, ToolTest, noise, read_wav, write_wav

ROOT = Path(__file__).resolve().parents[2]
LIBRARY = Path(os.environ["VEKBF_LIBRARY"])
README = (ROOT / "README.md").read_text()


def blocks(text, language):
    return re.findall(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)


class ProgramTest(ToolTest):
    def test_the_program_compiles_and_gives_what_the_tool_gives(self):
        (source,) = blocks(README, "c")
        (self.folder / "host.c").write_text(source)
        strict = ["-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror"]
        # The library may be built with a sanitizer; the program then has to be as well.
        command = [*os.environ["VEKBF_CC"].split(), *strict, f"-I{ROOT}/include", "-o", self.folder / "host"]
        command += [self.folder / "host.c", LIBRARY, f"-Wl,-rpath,{LIBRARY.parent}"]
        subprocess.run(command, check=True)
        frames = 40 * BLOCK
        samples = noise(4 * frames)
        subprocess.run(
            [self.folder / "host", self.folder / "out.raw"],
            input=array.array("h", samples).tobytes(), stdout=subprocess.DEVNULL, check=True,
        )
        raw = list(array.array("h", (self.folder / "out.raw").read_bytes()))
        self.assertEqual(len(raw), frames)
        write_wav(self.input, samples, 4)
        mics = [part for x in (0, 0.08, 0.16, 0.24) for part in ("--mic", f"{x},0")]
        self.run_tool("process", self.input, self.output, *mics, "--angle", 60)
        self.assertEqual(read_wav(self.output)[2][: frames - 384], raw[384:])


class CommandTest(ToolTest):
    def test_commands_run_on_a_four_channel_recording(self):
        write_wav(self.folder / "meeting.wav", noise(4 * 3000), 4)
        (self.folder / "vekbf").symlink_to(TOOL)
        path = f"{self.folder}:{os.environ['PATH']}"
        for document, expected in (("README.md", ["clean.wav"]), ("docs/geometry.md", ["at-0.wav", "at-180.wav"])):
            (script,) = blocks((ROOT / document).read_text(), "sh")
            result = subprocess.run(
                ["sh", "-eu", "-c", script], cwd=self.folder, env={**os.environ, "PATH": path}, check=True,
                capture_output=True, text=True,
            )
            self.assertEqual((result.stdout, result.stderr), ("", ""))
            for name in expected:
                self.assertEqual(len(read_wav(self.folder / name)[2]), 3000)

    def test_every_option_is_listed_with_its_default(self):
        text = self.run_tool("process", "--help").stdout
        offered = set(re.findall(r"--[a-z-]+", text)) - {"--help"}
        listed = dict(re.findall(r"^\| `(--[a-z-]+)[^|]*\|[^|]*\| ([^|]+) \|$", README, re.MULTILINE))
        self.assertEqual(set(listed), offered)
        for option in ("--geometry", "--algorithm", "--angle", "--sound-speed", "--vad-threshold", "--intensity"):
            self.assertEqual(listed[option].strip("`"), re.search(rf"{option} [A-Z]+=(\S+)", text)[1])


class FiguresTest(ToolTest):
    def test_the_table_is_that_of_the_demo(self):
        environment = {**os.environ, "PYTHONPATH": str(ROOT / "python")}
        command = [sys.executable, "-B", "-m", "vekbf_lab.demo", "--tool", TOOL, "--out", self.folder]
        result = subprocess.run(command, env=environment, check=True, capture_output=True, text=True)
        row = r"^(?:\| )?(microphone 0|fixed|adaptive) +(?:\| +)?(-?[\d.]+ dB) +(?:\| +)?(-?[\d.]+ dBFS)"
        printed = re.findall(row, result.stdout, re.MULTILINE)
        self.assertEqual(len(printed), 3)
        self.assertEqual(re.findall(row, README, re.MULTILINE), printed)

    def test_links_lead_somewhere(self):
        for document in ("README.md", "docs/geometry.md"):
            text = (ROOT / document).read_text()
            for target in re.findall(r"\]\(([^)#]+)\)", text):
                self.assertTrue((ROOT / document).parent.joinpath(target).exists(), target)
            for anchor in re.findall(r"\]\(#([^)]+)\)", text):
                headings = {h.lower().replace(" ", "-") for h in re.findall(r"^#+ (.+)$", text, re.MULTILINE)}
                self.assertIn(anchor, headings)


if __name__ == "__main__":
    unittest.main()
