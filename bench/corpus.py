# SPDX-License-Identifier: MIT
"""What `vekbf-lab corpus` costs: a worker beside `vekbf process`, two workers beside one, a thousand short recordings.

    corpus.py BUILD [--minutes N]      after building it with the preset `release`

Each line gives seconds of the clock and of the processor, of all processes together. Where other work runs beside it, only
the latter mean something: two workers are then as good as their processor time is that of one.
"""

import argparse
import os
import resource
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np
import soundfile

ROOT = Path(__file__).resolve().parents[1]
RATE, CHANNELS, ARRAY, ANGLE = 16000, 4, "line:4:80mm", 60
ALGORITHMS = ("fixed", "adaptive")
RECORDINGS = 10  # different ones; a longer list names them again
RUNS = 7  # of the comparison with the tool, in turns, of which the least counts
SHORT_FILES, SHORT_SECONDS = 1000, 10


def processor_seconds():
    uses = [resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)]
    return sum(use.ru_utime + use.ru_stime for use in uses)


def cost(action):
    """Seconds of the clock and of the processor."""
    clock, processor = time.monotonic(), processor_seconds()
    action()
    return np.array([time.monotonic() - clock, processor_seconds() - processor])


class Lists:
    def __init__(self, folder):
        self.folder = folder
        rng = np.random.default_rng(1)
        for seconds in (60, SHORT_SECONDS):
            for n in range(RECORDINGS):
                samples = rng.normal(0, 0.1, (seconds * RATE, CHANNELS))
                soundfile.write(self.recording(seconds, n), samples, RATE, "PCM_16")

    def recording(self, seconds, n):
        return self.folder / f"{seconds}s{n % RECORDINGS}.wav"

    def write(self, seconds, count, algorithm):
        lines = [f"{self.recording(seconds, n)},{ARRAY},{ANGLE},{algorithm},{n}.wav\n" for n in range(count)]
        path = self.folder / "list.csv"
        path.write_text("files,array,angle,algorithm,output\n" + "".join(lines))
        return path

    def fresh(self):
        """A folder for results."""
        out = self.folder / "out"
        shutil.rmtree(out, ignore_errors=True)
        (out / "parts").mkdir(parents=True)
        return out


def over_the_tool(lists, tool, algorithm):
    """A line for each of the two, and by how much a worker takes longer, in per cent."""
    from vekbf_lab import corpus_manifest, corpus_work

    out = lists.fresh()
    rows = corpus_manifest.read(lists.write(60, RECORDINGS, algorithm), out)

    def by_tool():
        options = ["--array", ARRAY, "--angle", str(ANGLE), "--algorithm", algorithm]
        for row in rows:
            subprocess.run([tool, "process", row.files[0], out / "tool.wav", *options], check=True)

    def by_worker():
        reports = corpus_work.process_batch([(row, None) for row in rows], out, out / "parts")
        assert all(report["status"] == corpus_work.DONE for report in reports)

    runs = [(cost(by_tool), cost(by_worker)) for _ in range(RUNS)]
    tools, workers = (np.min(column, axis=0) for column in zip(*runs))
    show(f"{RECORDINGS} files of a minute, {algorithm}, vekbf process", tools)
    show("the same, a worker", workers)
    clock, processor = 100 * (workers / tools - 1)
    print(f"    more than the tool: {clock:.1f} % of the clock, {processor:.1f} % of the processor")


def run(lists, manifest, out, workers):
    command = [sys.executable, "-B", "-m", "vekbf_lab", "corpus", manifest, out, "--workers", str(workers)]
    return cost(lambda: subprocess.run(command, check=True, stdout=subprocess.DEVNULL))


def show(what, seconds):
    print(f"{what:<50} {seconds[0]:8.2f} s of the clock {seconds[1]:8.2f} s of the processor", flush=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=Path)
    parser.add_argument("--minutes", type=int, default=2000, help="files of a minute in the list for one and two workers")
    options = parser.parse_args()
    build = options.build.resolve()
    os.environ["VEKBF_LIBRARY"] = str(build / "libvekbf-stream.so.2")
    os.environ["PYTHONPATH"] = str(ROOT / "python")
    sys.path.insert(0, str(ROOT / "python"))
    with tempfile.TemporaryDirectory() as folder:
        lists = Lists(Path(folder))
        for algorithm in ALGORITHMS:
            over_the_tool(lists, build / "tools/vekbf", algorithm)
        manifest = lists.write(60, options.minutes, "fixed")
        one, two = (run(lists, manifest, lists.fresh(), workers) for workers in (1, 2))
        show(f"{options.minutes} files of a minute, one worker", one)
        show("the same, two workers", two)
        print(f"    {one[0] / two[0]:.2f} times as fast; {100 * (two[1] / one[1] - 1):.1f} % more of the processor")
        manifest, out = lists.write(SHORT_SECONDS, SHORT_FILES, "fixed"), lists.fresh()
        show(f"{SHORT_FILES} files of {SHORT_SECONDS} s, two workers", run(lists, manifest, out, 2))
        show("the same once more, all of it done before", run(lists, manifest, out, 2))


if __name__ == "__main__":
    main()
