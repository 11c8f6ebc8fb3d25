# SPDX-License-Identifier: MIT
"""The table of "A live beam by each route" in docs/performance.md: per cent of one core, four microphones at 16 kHz in
buffers of 10 ms. Processor time of the host with the beam, less that of the same host without it, which runs just before
it; the median of these differences and, in brackets, the least and the greatest.

    live_routes.py BUILD [--seconds N] [--runs N]      after building it with the preset `release`

The last two rows are in real time, for a tenth of these seconds: there the beam runs once in each buffer and finds the
processor's caches as other work has left them. PipeWire has cycles of 8 ms (it takes powers of two), its microphones
are silent, which costs the same, and without the beam its filter copies the channels.
"""

import argparse
import ctypes
import io
import os
import re
import resource
import statistics
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
RATE, CHANNELS, BUFFER = 16000, 4, 160
LINE = "line:4:80mm"
ALGORITHMS = ("fixed", "adaptive")


def children_seconds():
    use = resource.getrusage(resource.RUSAGE_CHILDREN)
    return use.ru_utime + use.ru_stime


def cost(command, environment=()):
    before = children_seconds()
    subprocess.run(
        list(map(str, command)), check=True, env=os.environ | dict(environment), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL
    )
    return children_seconds() - before


class Routes:
    def __init__(self, build, folder, seconds):
        self.build, self.folder, self.seconds = build, folder, seconds
        self.sound = support.noise(RATE * seconds, CHANNELS)
        self.wav, self.raw = folder / "in.wav", folder / "in.raw"
        support.write_wav(self.wav, self.sound)
        self.raw.write_bytes(self.sound.tobytes())

    def tool(self, algorithm):
        to_file = [self.wav, self.folder / "out.wav", "--array", LINE, "--algorithm", algorithm]
        return cost([self.build / "tools/vekbf", "process", *to_file])

    def gstreamer(self, algorithm):
        environment = {"GST_PLUGIN_PATH": self.build / "plugins", "GST_REGISTRY": self.folder / "registry.bin"}
        caps = f"format=S16LE,rate={RATE},channels={CHANNELS},layout=interleaved,channel-mask=(bitmask)0x33"
        source = ["filesrc", f"location={self.raw}", f"blocksize={BUFFER * 2 * CHANNELS}", "!", f"audio/x-raw,{caps}", "!"]
        beam = ["vekbf", f"array={LINE}", f"algorithm={algorithm}", "!"]
        launch = ["gst-launch-1.0", "-q", *source]
        without = cost([*launch, "fakesink"], environment)
        return cost([*launch, *beam, "fakesink"], environment) - without

    def alsa(self, algorithm):
        configuration = self.folder / "asound.conf"
        configuration.write_text(
            "</usr/share/alsa/alsa.conf>\n"
            f'pcm_type.vekbf {{ lib "{self.build}/plugins/libasound_module_pcm_vekbf.so" }}\n'
            f'pcm_type.vekbf_testcard {{ lib "{next(self.build.rglob("libvekbf_testcard.so"))}" }}\n'
            f'pcm.card {{ type vekbf_testcard infile "{self.raw}" channels {CHANNELS} rate {RATE} step {BUFFER} }}\n'
            f'pcm.beam {{ type vekbf slave.pcm "card" array "{LINE}" algorithm {algorithm} }}\n'
        )

        def record(device, channels):
            command = ["arecord", "-q", "-D", device, "-t", "raw", "-f", "S16_LE", "-r", RATE, "-c", channels]
            frames = ["--period-size", BUFFER, "-s", RATE * self.seconds]
            return cost([*command, *frames, "/dev/null"], {"ALSA_CONFIG_PATH": configuration})

        without = record("card", CHANNELS)
        return record("beam", 1) - without

    def ladspa(self, algorithm, seconds=None, pause=0.0):
        class Descriptor(ctypes.Structure):
            Handle = ctypes.c_void_p
            _fields_ = [
                ("id", ctypes.c_ulong),
                ("label", ctypes.c_char_p),
                ("properties", ctypes.c_int),
                ("name", ctypes.c_char_p),
                ("maker", ctypes.c_char_p),
                ("copyright", ctypes.c_char_p),
                ("count", ctypes.c_ulong),
                *((name, ctypes.c_void_p) for name in ("ports", "names", "hints", "data")),
                ("instantiate", ctypes.CFUNCTYPE(Handle, ctypes.c_void_p, ctypes.c_ulong)),
                ("connect", ctypes.CFUNCTYPE(None, Handle, ctypes.c_ulong, ctypes.c_void_p)),
                ("activate", ctypes.CFUNCTYPE(None, Handle)),
                ("run", ctypes.CFUNCTYPE(None, Handle, ctypes.c_ulong)),
            ]

        library = ctypes.CDLL(str(self.build / "plugins/vekbf_ladspa.so"))
        library.ladspa_descriptor.restype = ctypes.POINTER(Descriptor)
        plugin = next(
            d.contents for d in map(library.ladspa_descriptor, range(9)) if d and d.contents.label == f"vekbf{CHANNELS}".encode()
        )
        handle = plugin.instantiate(ctypes.addressof(plugin), RATE)
        planar = np.ascontiguousarray(self.sound.T.astype(np.float32) / 32768)
        out = np.empty(BUFFER, np.float32)
        controls = np.zeros(plugin.count, np.float32)
        for port in range(CHANNELS + 1, plugin.count):
            plugin.connect(handle, port, controls[port:].ctypes.data)
        controls[CHANNELS + 1 : CHANNELS + 6] = (60, 80, 0, algorithm == "adaptive", 3)
        plugin.connect(handle, CHANNELS, out.ctypes.data)
        plugin.activate(handle)
        starts = [planar[channel].ctypes.data for channel in range(CHANNELS)]

        def loop(run):
            before = time.process_time()
            for at in range(0, 4 * (RATE * (seconds or self.seconds) - BUFFER + 1), 4 * BUFFER):
                if pause > 0:
                    time.sleep(pause)
                for channel in range(CHANNELS):
                    plugin.connect(handle, channel, starts[channel] + at)
                run(handle, BUFFER)
            return time.process_time() - before

        without = loop(lambda *_: None)
        return loop(plugin.run) - without


# Of a process identifier, its complement above these bits is the clock of its processor time (CPUCLOCK_SCHED of Linux).
PROCESS_CLOCK = 2

# A filter that gives the first channel on.
COPIES = """
nodes = [ { type = builtin name = a label = copy } { type = builtin name = b label = copy }
          { type = builtin name = c label = copy } { type = builtin name = d label = copy } ]
inputs = [ "a:In" "b:In" "c:In" "d:In" ] outputs = [ "a:Out" ]
"""


def pipewire_costs(seconds, runs):
    """For each algorithm: processor seconds of the filter's process, less those of one that copies, in so many seconds."""
    os.environ["VEKBF_PIPEWIRE_CONF"] = str(ROOT / "plugins/pipewire/pipewire.conf")
    import test_pipewire

    test_pipewire.ARRAY = test_pipewire.ARRAY.replace("1024", "128")

    class Session(test_pipewire.PipeWire):
        def runTest(self):
            conf = self.configured(Spacing=80, Follow=0, Angle=60, Adaptive=int(self.algorithm == "adaptive"))
            if self.algorithm is None:
                conf.write_text(re.sub(r"nodes = .*outputs = [^]]*]", COPIES, conf.read_text(), flags=re.DOTALL))
            self.start_daemons(conf)
            clock = (~self.processes[-1].pid << 3) | PROCESS_CLOCK
            self.start("pw-cat", "--record", "--target", "vekbf", "--rate", RATE, "--channels", 1, "/dev/null")
            time.sleep(2)
            before = time.clock_gettime(clock)
            time.sleep(seconds)
            Session.result = time.clock_gettime(clock) - before

    def measure(algorithm):
        Session.algorithm = algorithm
        outcome = unittest.TextTestRunner(stream=io.StringIO()).run(Session())
        if not outcome.wasSuccessful():
            sys.exit("live_routes.py: PipeWire does not run\n" + (outcome.failures + outcome.errors)[0][1])
        return Session.result

    costs = {algorithm: [] for algorithm in ALGORITHMS}
    for _ in range(runs):
        without = measure(None)
        for algorithm in ALGORITHMS:
            costs[algorithm].append(measure(algorithm) - without)
    return costs


def print_row(name, costs, seconds):
    shares = [[100 * spent / seconds for spent in costs[algorithm]] for algorithm in ALGORITHMS]
    cells = [f"{statistics.median(s):.2f} % ({min(s):.2f} to {max(s):.2f})" for s in shares]
    print(f"| {name} | {' | '.join(cells)} |", flush=True)


def main():
    options = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    options.add_argument("build", type=lambda text: Path(text).resolve())
    options.add_argument("--seconds", type=int, default=300)
    options.add_argument("--runs", type=int, default=5)
    given = options.parse_args()
    os.environ |= {"VEKBF_TOOL": str(given.build / "tools/vekbf"), "VEKBF_PLUGINS": str(given.build / "plugins")}
    sys.path.insert(0, str(ROOT / "tests/plugins"))
    global np, support
    import numpy as np
    import support

    real_seconds = given.seconds // 10
    with tempfile.TemporaryDirectory() as scratch:
        routes = Routes(given.build, Path(scratch), given.seconds)
        print("| route | fixed | adaptive |\n|---|---:|---:|")
        for name, seconds, measure in (
            ("`vekbf process`, file to file", given.seconds, routes.tool),
            ("LADSPA, LV2", given.seconds, routes.ladspa),
            ("GStreamer", given.seconds, routes.gstreamer),
            ("ALSA", given.seconds, routes.alsa),
            ("LADSPA, LV2, one buffer every 10 ms", real_seconds, lambda which: routes.ladspa(which, real_seconds, BUFFER / RATE)),
        ):
            measure(ALGORITHMS[0])  # what a host does once, such as GStreamer's registry
            costs = {algorithm: [measure(algorithm) for _ in range(given.runs)] for algorithm in ALGORITHMS}
            print_row(name, costs, seconds)
    print_row("PipeWire", pipewire_costs(real_seconds, given.runs), real_seconds)


if __name__ == "__main__":
    main()
