# SPDX-License-Identifier: MIT
"""The LV2 plug-in between two clients of a JACK server without a sound card: every sample, the delay, and the turn."""

import os
import sys
import time
import unittest

import numpy as np
from support import DELAY, PLUGINS, DaemonTest, Twin, need, noise, skip

PAIR = os.environ.get("VEKBF_PAIR", "")
FRAMES = 2 * 16000
CYCLE = 1024  # frames
TRIES = 3


class Jack(DaemonTest):
    def setUp(self):
        super().setUp()
        self.environment |= {
            "JACK_DEFAULT_SERVER": f"vekbf_test_{os.getpid()}",
            "JACK_NO_AUDIO_RESERVATION": "1",
            "LV2_PATH": str(PLUGINS / "bundles"),
        }
        self.words = None

    def wait_for_port(self, name):
        for _ in range(100):
            listing = self.output("jack_lsp", "-l").stdout
            if name in listing:
                return listing
            time.sleep(0.1)
        return self.fail(f"there is no port {name}\n{self.logs()}")

    def start_host(self):
        server = self.environment["JACK_DEFAULT_SERVER"]
        self.start("jackd", "-n", server, "--no-realtime", "-d", "dummy", "-r", 16000, "-p", CYCLE, "-C", 4, "-P", 2)
        self.wait_for_port("system:capture_1")
        # The host reads words on its standard input, and would end with it.
        words = self.folder / "words"
        if not words.exists():
            os.mkfifo(words)
            self.words = os.open(words, os.O_RDWR | os.O_CLOEXEC)
            self.addCleanup(os.close, self.words)
        self.start("jalv", "-n", "vekbf", "-c", "angle=60", "-c", "spacing=80", "urn:vekbf:beam4", stdin=self.words)
        return self.wait_for_port("vekbf:beam")

    def pair(self):
        source = self.folder / "in.raw"
        source.write_bytes(noise(FRAMES, 4).tobytes())
        fed, back = self.folder / "fed.raw", self.folder / "back.raw"
        result = self.output(PAIR, source, fed, back, "vekbf:mic", "vekbf:beam", f"echo 'set angle 120' >{self.folder}/words")
        self.assertEqual(result.returncode, 0, result.stderr + self.logs())
        return np.fromfile(fed, "<i2").reshape(-1, 4), np.fromfile(back, "<i2")

    def matches(self, fed, back):
        """Whether the twin gives what came back in the same cycles, turned at some place."""
        beams = []
        for angle in (60, 120):
            twin = Twin(16000, 4, array="line:4:80mm")
            twin.steer(angle)
            beams.append(twin.process(fed))
        turned = int(np.argmin(back == beams[0]))
        settled = len(back) - int(np.argmin((back == beams[1])[::-1]))
        played = int(np.argmax(fed.any(axis=1)))
        if not played + FRAMES // 4 < turned < settled:
            return False
        return settled - turned <= 384 + 128

    def test_every_sample_in_its_cycle_and_the_turn(self):
        for attempt in range(TRIES):
            if attempt > 0:
                self.stop_all()
            listing = self.start_host()
            # What the plug-in reports, as the server tells it.
            self.assertIn(f"[ {DELAY} {DELAY} ] frames", listing.split("vekbf:beam")[1])
            if self.matches(*self.pair()):
                return
            print(f"attempt {attempt + 1}: cycles were lost", file=sys.stderr)
        self.fail(f"in {TRIES} attempts not one had the twin's samples")


if __name__ == "__main__":
    need("jackd", "jack_lsp", "jalv")
    if not PAIR:
        skip("there are no headers of JACK")
    unittest.main()
