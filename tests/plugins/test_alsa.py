# SPDX-License-Identifier: MIT
"""arecord through the ALSA plug-in, from a sound card made of a file."""

import fcntl
import os
import subprocess
import unittest

import numpy as np
from support import DELAY, PLUGINS, TOOL, HostTest, Twin, need, noise, read_wav, skip

CARD = os.environ.get("VEKBF_TESTCARD", "")
PARAMETERISED = os.environ["VEKBF_ALSA_CONF"]
FRAMES = 32000
F_SETPIPE_SZ = 1031  # fcntl has no name for it before Python 3.10


class Alsa(HostTest):
    def setUp(self):
        super().setUp()
        self.sound = noise(FRAMES, 4)
        self.raw = self.folder / "in.raw"
        self.raw.write_bytes(self.sound.tobytes())
        self.record_count = 0

    def configuration(self, definitions):
        path = self.folder / "asound.conf"
        path.write_text(
            f'</usr/share/alsa/alsa.conf>\n<{PARAMETERISED}>\n'
            f'pcm_type.vekbf {{ lib "{PLUGINS}/libasound_module_pcm_vekbf.so" }}\n'
            f'pcm_type.vekbf_testcard {{ lib "{CARD}" }}\n' + definitions
        )
        return os.environ | {"ALSA_CONFIG_PATH": str(path)}

    def card(self, options="", channels=4, rate=16000):
        return (
            f'pcm.card {{ type vekbf_testcard infile "{self.raw}" channels {channels} rate {rate} {options} }}\n'
        )

    def arecord(self, environment, device, *options, frames=FRAMES, rate=16000):
        """The finished run, and what was recorded."""
        target = self.folder / "out.wav"
        command = ["arecord", "-D", device, "-f", "S16_LE", "-r", rate, "-c", 1, "-s", frames, *options, target]
        result = subprocess.run(
            list(map(str, command)), capture_output=True, text=True, timeout=60, check=False, env=environment
        )
        self.assertEqual(result.stdout, "")
        return result, read_wav(target) if result.returncode == 0 else None

    def assert_beam(self, beam, *options, rate=16000, sound=None):
        expected = self.tool(self.sound if sound is None else sound, rate, *options)
        self.assertEqual(len(beam), FRAMES)
        self.assertFalse(beam[:DELAY].any())
        np.testing.assert_array_equal(beam[DELAY:], expected[: FRAMES - DELAY])

    def test_the_tools_samples_511_later(self):
        for step, period, extra in ((64, 64, ()), (999, 1000, ()), (100, 3000, ()), (64, 441, ("-M",))):
            for algorithm in ("fixed", "adaptive"):
                environment = self.configuration(
                    self.card(f"step {step}")
                    + f'pcm.beam {{ type vekbf slave.pcm "card" array "line:4:80mm" angle 60 algorithm {algorithm} }}\n'
                )
                result, beam = self.arecord(environment, "beam", "--period-size", period, *extra)
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assert_beam(beam, "--array", "line:4:80mm", "--angle", 60, "--algorithm", algorithm)

    def test_rates_and_a_square(self):
        for rate in (8000, 48000):
            environment = self.configuration(
                self.card(rate=rate) + 'pcm.beam { type vekbf slave.pcm "card" array "square:64mm" angle 200 }\n'
            )
            result, beam = self.arecord(environment, "beam", rate=rate)
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assert_beam(beam, "--array", "square:64mm", "--angle", 200, rate=rate)

    def test_four_microphones_of_six_channels(self):
        six = noise(FRAMES, 6, seed=2)
        self.raw.write_bytes(six.tobytes())
        environment = self.configuration(
            self.card(channels=6)
            + 'pcm.beam { type vekbf slave.pcm "card" array "line:4:80mm" channels "2,3,4,5" angle 60 }\n'
        )
        result, beam = self.arecord(environment, "beam")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assert_beam(beam, "--array", "line:4:80mm", "--angle", 60, sound=six[:, 1:5])

    def test_an_array_from_a_file(self):
        six = noise(FRAMES, 6, seed=3)
        self.raw.write_bytes(six.tobytes())
        array = self.folder / "board.conf"
        array.write_text("array = line:4:80mm\nchannels = 2,3,4,5\n")
        environment = self.configuration(
            self.card(channels=6) + f'pcm.beam {{ type vekbf slave.pcm "card" array "{array}" angle 60 }}\n'
        )
        result, beam = self.arecord(environment, "beam")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assert_beam(beam, "--array", array, "--angle", 60, sound=six)
        self.assert_beam(beam, "--array", "line:4:80mm", "--angle", 60, sound=six[:, 1:5])

    def test_the_parameterised_name(self):
        environment = self.configuration(self.card())
        listing = subprocess.run(["arecord", "-L"], capture_output=True, text=True, env=environment, check=True)
        self.assertIn("vekbf", listing.stdout)
        result, beam = self.arecord(environment, 'vekbf:SLAVE=card,ARRAY="line:4:80mm",ANGLE=60')
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assert_beam(beam, "--array", "line:4:80mm", "--angle", 60)

    def test_a_fresh_beam_behind_an_overrun(self):
        lost, at = 1000, 6400
        environment = self.configuration(
            self.card(f"step 100 overrun_at {at} lost {lost}")
            + 'pcm.beam { type vekbf slave.pcm "card" array "line:4:80mm" angle 60 }\n'
        )
        result, beam = self.arecord(environment, "beam", "--period-size", 200, frames=FRAMES - lost)
        self.assertEqual(result.returncode, 0, result.stderr)
        # What the ring held at the overrun is lost too: the place in the file is where the twin agrees to the end.
        fresh = next(i for i in range(DELAY, len(beam) - DELAY) if not beam[i : i + DELAY].any())
        for begin in range(at + lost - 4000, at + lost + 4000, 4):
            twin = Twin(16000, 4, array="line:4:80mm", angle=60)
            expected = twin.process(self.sound[begin : begin + len(beam) - fresh])
            if np.array_equal(expected[:2000], beam[fresh : fresh + len(expected)][:2000]):
                return
        self.fail("what follows the overrun is the beam of no place in the file")

    def test_the_angle_file_turns_the_beam(self):
        angle = self.folder / "angle"
        angle.write_text("60\n")
        environment = self.configuration(
            self.card("step 64")
            + f'pcm.beam {{ type vekbf slave.pcm "card" array "line:4:80mm" angle_file "{angle}" }}\n'
        )
        _, beam = self.arecord(environment, "beam")
        self.assert_beam(beam, "--array", "line:4:80mm", "--angle", 60)
        for text, degrees in (("120\n", 120), ("", 90), ("north\n", 90)):
            angle.write_text(text)
            _, beam = self.arecord(environment, "beam")
            self.assert_beam(beam, "--array", "line:4:80mm", "--angle", degrees)
        # While it runs: the pipe keeps the recorder waiting until the file has changed.
        angle.write_text("60\n")
        reader, writer = os.pipe()
        fcntl.fcntl(writer, F_SETPIPE_SZ, 4096)  # what waits in the pipe has been steered already
        recorder = subprocess.Popen(
            ["arecord", "-q", "-D", "beam", "-t", "raw", "-f", "S16_LE", "-r", "16000", "-c", "1"],
            stdout=writer,
            stderr=subprocess.DEVNULL,
            env=environment,
        )
        os.close(writer)
        with recorder, open(reader, "rb") as pipe:
            before = pipe.read(4000 * 2)
            subprocess.run([TOOL, "angle", "120", "--angle-file", angle], check=True, stdout=subprocess.DEVNULL)
            after = pipe.read((FRAMES - 4000) * 2)
            recorder.terminate()
        beam = np.frombuffer(before + after, "<i2")
        tools = [self.tool(self.sound, 16000, "--array", "line:4:80mm", "--angle", a) for a in (60, 120)]
        same = [beam[DELAY:] == tool[: FRAMES - DELAY] for tool in tools]
        self.assertFalse(same[0].all(), "the beam did not turn")
        turned = int(np.argmin(same[0]))
        self.assertGreaterEqual(turned, 4000 - DELAY)
        rest = np.flatnonzero(~same[1])
        self.assertLessEqual(int(rest[-1]) + 1 - turned, 384)

    def test_an_angle_file_that_is_not_there_is_one_line(self):
        missing = self.folder / "missing"
        environment = self.configuration(
            self.card() + f'pcm.beam {{ type vekbf slave.pcm "card" array "line:4:80mm" angle 60 angle_file "{missing}" }}\n'
        )
        result, beam = self.arecord(environment, "beam")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(sum(str(missing) in line for line in result.stderr.splitlines()), 1, result.stderr)
        self.assert_beam(beam, "--array", "line:4:80mm", "--angle", 60)

    def test_refusals_in_one_line(self):
        faults = {
            'array "line:7:80mm"': ("array", "line:7:80mm"),
            'arry "line:4:80mm"': ("arry",),
            'array "line:4:80mm" angle "north"': ("angle", "north"),
            "": ("array",),
            'array "line:4:80mm" config "/nowhere.conf"': ("/nowhere.conf",),
        }
        for definition, words in faults.items():
            environment = self.configuration(
                self.card() + f'pcm.beam {{ type vekbf slave.pcm "card" {definition} }}\n'
            )
            result, _ = self.arecord(environment, "beam")
            self.assertNotEqual(result.returncode, 0, definition)
            lines = [line for line in result.stderr.splitlines() if "vekbf: " in line]
            self.assertEqual(len(lines), 1, result.stderr)
            for word in words:
                self.assertIn(word, lines[0])
        environment = self.configuration(
            self.card(rate=96000) + 'pcm.beam { type vekbf slave.pcm "card" array "line:4:80mm" }\n'
        )
        result, _ = self.arecord(environment, "beam", rate=96000)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("96000", result.stderr)


if __name__ == "__main__":
    need("arecord")
    if not CARD:
        skip("there is no test card")
    unittest.main()
