// SPDX-License-Identifier: MIT
//
// Stands in for libFuzzer where the compiler has none: runs a target over stored inputs.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/target.h"

namespace {

namespace fs = std::filesystem;

void play(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  // A block of its own size, so that memory checkers see its end.
  const std::vector<uint8_t> input(bytes.begin(), bytes.end());
  std::fprintf(stderr, "%s\n", path.filename().c_str());
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

// Folders of inputs. The first, the corpus, must hold some.
int main(int argc, char** argv) {
  LLVMFuzzerInitialize(&argc, &argv);
  int played = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : fs::directory_iterator(argv[i])) {
      if (!entry.is_regular_file() || entry.path().filename() == "README.md") continue;
      play(entry.path());
      ++played;
    }
    if (played == 0) {
      std::fprintf(stderr, "no input in %s\n", argv[i]);
      return 1;
    }
  }
  std::fprintf(stderr, "%d inputs\n", played);
  return 0;
}
