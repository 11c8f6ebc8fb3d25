# SPDX-License-Identifier: MIT
"""A copy of a commit with a build of its own, in which one mutant at a time meets the tests."""
from __future__ import annotations

import hashlib
import io
import json
import os
import re
import resource
import shutil
import subprocess
import tarfile
import time
from dataclasses import dataclass
from pathlib import Path

from mutants import Mutant

# Optimised a little: the differences between levels are other tests' business.
LEVEL = "-O1"
OPTIONS = [
    "-DCMAKE_BUILD_TYPE=Release", f"-DCMAKE_CXX_FLAGS_RELEASE={LEVEL}", f"-DCMAKE_C_FLAGS_RELEASE={LEVEL}",
    "-DVEKBF_WARNINGS_AS_ERRORS=OFF", "-DVEKBF_BUILD_BENCH=OFF", "-DVEKBF_BUILD_TOOLS=OFF",
]  # fmt: skip
# The tests of the library: not those of the tree, of packages or of object code, and none that takes minutes.
LABELS = ("unit", "vectors", "api", "realtime", "endurance", "fuzz")
ARM_UNIT_TESTS = ("f32x4", "f64x4", "i32x4")
MEMORY_BYTES = 8 << 30  # of address space: the emulator reserves four
SAMPLE_OF_SCENES = "vectors_scenes"
SCENE_SHARDS = 29  # one of so many parts of the scenes: twelve of them


@dataclass(frozen=True)
class Test:
    name: str
    label: str
    target: str
    command: tuple[str, ...]
    environment: tuple[str, ...]


@dataclass
class Outcome:
    verdict: str  # killed, hang, survived, or why it is no mutant: broken (does not compile), same (the same code)
    by: str = ""


def _limit() -> None:
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_BYTES, MEMORY_BYTES))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Workshop:
    """`armhf` builds for 32-bit ARM and runs under the emulator, with the tests that meet the lane layer only."""

    def __init__(self, repository: Path, commit: str, tests: str, tree: Path, armhf: bool = False) -> None:
        self.tree = tree
        self.build = self.tree / ("build-armhf" if armhf else "build-native")
        self.compilers = 1
        self.armhf = armhf
        self.durations: dict[str, float] = {}
        self.repository = repository
        self.commit = commit
        self.tests_commit = tests

    # --- building

    def _files(self, commit: str, *paths: str) -> dict[str, tuple[bytes, int]]:
        command = ["git", "archive", commit, *paths]
        archive = subprocess.run(command, cwd=self.repository, capture_output=True, check=True)
        with tarfile.open(fileobj=io.BytesIO(archive.stdout)) as files:
            regular = [(member, files.extractfile(member)) for member in files if member.isfile()]
            return {member.name: (content.read(), member.mode) for member, content in regular if content}

    def _unpack(self) -> None:
        """Writes what differs from the commits, and removes what they lack: another commit's files, or a mutant that
        a run left behind when it was cut off."""
        wanted = self._files(self.commit)
        if self.tests_commit != self.commit:
            wanted = {path: file for path, file in wanted.items() if not path.startswith("tests/")}
            wanted.update(self._files(self.tests_commit, "tests"))
        for folder in ("src", "tests"):
            for path in list((self.tree / folder).rglob("*")):
                if path.is_file() and str(path.relative_to(self.tree)) not in wanted:
                    path.unlink()
        for name, (content, mode) in wanted.items():
            path = self.tree / name
            if not path.exists() or path.read_bytes() != content:
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_bytes(content)
                path.chmod(mode)

    def _ninja(self, *targets: str) -> bool:
        command = ["ninja", "-C", str(self.build), "-j", str(self.compilers), *targets]
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode == 0

    def prepare(self, compilers: int, durations: dict[str, float]) -> None:
        """Configures, builds everything unchanged, and notes the time of each test that is not known from a copy;
        tests that fail are left out."""
        self._unpack()
        options = list(OPTIONS)
        if self.armhf:
            options.append(f"-DCMAKE_TOOLCHAIN_FILE={self.tree}/cmake/armhf.cmake")
        if shutil.which("ccache"):
            options += ["-DCMAKE_C_COMPILER_LAUNCHER=ccache", "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"]
        command = ["cmake", "-S", str(self.tree), "-B", str(self.build), "-G", "Ninja", *options]
        subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
        # A test is listed with its command only once its program is there.
        self.targets = ["all"]
        if self.armhf:
            self.targets = ["vekbf_static", "stream_digest_test", *[f"{name}_test" for name in ARM_UNIT_TESTS]]
        self.compilers = compilers
        built = self._ninja(*self.targets)
        self.compilers = 1
        if not built:
            raise RuntimeError(f"the unchanged tree does not build: ninja -C {self.build}")
        self.tests = self._listed()
        self.objects = self._hashes(self._library_objects())
        self.test_objects = self._hashes(self._test_objects([t for t in self.tests if t.label == "unit"]))
        notes = self.build / "durations.json"
        self.durations = dict(durations)
        if notes.exists():
            self.durations = json.loads(notes.read_text(encoding="utf-8"))
        for test in self.tests:
            if test.name in self.durations:
                continue
            start = time.monotonic()
            verdict = self._run(test, 900.0)
            self.durations[test.name] = time.monotonic() - start if verdict == "passed" else -1.0
        notes.write_text(json.dumps(self.durations), encoding="utf-8")
        self.left_out = [test.name for test in self.tests if self.durations[test.name] < 0]
        self.tests = [test for test in self.tests if self.durations[test.name] >= 0]
        self.tests.sort(key=lambda t: (LABELS.index(t.label), self.durations[t.name]))

    def _listed(self) -> list[Test]:
        command = ["ctest", "--test-dir", str(self.build), "--show-only=json-v1"]
        output = subprocess.run(command, capture_output=True, check=True, text=True).stdout
        tests = []
        for entry in json.loads(output)["tests"]:
            properties = {p["name"]: p["value"] for p in entry.get("properties", [])}
            label = properties.get("LABELS", [""])[0]
            words = tuple(entry.get("command", ()))
            program = next((word for word in words if word.startswith(f"{self.build}/")), "")
            if label not in LABELS or not program or (self.armhf and not self._for_arm(entry["name"], label)):
                continue
            environment = tuple(properties.get("ENVIRONMENT", ()))
            target = os.path.relpath(program, self.build)
            tests.append(Test(entry["name"], label, target, words, environment))
            if entry["name"] == "vectors_stream_digest_0":
                sample = (f"GTEST_TOTAL_SHARDS={SCENE_SHARDS}", "GTEST_SHARD_INDEX=0")
                tests.append(Test(SAMPLE_OF_SCENES, "vectors", target, words, sample))
        return tests

    @staticmethod
    def _for_arm(name: str, label: str) -> bool:
        """The tests of what has a text of its own there, and whole streams."""
        return name in ARM_UNIT_TESTS if label == "unit" else name.startswith("vectors_stream_digest")

    def _library_objects(self) -> list[Path]:
        return sorted((self.build / "CMakeFiles" / "vekbf_objects.dir").rglob("*.o"))

    def _test_objects(self, tests: list[Test]) -> list[Path]:
        folder = self.build / "tests" / "CMakeFiles"
        return [path for test in tests for path in sorted((folder / f"{Path(test.target).name}.dir").rglob("*.o"))]

    @staticmethod
    def _hashes(paths: list[Path]) -> dict[str, str]:
        return {str(path): hashlib.sha256(path.read_bytes()).hexdigest() for path in paths}

    # --- testing

    def _run(self, test: Test, limit: float) -> str:
        environment = dict(os.environ, **dict(pair.split("=", 1) for pair in test.environment))
        try:
            status = subprocess.run(test.command, env=environment, stdin=subprocess.DEVNULL, cwd=self.build,
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=limit,
                                    preexec_fn=_limit, check=False).returncode  # fmt: skip
        except subprocess.TimeoutExpired:
            return "hang"
        return "passed" if status == 0 else "failed"

    def _meet(self, tests: list[Test]) -> Outcome | None:
        """Builds these tests and runs them up to the first that fails."""
        if not tests:
            return None
        if not self._ninja(*sorted({test.target for test in tests})):
            return Outcome("killed", "compilation of " + ", ".join(test.name for test in tests))
        for test in tests:
            verdict = self._run(test, 30.0 + 10.0 * self.durations[test.name])
            if verdict != "passed":
                return Outcome("hang" if verdict == "hang" else "killed", test.name)
        return None

    def _source(self, test: Test) -> str:
        source = self.tree / "tests" / "unit" / f"{test.name}_test.cpp"
        return source.read_text(encoding="utf-8") if test.label == "unit" and source.exists() else ""

    def _own_tests(self, mutant: Mutant) -> list[Test]:
        """The unit tests of the file's stem (f32x4 of f32x4_sse2), and those that include it."""
        stem = Path(mutant.path).stem
        name = mutant.path.removeprefix("src/").removesuffix(".cpp")
        include = re.compile(rf'#include "{re.escape(name)}(\.h)?"')
        own = [t for t in self.tests if include.search(self._source(t)) or f"{stem}_".startswith(f"{t.name}_")]
        return sorted(own, key=lambda t: t.name != stem)

    def judge(self, mutant: Mutant) -> Outcome:
        """Applies the mutant, builds, tests, and puts the text back."""
        file = self.tree / mutant.path
        source, times = file.read_text(encoding="utf-8"), file.stat()
        own = self._own_tests(mutant)
        before = time.time()
        try:
            file.write_text(mutant.applied(source), encoding="utf-8")
            if not self._ninja("vekbf_static"):
                return Outcome("broken")
            if self._hashes(self._library_objects()) == self.objects:
                return self._outside_the_library(own)
            scenes = [test for test in self.tests if test.name == SAMPLE_OF_SCENES]
            # A header is compiled into its tests again, which costs more than a run of scenes.
            for stage in (scenes, own) if file.suffix == ".h" else (own, scenes):
                outcome = self._meet(stage)
                if outcome is not None:
                    return outcome
            # All others meet the changed library, but are not compiled again for a header that is no older now.
            os.utime(file, ns=(times.st_atime_ns, times.st_mtime_ns))
            for label in LABELS:
                outcome = self._meet([t for t in self.tests if t.label == label and t not in own + scenes])
                if outcome is not None:
                    return outcome
            return Outcome("survived")
        finally:
            file.write_text(source, encoding="utf-8")
            os.utime(file, ns=(times.st_atime_ns, times.st_mtime_ns))
            for item in self.build.rglob("*.o"):
                if item.stat().st_mtime >= before - 1.0:
                    item.unlink()
            # At once, not beside the next mutant, whose text they would be compiled with.
            self._ninja(*self.targets)

    def _outside_the_library(self, own: list[Test]) -> Outcome:
        """For text that this build's library does not hold, like the portable lanes: the tests that name them."""
        users = own + [t for t in self.tests if t not in own and re.search(r"portable|backends\.h", self._source(t))]
        changed = False
        for test in users:
            if not self._ninja(test.target):
                return Outcome("broken")
            hashes = self._hashes(self._test_objects([test]))
            if any(self.test_objects.get(path) != value for path, value in hashes.items()):
                changed = True
                outcome = self._meet([test])
                if outcome is not None:
                    return outcome
        return Outcome("survived" if changed else "same")
