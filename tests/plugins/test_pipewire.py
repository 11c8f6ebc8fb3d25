# SPDX-License-Identifier: MIT
"""A real PipeWire daemon with its session manager, no hardware: the shipped configuration makes the source "vekbf".

A program plays into a virtual array and records from the source, and what was played too. The companion, fed with what
was played, must give every sample that came back.
"""

import os
import re
import subprocess
import sys
import time
import unittest
from pathlib import Path

import numpy as np
from support import PLUGINS, TOOL, DaemonTest, Twin, need, noise, skip

PAIR = os.environ.get("VEKBF_PAIR", "")
CONF = Path(os.environ["VEKBF_PIPEWIRE_CONF"])
FRAMES = 4 * 16000
TRIES = 3

ARRAY = """
context.properties = {
    default.clock.rate = 16000  default.clock.allowed-rates = [ 16000 ]
    default.clock.quantum = 1024  default.clock.min-quantum = 1024
    vm.overrides = { default.clock.min-quantum = 1024 }
}
context.objects = [ { factory = adapter args = {
    factory.name = support.null-audio-sink  node.name = mic_array  media.class = Audio/Source/Virtual
    audio.position = "AUX0,AUX1,AUX2,AUX3"  monitor.channel-volumes = false
} } ]
"""


class PipeWire(DaemonTest):
    def setUp(self):
        super().setUp()
        run = self.folder / "run"
        run.mkdir(mode=0o700)
        drop_in = self.folder / "config/pipewire/pipewire.conf.d"
        drop_in.mkdir(parents=True)
        (drop_in / "array.conf").write_text(ARRAY)
        self.environment |= {
            "XDG_RUNTIME_DIR": str(run),
            "XDG_CONFIG_HOME": str(self.folder / "config"),
            "XDG_STATE_HOME": str(self.folder / "state"),
            "HOME": str(self.folder),
            "LADSPA_PATH": str(PLUGINS),
        }

    def wait_for_node(self, name):
        for _ in range(100):
            if f'node.name = "{name}"' in self.output("pw-cli", "ls", "Node").stdout:
                return
            time.sleep(0.1)
        self.fail(f"there is no node {name}\n{self.logs()}")

    def start_daemons(self, conf):
        self.start("dbus-daemon", "--session", "--nofork", f"--address=unix:path={self.folder}/run/bus")
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={self.folder}/run/bus"
        self.start("pipewire")
        for _ in range(100):
            if self.output("pw-cli", "info", "0").returncode == 0:
                break
            time.sleep(0.1)
        self.start("wireplumber")
        self.wait_for_node("mic_array")
        self.start("pipewire", "-c", conf)
        self.wait_for_node("vekbf")

    def configured(self, **controls):
        """The shipped file as a person edits it."""
        text = CONF.read_text()
        for name, value in controls.items():
            text, changed = re.subn(rf'("{name}[^"]*"\s*= )\S+', rf"\g<1>{value}", text)
            self.assertEqual(changed, 1, name)
        path = self.folder / "pipewire.conf"
        path.write_text(text)
        return path

    def pair(self, command):
        source = self.folder / "in.raw"
        source.write_bytes(noise(FRAMES, 4).tobytes())
        fed, back = self.folder / "fed.raw", self.folder / "back.raw"
        result = self.output(
            "pw-jack", PAIR, str(source), str(fed), str(back), "mic_array:input_AUX", "VekBf:capture_MONO", command
        )
        self.assertEqual(result.returncode, 0, result.stderr)
        return np.fromfile(fed, "<i2").reshape(-1, 4), np.fromfile(back, "<i2")

    def matches(self, fed, back):
        """Whether the twin gives what came back, at some whole offset, turned at some place."""
        begin = int(np.argmax(back != 0))
        played = int(np.argmax(fed.any(axis=1)))
        if begin <= played:
            return False
        # The filter runs from its start on; the twin needs the phase of its blocks only, as silence changes nothing.
        for phase in range(128):
            silence = np.zeros((128 * 4 + phase, 4), np.int16)
            twin = Twin(16000, 4, array="line:4:80mm")
            twin.steer(60)
            before = twin.process(np.concatenate([silence, fed[played:]]))[len(silence) :]
            twin = Twin(16000, 4, array="line:4:80mm")
            twin.steer(120)
            after = twin.process(np.concatenate([silence, fed[played:]]))[len(silence) :]
            first = int(np.argmax(before != 0))
            offset = begin - first
            length = min(len(before), len(back) - offset)
            came = back[offset : offset + length]
            same_before = came == before[:length]
            same_after = came == after[:length]
            turned = int(np.argmin(same_before))  # first sample that differs
            if turned < FRAMES // 4:
                continue
            settled = length - int(np.argmin(same_after[::-1]))  # from here on all are the other angle's
            if settled - turned <= 384 + 128 and settled < 3 * FRAMES // 4 + 8192:
                return True
        return False

    def test_a_misspelt_control_is_silence_that_the_log_explains(self):
        conf = self.configured(Follow=0, Angle=60)
        conf.write_text(conf.read_text().replace('"Spacing (mm)" = 0', '"Spacng (mm)" = 80'))
        self.environment["VEKBF_CONFIG"] = str(self.folder / "nowhere.conf")
        self.start_daemons(conf)
        fed, back = self.pair("true")
        self.assertTrue(fed.any())
        self.assertFalse(back.any())
        self.assertRegex(self.logs(), r"control 'Spacng \(mm\)' can not be set")
        self.assertIn("nowhere.conf: cannot be read", self.logs())

    def test_every_sample_and_the_turn_while_it_runs(self):
        conf = self.configured(Spacing=80, Follow=0, Angle=60)
        for attempt in range(TRIES):
            if attempt > 0:
                self.stop_all()
            self.start_daemons(conf)
            turn = f"{TOOL} angle 120 >/dev/null"
            fed, back = self.pair(turn)
            if self.matches(fed, back):
                self.assertNotIn("can not be set", self.logs())
                return
            print(f"attempt {attempt + 1}: cycles were lost", file=sys.stderr)
        self.fail(f"in {TRIES} attempts not one had the twin's samples")


if __name__ == "__main__":
    need("pipewire", "wireplumber", "pw-cli", "pw-jack", "dbus-daemon")
    if not PAIR:
        skip("there are no headers of JACK")
    unittest.main()
