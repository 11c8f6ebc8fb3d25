# SPDX-License-Identifier: MIT
"""The programs and build files of the documents, against an installed tree."""

import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from documents import LIBRARY, ROOT, STREAM_LIBRARY, TEXTS, TREE, take

STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
HOST = ROOT / "tests/packaging/consumers/host.c"
DOCUMENT = "docs/integration.md"
STREAM_LIBRARY = LIBRARY.parent / LIBRARY.name.replace("libvekbf", "libvekbf-stream")


class IntegrationTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.environment = {k: v for k, v in os.environ.items() if not k.endswith("FLAGS")}
        self.environment["PKG_CONFIG_LIBDIR"] = str(LIBRARY.parent / "pkgconfig")

    def run_here(self, *command, **options):
        options = {"cwd": self.folder, "env": self.environment, "check": True, "stdout": subprocess.DEVNULL, **options}
        return subprocess.run(command, **options)

    def run_c(self, text, main, *more, standard="c99"):
        """Compiles the block with a main function behind it, runs that and returns what it did."""
        (self.folder / "host.c").write_text(text + "\n" + main)
        flags = [f"-std={standard}", *STRICT, f"-I{TREE}/include"]
        self.run_here(
            "cc", *flags, "-o", "host", "host.c", *more, LIBRARY, f"-Wl,-rpath,{LIBRARY.parent}"
        )
        return self.run_here("./host", stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def run_cmake(self, text):
        head = "cmake_minimum_required(VERSION 3.21)\nproject(recorder LANGUAGES C CXX)\n"
        head += f"add_executable(recorder {HOST})\n"
        (self.folder / "CMakeLists.txt").write_text(head + text)
        self.run_here("cmake", "-G", "Ninja", "-S", ".", "-B", "build", f"-DCMAKE_PREFIX_PATH={TREE}")
        return self.folder / "build"

    def test_find_package(self):
        self.run_here("cmake", "--build", self.run_cmake(take(DOCUMENT, "find_package", "cmake")))
        self.run_here("build/recorder")

    def test_add_subdirectory(self):
        # That it builds and runs too is shown by library_alone.sh.
        (self.folder / "third_party").mkdir()
        (self.folder / "third_party/vekbf").symlink_to(ROOT)
        self.run_cmake(take(DOCUMENT, "add_subdirectory", "cmake"))

    def test_makefile(self):
        (self.folder / "recorder.c").write_text(HOST.read_text())
        (self.folder / "Makefile").write_text(take(DOCUMENT, "CFLAGS +=", "make") + "recorder: recorder.o\n")
        self.run_here("make")
        self.run_here("./recorder", env={**self.environment, "LD_LIBRARY_PATH": str(LIBRARY.parent)})

    def test_by_hand(self):
        (self.folder / "recorder.c").write_text(HOST.read_text())
        self.run_here("sh", "-euc", take(DOCUMENT, "recorder.c", "sh"))
        self.run_here("./recorder", env={**self.environment, "LD_LIBRARY_PATH": str(LIBRARY.parent)})

    def test_callback(self):
        main = """
int main(void) {
  static int16_t in[2 * 1000], out[1000];
  int i;
  for (i = 0; i < 2000; i++) in[i] = 4000;
  if (start() != 0) return 1;
  for (i = 0; i < 10; i++) on_period(in, out, 100 + (size_t)i);
  VekStream_Close(stream);
  return out[50] > 3000 ? 0 : 2;
}
"""
        self.run_c(take(DOCUMENT, "on_period", "c"), main, STREAM_LIBRARY)

    def test_direction(self):
        # Bursts that the second microphone hears two samples before the first: from 0 degrees.
        main = """
static uint64_t beam_memory[82352 / sizeof(uint64_t) + 1];
int main(void) {
  VekBfInit array = {16000, 16, 2, 343, VEK_FIXED_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, {{0, 0}, {0.043f, 0}}};
  VekBfConfig config = {0.5f, 5};
  VekBfHandle beam = VekBf_Init(beam_memory, &array);
  int16_t in[2 * 128], out[128], source[3] = {0};
  uint32_t random = 1;
  int block, t;
  if (VekBf_SetConfig(beam, &config) != VEK_BF_OK || find_the_talker_of(&array) != 0) return 1;
  for (block = 0; block < 300; block++) {
    for (t = 0; t < 128; t++) {
      random = random * 1664525u + 1013904223u;
      source[2] = source[1], source[1] = source[0];
      source[0] = (int16_t)((int)(random >> 16) % 4000 / (block > 40 && block % 60 < 20 ? 1 : 100));
      in[2 * t] = (int16_t)(source[2] + (int)(random >> 5) % 7), in[2 * t + 1] = (int16_t)(source[0] + (int)(random >> 9) % 7);
    }
    if (block < 40 && angle != 90) return 2;
    on_block(beam, in, out);
  }
  return angle <= 15 ? 0 : 3;
}
"""
        library = LIBRARY.parent / LIBRARY.name.replace("libvekbf", "libvekbf-direction")
        self.run_c(take(DOCUMENT, "find_the_talker_of", "c"), main, library)

    def test_static_memory(self):
        main = """
int main(void) {
  VekBfInit array = {16000, 16, 1, 343, VEK_FIXED_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, {{0, 0}}};
  VekBfConfig config = {0.5f, 5};
  VekBfHandle beam = beam_in_static_memory(&array);
  return (void *)beam == &memory && VekBf_SetConfig(beam, &config) == VEK_BF_OK && VekBf_Free(beam) == VEK_BF_OK
             ? 0 : 1;
}
"""
        self.run_c(take(DOCUMENT, "static_memory", "c"), main)

    def test_angle_from_another_thread(self):
        main = """
int main(void) {
  int16_t block[128] = {0};
  follow(60);
  return run(0, block, block) == VEK_BF_ERR_NULL_HANDLE && talker == 60 ? 0 : 1;
}
"""
        self.run_c(take(DOCUMENT, "stdatomic", "c"), main, standard="c11")

    def test_standard_output(self):
        main = """
#include "vek_bf.h"
int main(void) {
  FILE *audio = take_standard_output();
  if (audio == NULL) return 1;
  fputs("audio", audio);
  VekBf_GetBufferSize();
  return fclose(audio);
}
"""
        result = self.run_c(take(DOCUMENT, "take_standard_output", "c"), main, standard="gnu99")
        self.assertEqual(result.stdout, b"audio")
        self.assertEqual(result.stderr, b"[ALGO_MSG_MSG, VekBf_GetBufferSize] Working buffer size is 82352 bytes\n")

    def test_python(self):
        environment = {**self.environment, "PYTHONPATH": str(ROOT / "python"), "VEKBF_LIBRARY": str(STREAM_LIBRARY)}
        text = take(DOCUMENT, "turned", "python") + take(DOCUMENT, "same_as_the_tool", "python")
        result = self.run_here(sys.executable, "-B", "-c", text, env=environment, stdout=subprocess.PIPE)
        self.assertEqual(result.stdout, b"")

    def test_times(self):
        rows = re.findall(r"^\| +(\d+) Hz \| +([\d.]+) ms \| +([\d.]+) ms \| +([\d.]+) ms \|$", TEXTS[DOCUMENT], re.MULTILINE)
        self.assertEqual(len(rows), 3)
        for rate, *times in rows:
            for samples, time in zip((128, 384, 511), times):
                self.assertAlmostEqual(float(time), 1000 * samples / int(rate), delta=0.05)
