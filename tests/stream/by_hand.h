// SPDX-License-Identifier: MIT
//
// The plain twin of a stream: cuts the blocks itself and calls the library's own functions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "vek_bf.h"

namespace vekbf::test {

using Samples = std::vector<int16_t>;
// Degrees, by the number of the block.
using BlockAngles = std::function<int32_t(size_t)>;

inline constexpr size_t kBlock = VEK_BF_BLOCK_FRAMES;
inline constexpr size_t kLag = VEK_BF_LAG_SAMPLES;

// One instance of the library, a block at a time.
class PlainBeam {
 public:
  PlainBeam(const VekBfInit& array, const VekBfConfig& config, bool keepTime);
  ~PlainBeam();
  PlainBeam(const PlainBeam&) = delete;
  PlainBeam& operator=(const PlainBeam&) = delete;

  // A block of the signal, of which the lowest bit of the first value may be flipped.
  void run(int16_t* in, int16_t* out, int32_t angle);
  // A block of silence that is not dropped.
  void run_tail(int16_t* out, int32_t angle);
  uint64_t zeroBlocks() const { return zeroBlocks_; }

 private:
  size_t channels_;
  bool keepTime_;
  uint64_t zeroBlocks_ = 0;
  std::vector<uint64_t> buffer_;
  VekBfHandle beam_;
};

struct ByHand {
  Samples out;
  uint64_t zeroBlocks;
};

// The whole signal: silence behind its last frame, three blocks with a single 1 to bring out the
// rest, then the lag cut off in front and the silence behind.
ByHand by_hand(const VekBfInit& array, const VekBfConfig& config, bool keepTime, Samples in,
               const BlockAngles& angles);

}  // namespace vekbf::test
