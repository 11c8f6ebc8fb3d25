# SPDX-License-Identifier: MIT
"""LADSPA and LV2 through hosts that people have: the samples of `vekbf process`, 511 later."""

import subprocess
import unittest

import numpy as np
from support import DELAY, PLUGINS, HostTest, need, noise, read_wav, write_wav

BUNDLES = PLUGINS / "bundles"

CASES = [
    # mics, rate, shape, controls: angle, spacing, square, adaptive, intensity
    (2, 16000, "line:2:50mm", (30, 50, 0, 0, 3)),
    (3, 8000, "line:3:35mm", (120, 35, 0, 1, 3)),
    (4, 48000, "line:4:12.5mm", (75, 12.5, 0, 0, 3)),
    (4, 16000, "square:64mm", (200, 64, 1, 0, 3)),
    (4, 44100, "square:64mm", (315, 64, 1, 1, 8)),
]


class PortHosts(HostTest):
    def assert_delayed(self, beam, expected, case):
        self.assertGreater(len(beam), len(expected) - DELAY, case)
        self.assertFalse(beam[:DELAY].any(), case)
        common = min(len(beam) - DELAY, len(expected))
        np.testing.assert_array_equal(beam[DELAY : DELAY + common], expected[:common], str(case))

    def expected(self, case, samples):
        _, rate, shape, (angle, _, _, adaptive, intensity) = case
        algorithm = "adaptive" if adaptive else "fixed"
        return self.tool(
            samples, rate, "--array", shape, "--angle", angle, "--algorithm", algorithm, "--intensity", intensity
        )

    def assert_beams(self, host, **environment):
        """`host` gives the command for the files and the case."""
        for case in CASES:
            mics, rate, _, controls = case
            samples = noise(9000, mics)
            source, target = self.folder / "in.wav", self.folder / "out.wav"
            write_wav(source, samples, rate)
            self.run_host(*host(source, target, mics, controls), **environment)
            self.assert_delayed(read_wav(target), self.expected(case, samples), case)

    def test_ladspa_by_applyplugin(self):
        need("applyplugin")

        def host(source, target, mics, controls):
            return "applyplugin", "-s", 0.1, source, target, "vekbf_ladspa.so", f"vekbf{mics}", *controls, 0

        self.assert_beams(host, LADSPA_PATH=str(PLUGINS))

    def test_ladspa_by_sox(self):
        need("sox")

        def host(source, target, mics, controls):
            to_file = ("-b", 16, "-c", 1, "-e", "signed", target)
            # It counts the three outputs of controls among the arguments.
            return "sox", "-D", source, *to_file, "ladspa", "vekbf_ladspa", f"vekbf{mics}", *controls, 0, 0, 0, 0

        self.assert_beams(host, LADSPA_PATH=str(PLUGINS))

    def test_lv2_by_lv2apply(self):
        need("lv2apply")
        names = ("angle", "spacing", "square", "adaptive", "intensity")

        def host(source, target, mics, controls):
            given = [word for pair in zip(names, controls) for word in ("-c", *pair)]
            return "lv2apply", "-i", source, "-o", target, *given, f"urn:vekbf:beam{mics}"

        self.assert_beams(host, LV2_PATH=str(BUNDLES))

    def test_what_is_not_configured_is_silence_and_one_line(self):
        need("applyplugin", "lv2apply")
        source, target = self.folder / "in.wav", self.folder / "out.wav"
        write_wav(source, noise(9000, 4))
        nowhere = str(self.folder / "nowhere.conf")
        wrong = self.folder / "wrong.conf"
        wrong.write_text("array = line:4:80mm\nangel = 60\n")
        small = self.folder / "small.conf"
        small.write_text("array = line:3:80mm\n")
        for config, words in (
            (nowhere, ("nowhere.conf", "cannot be read")),
            (wrong, ("wrong.conf:2:", "'angel'")),
            (small, ("array", "'line:3:80mm'", "4 channels")),
        ):
            hosts = (
                ("applyplugin", "-s", 0.1, source, target, "vekbf_ladspa.so", "vekbf4", 60, 0, 0, 0, 3, 0),
                ("lv2apply", "-i", source, "-o", target, "-c", "angle", 60, "urn:vekbf:beam4"),
            )
            for host in hosts:
                result = self.run_host(
                    *host, LADSPA_PATH=str(PLUGINS), LV2_PATH=str(BUNDLES), VEKBF_CONFIG=str(config)
                )
                self.assertFalse(read_wav(target).any(), host)
                lines = [line for line in result.stderr.splitlines() if line.startswith("vekbf4: ")]
                self.assertEqual(len(lines), 1, result.stderr)
                for word in (*words, "silent"):
                    self.assertIn(word, lines[0])

    def test_the_lv2_description_is_valid(self):
        need("sord_validate")
        files = [*BUNDLES.rglob("*.ttl")]
        self.assertEqual(len(files), 2)
        result = self.run_host("sord_validate", *subprocess.getoutput("find /usr/lib/lv2 -name '*.ttl'").split(), *files)
        self.assertIn("Found 0 errors", result.stdout + result.stderr)

    def test_an_array_from_the_file(self):
        need("applyplugin")
        positions = self.folder / "array.conf"
        positions.write_text('mic = ["0,0", "0.02,0", "0.07,0"]\nsound-speed = 340\n')
        samples = noise(9000, 3)
        source, target = self.folder / "in.wav", self.folder / "out.wav"
        write_wav(source, samples)
        self.run_host(
            *("applyplugin", "-s", 0.1, source, target, "vekbf_ladspa.so", "vekbf3", 45, 0, 0, 0, 3, 0),
            LADSPA_PATH=str(PLUGINS),
            VEKBF_CONFIG=str(positions),
        )
        self.assert_delayed(read_wav(target), self.tool(samples, 16000, "--config", positions, "--angle", 45), "file")

    def test_the_ports_are_the_microphones_of_an_array_with_channels(self):
        need("applyplugin")
        array, options = self.folder / "board.conf", self.folder / "array.conf"
        array.write_text("array = line:4:80mm\nchannels = 2,3,4,5\n")
        options.write_text(f"array = {array}\n")
        samples = noise(9000, 4)
        source, target = self.folder / "in.wav", self.folder / "out.wav"
        write_wav(source, samples)
        self.run_host(
            *("applyplugin", "-s", 0.1, source, target, "vekbf_ladspa.so", "vekbf4", 45, 0, 0, 0, 3, 0),
            LADSPA_PATH=str(PLUGINS),
            VEKBF_CONFIG=str(options),
        )
        expected = self.tool(samples, 16000, "--array", "line:4:80mm", "--angle", 45)
        self.assert_delayed(read_wav(target), expected, "board")

    def test_each_module_exports_its_entry_only(self):
        for module, entry in (
            (PLUGINS / "vekbf_ladspa.so", "ladspa_descriptor"),
            (BUNDLES / "vekbf.lv2" / "vekbf.so", "lv2_descriptor"),
        ):
            listing = subprocess.check_output(["nm", "-D", "--defined-only", str(module)], text=True)
            self.assertEqual([line.split()[-1] for line in listing.splitlines()], [entry])


if __name__ == "__main__":
    unittest.main()
