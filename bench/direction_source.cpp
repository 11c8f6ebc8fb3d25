// SPDX-License-Identifier: MIT
#include "direction_source.h"

#include <algorithm>
#include <fstream>

#include "signals.h"

namespace vekbf::bench {

namespace {

constexpr int kStoredBlocks = 1000;
// A burst, and the silence before it: transforms of the burst's first blocks see nothing but onset.
constexpr int kBurstBlocks = 6;
constexpr int kSilentBlocks = 26;
// Blocks in which noise rises from one unit to full scale, by a tenth at each.
constexpr int kRisingBlocks = 110;

std::vector<int16_t> read_samples(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  std::vector<int16_t> samples(bytes.size() / sizeof(int16_t));
  for (size_t i = 0; i < samples.size(); ++i) {
    const auto low = static_cast<uint8_t>(bytes[2 * i]);
    const auto high = static_cast<uint8_t>(bytes[2 * i + 1]);
    samples[i] = static_cast<int16_t>(low | high << 8);
  }
  return samples;
}

}  // namespace

bool direction_array(const std::string& name, uint32_t rate, VekBfInit& array) {
  array = {};
  array.sampleRate = rate;
  array.bitWidth = 16;
  array.soundSpeed = 343;
  std::vector<float> positions;
  if (name == "line2") positions = {0.0f, 0.05f};
  if (name == "line3") positions = {0.0f, 0.06f, 0.12f};
  if (name == "line4") positions = {0.0f, 0.08f, 0.16f, 0.24f};
  if (name == "unequal4") positions = {-0.113f, 0.036f, 0.076f, 0.113f};
  // Six displacements, four of them with long rows in every bin that counts.
  if (name == "dear4") positions = {0.0f, 0.004f, 0.118f, 0.125f};
  if (name == "square") {
    array.geometry = VEK_BF_UNIFORM_TRIANGLE_ARRAY;
    positions = {0.0707f, 0.0f, 0.0f, 0.0f};
  }
  array.micNum = static_cast<int32_t>(positions.size());
  for (size_t m = 0; m < positions.size(); ++m) array.micCoordinate[m][0] = positions[m];
  return !positions.empty();
}

DirectionSource::DirectionSource(const std::string& kind, int mics)
    : kind_(kind), mics_(mics), block_(static_cast<size_t>(mics * VEK_BF_BLOCK_FRAMES)) {
  if (kind == "speech") {
    stored_ = make_signal(kind, mics, kStoredBlocks);
  } else if (kind != "bursts" && kind != "rising") {
    stored_ = read_samples(kind);
  }
}

const int16_t* DirectionSource::next() {
  ++blocks_;
  if (!stored_.empty()) {
    if (position_ + block_.size() > stored_.size()) position_ = 0;
    std::copy_n(stored_.begin() + static_cast<ptrdiff_t>(position_), block_.size(), block_.begin());
    position_ += block_.size();
    return block_.data();
  }
  int peak = 1;
  if (kind_ == "bursts") {
    // A period that is odd, so that bursts begin at either half of a transform's hop.
    constexpr int kPeriod = kSilentBlocks + kBurstBlocks + 1;
    peak = blocks_ % kPeriod < kSilentBlocks ? 1 : 32767;
  } else {
    for (int b = 0; b < blocks_ % kRisingBlocks; ++b) peak = peak + peak / 10 + 1;
    peak = std::min(peak, 32767);
  }
  for (int16_t& sample : block_) {
    sample = static_cast<int16_t>(random_.below(2 * peak + 1) - peak);
  }
  block_[0] = 1;
  return block_.data();
}

}  // namespace vekbf::bench
