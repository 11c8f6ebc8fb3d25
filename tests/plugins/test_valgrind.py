# SPDX-License-Identifier: MIT
"""Each plug-in under valgrind in a host that people have: no read of what was not written or is not there, no loss."""

import subprocess
import unittest

from support import PLUGINS, HostTest, need, noise, write_wav
from test_alsa import Alsa

WATCHED = ("valgrind", "-q", "--error-exitcode=99", "--num-callers=40")
LEAKS = ("--leak-check=full", "--errors-for-leak-kinds=definite")


class Valgrind(HostTest):
    def setUp(self):
        super().setUp()
        self.source = self.folder / "in.wav"
        write_wav(self.source, noise(9000, 4))

    def test_ladspa(self):
        # The host itself releases nothing: losses of the plug-in are the business of the address sanitizer's build.
        controls = (60, 80, 0, 1, 3, 0)
        target = self.folder / "out.wav"
        command = ("applyplugin", "-s", 0.1, self.source, target, "vekbf_ladspa.so", "vekbf4", *controls)
        self.run_host(*WATCHED, *command, LADSPA_PATH=str(PLUGINS))

    def test_lv2(self):
        command = ("lv2apply", "-i", self.source, "-o", self.folder / "out.wav", "-c", "spacing", 80, "urn:vekbf:beam4")
        self.run_host(*WATCHED, *LEAKS, *command, LV2_PATH=str(PLUGINS / "bundles"))

    def test_gstreamer(self):
        for element in (["array=line:4:80mm", "angle=60"], ["array=line:4:80mm", "follow=true", "algorithm=adaptive"]):
            pipeline = ("filesrc", f"location={self.source}", "!", "wavparse", "!", "vekbf", *element, "!", "fakesink")
            self.run_host(
                *WATCHED,
                *LEAKS,
                "gst-launch-1.0",
                "-q",
                *pipeline,
                GST_PLUGIN_PATH=str(PLUGINS),
                GST_REGISTRY=str(self.folder / "registry.bin"),
            )


class ValgrindAlsa(Alsa):
    """One recording only, with an angle file and an overrun."""

    def test_alsa(self):
        angle = self.folder / "angle"
        angle.write_text("60\n")
        environment = self.configuration(
            self.card("step 100 overrun_at 6400 lost 1000")
            + f'pcm.beam {{ type vekbf slave.pcm "card" array "line:4:80mm" angle_file "{angle}" }}\n'
        )
        target = self.folder / "out.wav"
        result = subprocess.run(
            [*WATCHED, *LEAKS, "arecord", "-D", "beam", "-f", "S16_LE", "-r", "16000", "-c", "1", "-s", "20000", target],
            capture_output=True,
            text=True,
            timeout=300,
            check=False,
            env=environment,
        )
        self.assertEqual(result.returncode, 0, result.stderr)


if __name__ == "__main__":
    need("valgrind", "applyplugin", "lv2apply", "gst-launch-1.0", "arecord")
    unittest.main(argv=["test_valgrind.py", "Valgrind", "ValgrindAlsa.test_alsa"])
