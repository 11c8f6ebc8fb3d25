// SPDX-License-Identifier: MIT
//
// How much of the tables a block touches, in lines of a first-level cache: a small core's holds
// 32 KB, of which tables may take a part only.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <set>
#include <vector>

#include "math/gain_table.h"
#include "math/log_table.h"
#include "math/phasor_table.h"
#include "noise/vad.h"
#include "support/beam.h"
#include "support/quiet.h"
#include "support/signals.h"

namespace vekbf::test {
namespace {

constexpr size_t kLineBytes = 64;
constexpr size_t kMostBytes = 24 * 1024;
constexpr size_t kMostTouched = 12 * 1024;

static_assert(sizeof kPhasorTable + sizeof kLogTable + sizeof kGainTable <= kMostBytes);

// The lines at which the entries of one table lie.
class Lines {
 public:
  template <class Entry>
  void touch(const Entry& entry) {
    const auto at = std::bit_cast<uintptr_t>(&entry);
    for (uintptr_t line = at / kLineBytes; line <= (at + sizeof entry - 1) / kLineBytes; ++line) {
      lines_.insert(line);
    }
  }
  size_t bytes() const { return lines_.size() * kLineBytes; }

 private:
  std::set<uintptr_t> lines_;
};

// Which entries the kernels take, by what the tables mean: the nearest of 256 directions, the cell
// of the leading bits, the nearest whole v.
size_t phasor_bytes(const Instance& record) {
  Lines lines;
  const double omega = static_cast<double>(record.sampleRate) * 6.283185307179586 / 512;
  for (int m = 0; m < record.micNum; ++m) {
    if (record.micDelay[m] == 0.0f) continue;  // a constant row
    for (int k = 1; k < kBinCount; ++k) {
      const double turns = k * omega * static_cast<double>(record.micDelay[m]) / 6.283185307179586;
      const auto direction = std::lrint(turns * kPhasorTableSize);
      lines.touch(kPhasorTable[static_cast<size_t>(direction) % kPhasorTableSize]);
    }
  }
  return lines.bytes();
}

size_t log_bytes(const VadState& detector) {
  Lines lines;
  for (int k = 0; k < kBinCount; ++k) {
    const auto bits = std::bit_cast<int32_t>(detector.prioriSnr[k] + 1.0f);
    lines.touch(kLogTable[((bits - kLogTableFirst) >> 16) % kLogTableSize]);
  }
  return lines.bytes();
}

size_t gain_bytes(const VadState& detector) {
  Lines lines;
  for (int k = 0; k < kBinCount; ++k) {
    lines.touch(kGainTable[std::lrint(std::max(detector.scaledSnr[k], 0.0f))]);
  }
  return lines.bytes();
}

struct Touched {
  size_t phasors, logs, gains;
  size_t all() const { return phasors + logs + gains; }
};

std::vector<Touched> touched_by_blocks(VekBfGeometry geometry) {
  constexpr int kMics = 4;
  constexpr int kBlocks = 1000;
  VekBfInit init = array_of(kMics, VEK_ADAPTIVE_BF, geometry);
  Beam beam(init);
  beam.configure();
  Signal talker(SignalKind::kTalker, 1, kMics);
  std::vector<Touched> blocks;
  const Quiet quiet;
  for (int b = 0; b < kBlocks; ++b) {
    Block in(static_cast<size_t>(kMics * kHopSize));
    talker.block(in.data());
    beam.run(in, 60);
    const VadState& detector = *beam.record().vadState;
    blocks.push_back({phasor_bytes(beam.record()), log_bytes(detector), gain_bytes(detector)});
  }
  std::sort(blocks.begin(), blocks.end(),
            [](const Touched& a, const Touched& b) { return a.all() < b.all(); });
  return blocks;
}

TEST(TableLines, ABlockOfSpeechInNoiseTouchesAPartOfTheTables) {
  for (const auto geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
    const std::vector<Touched> blocks = touched_by_blocks(geometry);
    const Touched& median = blocks[blocks.size() / 2];
    const Touched& most = blocks.back();
    std::printf(
        "%s: median %zu bytes (directions %zu, logarithms %zu, gains %zu), most %zu (gains %zu)\n",
        geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? "line" : "triangle", median.all(), median.phasors,
        median.logs, median.gains, most.all(), most.gains);
    EXPECT_LE(median.all(), kMostTouched);
    EXPECT_GT(median.all(), kLineBytes * 10);
  }
}

}  // namespace
}  // namespace vekbf::test
