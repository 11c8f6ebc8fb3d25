// SPDX-License-Identifier: MIT
//
// Looks for a stream in which the 32-bit ARM vector unit's habit of flushing subnormals to zero
// changes a sample, or more of the state than subnormals themselves.
//
//   subnormal_search [STREAMS] [BLOCKS] [FIRST-SEED]
//
// Each stream goes through the library and through the library with flushing lanes. Prints every
// field that differed: in how many blocks, from which block of its stream on at the earliest, and
// whether by more than a subnormal in the place of a zero. The result is 1 if a sample differed.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include "subnormal/flushing_library.h"
#include "subnormal/side_by_side.h"
#include "support/quiet.h"
#include "vectors/library_engine.h"

namespace vekbf::test {
namespace {

constexpr int kStateInterval = 4;  // blocks from one comparison of the states to the next

// The number of the first block whose samples differ, or 0.
int64_t first_difference(uint64_t seed, int64_t blocks, Differences& found) {
  SmallStream stream(seed);
  Running library(kLibrary, stream.init(), stream.config());
  Running flushing(flushing_library(), stream.init(), stream.config());
  const Quiet quiet;
  for (int64_t b = 1; b <= blocks; ++b) {
    const std::vector<int16_t>& in = stream.block();
    const bool same = library.run(in, stream.angle()) == flushing.run(in, stream.angle());
    if (b % kStateInterval == 0 || b < 50)
      compare_states(library.record(), flushing.record(), b, found);
    if (!same) return b;
  }
  return 0;
}

int search(int64_t streams, int64_t blocks, uint64_t first_seed) {
  Differences all;
  int64_t bad = 0;
  for (int64_t i = 0; i < streams; ++i) {
    const uint64_t seed = first_seed + static_cast<uint64_t>(i);
    Differences found;
    const int64_t block = first_difference(seed, blocks, found);
    if (block != 0) {
      ++bad;
      std::printf("seed %" PRIu64 ": samples of block %" PRId64 " differ\n", seed, block);
    }
    for (const auto& [name, field] : found) {
      FieldDifference& sum = all[name];
      const bool replace = sum.blocks == 0 || (field.beyond && !sum.beyond);
      const int64_t first = sum.blocks == 0 ? field.first : std::min(sum.first, field.first);
      const int64_t count = sum.blocks + field.blocks;
      if (replace) sum = field;
      sum.first = first;
      sum.blocks = count;
      if (field.beyond && replace) std::printf("seed %" PRIu64 ": %s beyond\n", seed, name.c_str());
    }
  }
  std::printf("%" PRId64 " streams of %" PRId64 " blocks, %" PRId64 " with samples that differ\n",
              streams, blocks, bad);
  for (const auto& [name, field] : all) {
    std::printf("%-28s %9" PRId64 " states, from block %6" PRId64 ", %s, as %.9g and %.9g\n",
                name.c_str(), field.blocks, field.first, field.beyond ? "BEYOND" : "subnormal",
                static_cast<double>(field.one), static_cast<double>(field.other));
  }
  return bad == 0 ? 0 : 1;
}

}  // namespace
}  // namespace vekbf::test

int main(int count, char** arguments) {
  const int64_t streams = count > 1 ? std::atoll(arguments[1]) : 100;
  const int64_t blocks = count > 2 ? std::atoll(arguments[2]) : 2000;
  const auto seed = static_cast<uint64_t>(count > 3 ? std::atoll(arguments[3]) : 1);
  return vekbf::test::search(streams, blocks, seed);
}
