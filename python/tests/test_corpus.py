# SPDX-License-Identifier: MIT
"""`vekbf-lab corpus`: the manifest's faults, the tool's results byte for byte, and a real Dask cluster on this machine
whose workers are killed."""

import json
import os
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import unittest.mock
import warnings
from pathlib import Path

import numpy as np
import soundfile
from support import CommandTest, call

import vekbf
from vekbf_lab import corpus, corpus_manifest, corpus_report, corpus_work

TOOL = os.environ["VEKBF_TOOL"]
RATE = 16000
HEAD = "files,array,angle,output\n"


def noise(frames, channels, seed=1, level=0.1):
    return np.random.default_rng(seed).normal(0, level, (frames, channels))


class CorpusTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.out = self.folder / "out"

    def recording(self, name, samples=None, rate=RATE, subtype="PCM_16", **options):
        path = self.folder / name
        soundfile.write(path, noise(RATE, 2) if samples is None else samples, rate, subtype, **options)
        return path

    def manifest(self, text, name="list.csv"):
        path = self.folder / name
        path.write_text(text, encoding="utf-8")
        return path

    def rows(self, text, name="list.csv"):
        return corpus_manifest.read(self.manifest(text, name), self.out)

    def process(self, row, earlier=None):
        parts = self.folder / "parts"
        parts.mkdir(exist_ok=True)
        return corpus_work.process_batch([(row, earlier)], self.out, parts)[0]

    def by_tool(self, *arguments):
        """(bytes of the result, the tool's report) of `vekbf process ARGUMENTS`, run in the folder."""
        target = self.folder / "tool.wav"
        result = subprocess.run(
            [TOOL, "process", *map(str, arguments), "--json", str(target)],
            cwd=self.folder,
            capture_output=True,
            text=True,
        )
        self.assertEqual(result.returncode, 0, result.stderr)
        return target.read_bytes(), json.loads(result.stdout)


class ManifestTest(CorpusTest):
    def faults(self, text, name="list.csv"):
        """{line: text} of what is wrong."""
        path = self.manifest(text, name)
        status, out, err = call("corpus", path, self.out)
        self.assertEqual((status, out), (1, ""))
        self.assertFalse(self.out.exists())
        found = {}
        for line in err.splitlines():
            where, _, what = line.removeprefix(f"{path}:").partition(": ")
            found.setdefault(int(where), []).append(what)
        return found

    def test_every_fault_is_named_with_its_line(self):
        self.recording("good.wav")
        self.recording("wide.wav", noise(RATE, 3))
        self.recording("fast.wav", rate=96000)
        self.recording("sound.flac")
        (self.folder / "text.wav").write_text("no sound")
        (self.folder / "empty.wav").write_text("")
        whole = self.recording("cut.wav").read_bytes()
        (self.folder / "cut.wav").write_bytes(whole[:-1000])
        lines = (
            ("good.wav,line:2:5cm,60,", None),
            ("absent.wav,line:2:5cm,60,a1.wav", "absent.wav"),
            ("good.wav,line:2:5,60,a2.wav", "array is "),
            ("good.wav,line:2:5cm,north,a3.wav", "angle is a whole number"),
            ("wide.wav,line:2:5cm,60,a4.wav", "3 channels"),
            ("fast.wav,line:2:5cm,60,a5.wav", "96000"),
            ("sound.flac,line:2:5cm,60,a6.wav", "FLAC"),
            ("text.wav,line:2:5cm,60,a7.wav", "text.wav"),
            ("empty.wav,line:2:5cm,60,a8.wav", "is empty"),
            ("cut.wav,line:2:5cm,60,a9.wav", "is cut off"),
            (",line:2:5cm,60,b1.wav", "files is missing"),
            ("good.wav,,60,b2.wav", "array is missing"),
            ("good.wav,line:2:5cm,60,../b3.wav", "below the output folder"),
            ("good.wav,line:2:5cm,60,/b4.wav", "below the output folder"),
            ("good.wav,line:2:5cm,60,b5.flac", "below the output folder"),
            ("good.wav,line:2:5cm,60", "3 cells, but there are 4 columns"),
            ("good.wav,line:2:5cm,60,good.wav", "also that of line 2"),
            ("good.wav;wide.wav,line:2:5cm,60,b6.wav", "several files are mono ones"),
            ("..,line:2:5cm,60,b7.wav", "no regular file"),
        )
        found = self.faults(HEAD + "".join(line + "\n" for line, _ in lines))
        for number, (line, wanted) in enumerate(lines, 2):
            with self.subTest(line=line):
                if wanted is None:
                    self.assertNotIn(number, found)
                else:
                    (text,) = found[number]
                    self.assertIn(wanted, text)

    def test_columns(self):
        self.recording("good.wav")
        found = self.faults("files,array,tempo\ngood.wav,line:2:5cm,\ngood.wav,line:2:5cm,9\ngood.wav,line:2:5cm,8\n")
        self.assertEqual(list(found), [3])
        self.assertIn("'tempo' is no column: there are algorithm, angle,", found[3][0])
        self.assertIn(1, self.faults("files,array,array\ngood.wav,line:2:5cm,line:2:5cm\n"))

    def test_json_lines(self):
        self.recording("good.wav")
        self.recording("a;b.wav", noise(RATE, 1))
        lines = (
            {"files": "good.wav", "array": "line:2:5cm", "angle": 60, "keep-time": True, "output": None},
            {"files": ["a;b.wav", "a;b.wav"], "array": "line:2:5cm", "output": "sub/b.wav"},
            {"files": "good.wav", "array": "line:1:5cm", "channels": [2], "output": "c.wav"},
        )
        rows = self.rows("".join(json.dumps(line) + "\n" for line in lines), "list.jsonl")
        self.assertEqual([row.output for row in rows], ["good.wav", "sub/b.wav", "c.wav"])
        self.assertEqual(rows[0].settings, {"array": "line:2:5cm", "angle": "60", "keep-time": "yes"})
        self.assertEqual(rows[1].files, [str(self.folder / "a;b.wav")] * 2)
        self.assertEqual(rows[2].settings["channels"], "2")
        found = self.faults('{"files": 1,\n[]\n{"files": {}}\n\n{"array": [1]}\n', "list.jsonl")
        self.assertEqual(list(found), [1, 2, 3, 5])

    def test_a_result_never_replaces_a_recording(self):
        self.recording("good.wav")
        self.recording("other.wav")
        path = self.manifest(HEAD + "good.wav,line:2:5cm,60,x.wav\nother.wav,line:2:5cm,60,good.wav\n")
        status, _, err = call("corpus", path, self.folder)
        self.assertEqual((status, err.count("\n")), (1, 1))
        self.assertIn(":3: the result good.wav would replace a recording", err)

    def test_what_is_no_manifest(self):
        self.refused(1, "corpus", self.folder / "absent.csv", self.out)
        self.refused(1, "corpus", self.manifest("", "list.txt"), self.out)
        self.refused(1, "corpus", self.manifest(HEAD), self.out)
        (self.folder / "latin.csv").write_bytes(b"files\n\xe9.wav\n")
        self.refused(1, "corpus", self.folder / "latin.csv", self.out)
        self.assertFalse(self.out.exists())


class ResultTest(CorpusTest):
    """One recording after the other, without a cluster."""

    def compare(self, settings, files, *arguments):
        (row,) = self.rows(json.dumps({"files": files, "output": "sub/beam.wav", **settings}) + "\n", "list.jsonl")
        report = self.process(row)
        self.assertEqual(report["status"], corpus_work.DONE, report)
        wanted, figures = self.by_tool(*files, *arguments)
        self.assertEqual((self.out / "sub/beam.wav").read_bytes(), wanted)
        self.assertAlmostEqual(report["duration_s"], figures["duration_s"], places=5)
        for name in ("blocks", "zero_blocks", "clipped_samples", "wraps"):
            self.assertEqual(report[name], figures[name], name)
        return report

    def test_the_tools_bytes_for_every_encoding(self):
        samples = noise(70000, 2, level=0.4)  # more than a piece; some samples beyond full scale
        samples[20000:20500] = 0
        for subtype in ("PCM_16", "PCM_24", "PCM_32", "FLOAT", "DOUBLE"):
            with self.subTest(subtype=subtype):
                self.recording("in.wav", samples, subtype=subtype)
                arguments = ("--array", "line:2:5cm", "--angle", 30)
                report = self.compare({"array": "line:2:5cm", "angle": 30}, ["in.wav"], *arguments)
                self.assertGreater(report["zero_blocks"], 0)
                self.assertEqual(report["clipped_samples"] == 0, subtype == "PCM_16")
                self.assertEqual(report["angle"], 30)

    def test_the_tools_bytes_for_every_setting(self):
        self.recording("in.wav", noise(9000, 5), rate=44100, format="WAVEX")
        settings = {
            "mics": "0.03,0; 0,0.03; -0.03,0; 0,-0.03",
            "geometry": "triangle",
            "channels": "5,1,2,4",
            "algorithm": "adaptive",
            "intensity": 9,
            "sound-speed": 340,
            "pre-gain": -7.5,
            "angle": -200,
        }
        arguments = [word for mic in settings["mics"].split("; ") for word in ("--mic", mic)]
        arguments += [f"--{key}={value}" for key, value in settings.items() if key != "mics"]
        self.compare(settings, ["in.wav"], *arguments)

    def test_mono_files_side_by_side_and_an_angle_track(self):
        for seed, name in enumerate(("a.wav", "b.wav")):
            self.recording(name, noise(3 * RATE, 1, seed))
        (self.folder / "track.txt").write_text("0.5 30\n1 150\n")
        settings = {"array": "line:2:5cm", "angle-track": "track.txt"}
        arguments = ("--array", "line:2:5cm", "--angle-track", "track.txt", "--join")
        self.compare(settings, ["a.wav", "b.wav"], *arguments)

    def test_a_failure_leaves_nothing(self):
        path = self.recording("in.wav")
        (row,) = self.rows(HEAD + "in.wav,line:2:5cm,60,beam.wav\n")
        path.unlink()
        self.assertIn("there is no file", self.process(row)["reason"])
        self.recording("in.wav")
        # A folder in the result's place.
        (self.out / "beam.wav").mkdir(parents=True)
        self.assertIn("directory", self.process(row)["reason"])
        self.assertEqual(list((self.folder / "parts").iterdir()), [])

    def test_a_full_disk_is_a_reason(self):
        self.recording("in.wav", noise(10 * RATE, 2))
        (row,) = self.rows(HEAD + "in.wav,line:2:5cm,60,beam.wav\n")
        limit = resource.getrlimit(resource.RLIMIT_FSIZE)
        ignored = signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (100000, limit[1]))
        try:
            report = self.process(row)
        finally:
            resource.setrlimit(resource.RLIMIT_FSIZE, limit)
            signal.signal(signal.SIGXFSZ, ignored)
        self.assertEqual(report["status"], corpus_work.FAILED)
        self.assertIn("cannot write", report["reason"])
        self.assertFalse((self.out / "beam.wav").exists())

    def test_what_is_done_is_skipped_by_content(self):
        path = self.recording("in.wav")
        text = HEAD + "in.wav,line:2:5cm,60,beam.wav\n"
        (row,) = self.rows(text)
        first = self.process(row)
        result = self.out / "beam.wav"

        def status(row):
            return self.process(row, first)["status"]

        os.utime(path)
        os.utime(result)
        self.assertEqual(status(row), corpus_work.SKIPPED)
        self.assertEqual(status(self.rows(text.replace("60", "61"))[0]), corpus_work.DONE)
        # What is said is what would be without a word.
        text = "files,array,angle,intensity,output\nin.wav,line:2:5cm,60,3,beam.wav\n"
        self.assertEqual(status(self.rows(text)[0]), corpus_work.SKIPPED)
        self.assertEqual(status(row), corpus_work.SKIPPED)
        self.recording("in.wav", noise(RATE, 2, seed=2))
        self.assertEqual(status(row), corpus_work.DONE)
        self.recording("in.wav")
        result.write_bytes(result.read_bytes()[:-2])
        self.assertEqual(status(row), corpus_work.DONE)
        result.unlink()
        self.assertEqual(status(row), corpus_work.DONE)
        # Of a track the content counts.
        (self.folder / "track.txt").write_text("0 30\n")
        text = "files,array,angle-track,output\nin.wav,line:2:5cm,track.txt,beam.wav\n"
        (row,) = self.rows(text)
        first = self.process(row)
        self.assertEqual(status(row), corpus_work.SKIPPED)
        (self.folder / "track.txt").write_text("0 31\n")
        self.assertEqual(status(row), corpus_work.DONE)

    def test_memory_does_not_grow_with_the_recording(self):
        # Five hours of digital silence, which takes no place on the disk.
        path = self.recording("in.wav", noise(RATE, 2))
        size = 5 * 3600 * RATE * 2 * 2
        with open(path, "r+b") as file:
            file.truncate(44 + size)
            file.seek(4)
            file.write((36 + size).to_bytes(4, "little"))
            file.seek(40)
            file.write(size.to_bytes(4, "little"))
        (row,) = self.rows(HEAD + "in.wav,line:2:5cm,60,beam.wav\n")
        before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        report = self.process(row)
        self.assertEqual(report["duration_s"], 5 * 3600)
        self.assertLess(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before, 30000)  # kilobytes


class BatchesTest(unittest.TestCase):
    def test_each_row_once_and_evenly(self):
        rows = [corpus_manifest.Row(n, f"{n}.wav", [], {}, bytes=size) for n, size in enumerate([10] * 99 + [5000])]
        batches = corpus.batches_of(rows, 2)
        self.assertEqual(sorted(row.line for batch in batches for row in batch), list(range(100)))
        self.assertEqual([row.bytes for row in batches[0]], [5000])
        self.assertLess(max(map(len, batches[1:])), 30)


class Processes:
    """A scheduler and two workers of Dask, as a cluster has them."""

    def __init__(self, folder, environment, *worker_arguments):
        self.environment = {**os.environ, "PYTHONDONTWRITEBYTECODE": "1", **environment}
        contact = folder / "scheduler.json"
        local = ["--host", "127.0.0.1", "--dashboard-address", "127.0.0.1:0"]
        self.all = [self.start("dask-scheduler", *local, "--port", "0", "--scheduler-file", contact)]
        while not contact.exists() or not contact.read_text().endswith("}"):
            time.sleep(0.05)
        self.address = json.loads(contact.read_text())["address"]
        for _ in range(2):
            arguments = ["--nthreads", "1", "--scheduler-file", contact, "--local-directory", folder]
            self.all.append(self.start("dask-worker", *local, *arguments, *worker_arguments))

    def start(self, name, *arguments):
        # With the Python that the test runs on.
        return subprocess.Popen(
            [sys.executable, shutil.which(name), *map(str, arguments)],
            env=self.environment,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )

    def worker_ids(self):
        """Process numbers of the workers themselves: the children of those that watch over them."""
        found = []
        for watcher in self.all[1:]:
            for children in Path(f"/proc/{watcher.pid}/task").glob("*/children"):
                for child in children.read_text().split():
                    if b"resource_tracker" not in Path(f"/proc/{child}/cmdline").read_bytes():
                        found.append(int(child))
        return found

    def end(self):
        for process in reversed(self.all):
            process.terminate()
        for process in self.all:
            process.wait(60)


POISON = """
import os
from vekbf_lab import corpus_work

def beamformed(row, recording, part, real=corpus_work.beamformed):
    if row.output == "poison.wav":
        with open(os.environ["VEKBF_TRIES"], "a") as file:
            file.write("x")
        corpus_work.open_part(part, recording)
        os._exit(1)
    return real(row, recording, part)

corpus_work.beamformed = beamformed
"""


class RunTest(CorpusTest):
    def run_corpus(self, path, *arguments, status=0):
        result = subprocess.run(
            [sys.executable, "-B", "-m", "vekbf_lab", "corpus", path, self.out, *arguments],
            capture_output=True,
            text=True,
            timeout=500,
        )
        self.assertEqual(result.returncode, status, result.stderr)
        return result

    def report(self):
        return [json.loads(line) for line in (self.out / "report.jsonl").read_text().splitlines()]

    def expect_no_leftovers(self):
        self.assertEqual([p for p in self.out.rglob("*") if p.suffix == ".part" or p.name == "parts"], [])


class ClusterTest(RunTest):
    """One cluster for all of them; its workers have a recording that ends them."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.tries = Path(folder.name) / "tries"
        poison = Path(folder.name) / "poison.py"
        poison.write_text(POISON)
        cls.cluster = Processes(Path(folder.name), {"VEKBF_TRIES": str(cls.tries)}, "--preload", poison)
        cls.addClassCleanup(cls.cluster.end)

    def test_a_thousand_files_while_a_worker_is_killed(self):
        kinds, count = 10, 1000
        wanted = []
        for kind in range(kinds):
            self.recording(f"{kind}.wav", noise(10 * RATE, 2, kind))
            wanted.append(self.by_tool(f"{kind}.wav", "--array", "line:2:5cm", "--angle", 10 * kind)[0])
        lines = [f"{n % kinds}.wav,line:2:5cm,{10 * (n % kinds)},{n % 7}/{n}.wav\n" for n in range(count)]
        path = self.manifest(HEAD + "".join(lines))
        killed = []

        def kill():
            # In the middle: when some results are there.
            while len(list(self.out.glob("*/*.wav"))) < count // 10:
                time.sleep(0.1)
            killed.extend(self.cluster.worker_ids()[:1])
            os.kill(killed[0], signal.SIGKILL)

        killer = threading.Thread(target=kill, daemon=True)
        killer.start()
        result = self.run_corpus(path, "--scheduler", self.cluster.address)
        self.assertEqual(len(killed), 1)
        self.assertEqual(result.stderr, "")
        self.assertRegex(result.stdout, r"^1000 recordings: 1000 done \(.* 0 failed\n$")
        for n in range(count):
            self.assertEqual((self.out / f"{n % 7}/{n}.wav").read_bytes(), wanted[n % kinds])
        self.expect_no_leftovers()
        self.assertEqual([line["output"] for line in self.report()], [f"{n % 7}/{n}.wav" for n in range(count)])
        for line in self.report():
            self.assertLess(line["real_time_factor"], 100)
            self.assertEqual((line["status"], line["duration_s"], line["clipped_samples"]), ("done", 10.0, 0))
        page = (self.out / "summary.html").read_text()
        self.assertIn("1000 recordings: 1000 done", page)
        self.assertIn("<svg", page)

        # Once more, with one recording changed, one setting, and one file that fails.
        self.recording("9.wav", noise(10 * RATE, 2, 99))
        lines[0] = "0.wav,line:2:5cm,77,0/0.wav\n"
        path = self.manifest(HEAD + "".join(lines))
        (self.out / "1/1.wav").unlink()
        (self.out / "1/1.wav").mkdir()
        result = self.run_corpus(path, "--scheduler", self.cluster.address, status=1)
        self.assertIn("1/1.wav: ", result.stderr)
        self.assertEqual(result.stderr.count("\n"), 1)
        self.assertIn("101 done", result.stdout)
        self.assertIn("898 done before, 1 failed", result.stdout)
        reports = {line["output"]: line for line in self.report()}
        self.assertEqual(reports["1/1.wav"]["status"], "failed")
        self.assertIn("directory", reports["1/1.wav"]["reason"])
        self.assertEqual(reports["2/2.wav"]["status"], "skipped")
        self.assertEqual(reports["2/2.wav"]["duration_s"], 10.0)

    def test_a_recording_that_takes_its_worker_along_is_given_up_after_three_tries(self):
        self.recording("a.wav")
        names = ["poison.wav", *(f"{n}.wav" for n in range(8))]
        path = self.manifest(HEAD + "".join(f"a.wav,line:2:5cm,60,{name}\n" for name in names))
        result = self.run_corpus(path, "--scheduler", self.cluster.address, status=1)
        self.assertEqual(result.stderr, "poison.wav: its worker was lost 3 times\n")
        self.assertIn("9 recordings: 8 done", result.stdout)
        self.assertEqual(self.tries.read_text(), "x" * 3)
        self.expect_no_leftovers()


class OwnClusterTest(RunTest):
    def test_on_this_machine_interrupted_and_gone_on_with(self):
        for n in range(4):
            self.recording(f"{n}.wav", noise(60 * RATE, 2, n))
        lines = [f"{n % 4}.wav,line:2:5cm,60,{n}.wav\n" for n in range(100)]
        path = self.manifest(HEAD + "".join(lines))
        command = [sys.executable, "-B", "-m", "vekbf_lab", "corpus", path, self.out, "--workers", "2"]
        first = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        memory = self.out / ".corpus/done.jsonl"
        while not memory.exists() or memory.read_text().count("\n") < 5:
            time.sleep(0.05)
            self.assertIsNone(first.poll())
        # Nobody else may write there meanwhile.
        said = self.refused(1, "corpus", path, self.out, "--workers", "2")
        self.assertIn("another run is writing there", said)
        first.send_signal(signal.SIGINT)
        _, err = first.communicate(timeout=200)
        self.assertEqual((first.returncode, err), (130, "vekbf-lab: interrupted\n"))
        self.expect_no_leftovers()
        done = memory.read_text().count("\n")
        self.assertGreaterEqual(done, 5)
        complete = self.by_tool("0.wav", "--array", "line:2:5cm", "--angle", 60)[0]
        for result in self.out.glob("*.wav"):
            self.assertEqual(result.stat().st_size, len(complete))
        result = self.run_corpus(path, "--workers", "2")
        self.assertIn(f"{done} done before, 0 failed", result.stdout)
        self.assertEqual((self.out / "0.wav").read_bytes(), complete)

    def test_no_scheduler(self):
        self.recording("a.wav")
        path = self.manifest(HEAD + "a.wav,line:2:5cm,60,\n")
        for address, wanted in (("tcp://127.0.0.1:1", "no scheduler answers"), ("nonsense", "no address")):
            with unittest.mock.patch("vekbf_lab.corpus_cluster.SCHEDULER_SECONDS", 0.5), warnings.catch_warnings():
                warnings.simplefilter("ignore")  # of Dask's own libraries about each other
                said = self.refused(1, "corpus", path, self.out, "--scheduler", address)
            self.assertIn(address, said)
            self.assertIn(wanted, said)
        self.refused(1, "corpus", path, self.out, "--workers", "0")
        self.refused(1, "corpus", path, self.out, "--workers", "2", "--scheduler", "x")


class PageTest(unittest.TestCase):
    def test_remarks(self):
        good = {"wraps": 0, "clipped_samples": 0, "zero_blocks": 0, "blocks": 100}
        self.assertEqual(corpus_report.remarks(good), [])
        self.assertEqual(len(corpus_report.remarks({**good, "wraps": 1, "clipped_samples": 9, "zero_blocks": 51})), 3)


if __name__ == "__main__":
    unittest.main()
