// SPDX-License-Identifier: MIT
//
// Time per block of the direction finder: direction/ARRAY/SIGNAL, at 16 kHz.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "direction_source.h"

namespace vekbf::bench {
namespace {

inline constexpr int kBlocks = 1000;
inline constexpr uint32_t kRate = 16000;

void run_blocks(benchmark::State& state, const std::string& name, const std::string& kind) {
  VekBfInit array;
  direction_array(name, kRate, array);
  DirectionSource source(kind, array.micNum);
  const auto length = static_cast<size_t>(array.micNum * VEK_BF_BLOCK_FRAMES);
  std::vector<int16_t> in;
  for (int b = 0; b < kBlocks; ++b) {
    const int16_t* block = source.next();
    in.insert(in.end(), block, block + length);
  }
  std::vector<uint64_t> memory(VekDir_GetBufferSize() / sizeof(uint64_t));
  const VekDirHandle finder = VekDir_Init(memory.data(), &array);
  VekDirState talker;
  size_t block = 0;
  for (auto _ : state) {
    VekDir_Run(finder, &in[block * length], &talker);
    benchmark::DoNotOptimize(talker);
    block = block + 1 == kBlocks ? 0 : block + 1;
  }
}

[[maybe_unused]] const bool registered = [] {
  for (const char* array : {"line2", "line3", "line4", "unequal4", "dear4", "square"}) {
    for (const char* kind : {"speech", "bursts"}) {
      const std::string name = std::string("direction/") + array + "/" + kind;
      benchmark::RegisterBenchmark(
          name.c_str(), [=](benchmark::State& state) { run_blocks(state, array, kind); });
    }
  }
  return true;
}();

}  // namespace
}  // namespace vekbf::bench
