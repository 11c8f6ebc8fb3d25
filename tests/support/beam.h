// SPDX-License-Identifier: MIT
//
// Instances for tests, reached through the exported functions.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/instance.h"
#include "support/printed.h"
#include "support/random.h"
#include "vek_bf.h"

namespace vekbf::test {

using Block = std::vector<int16_t>;

// A working buffer straight from malloc, so that memory checkers see its two ends.
class WorkBuffer {
 public:
  explicit WorkBuffer(int fill = 0) : memory_(std::malloc(kWorkBufferSize)) {
    std::memset(memory_, fill, kWorkBufferSize);
  }
  ~WorkBuffer() { std::free(memory_); }
  WorkBuffer(const WorkBuffer&) = delete;
  WorkBuffer& operator=(const WorkBuffer&) = delete;

  void* get() { return memory_; }
  Instance* instance() { return static_cast<Instance*>(memory_); }
  std::vector<uint8_t> bytes() const {
    const auto* first = static_cast<const uint8_t*>(memory_);
    return std::vector<uint8_t>(first, first + kWorkBufferSize);
  }

 private:
  void* memory_;
};

// A valid record: microphones every 4 cm along the x axis.
inline VekBfInit array_of(int32_t mics, VekBfAlgorithm algorithm = VEK_FIXED_BF,
                          VekBfGeometry geometry = VEK_BF_UNIFORM_LINEAR_ARRAY) {
  VekBfInit init{};
  init.sampleRate = 16000;
  init.bitWidth = 16;
  init.micNum = mics;
  init.soundSpeed = 343;
  init.algorithm = algorithm;
  init.geometry = geometry;
  for (int m = 0; m < VEK_BF_MAX_MICS; ++m) {
    init.micCoordinate[m][0] = 0.06f - 0.04f * static_cast<float>(m);
    init.micCoordinate[m][1] = 0.01f * static_cast<float>(m);
  }
  return init;
}

// Two microphones a centimetre apart. Pulses that cancel each other in them leave subnormal powers
// straight ahead, on which the adaptation to the sound after them depends.
inline VekBfInit narrow_pair() {
  VekBfInit init = array_of(2, VEK_ADAPTIVE_BF);
  init.sampleRate = 8000;
  init.micCoordinate[0][0] = 0.0f;
  init.micCoordinate[1][0] = 0.01f;
  return init;
}

inline constexpr VekBfConfig kConfig{0.5f, 5};

// An initialised instance that lets go of what it owns at the end of a test.
class Beam {
 public:
  explicit Beam(const VekBfInit& init, int fill = 0)
      : buffer_(fill), handle_(VekBf_Init(buffer_.get(), &init)) {}
  ~Beam() {
    if (handle_->fftState != nullptr || handle_->vadState != nullptr) VekBf_Free(handle_);
  }

  VekBfHandle handle() { return handle_; }
  Instance& record() { return *handle_; }
  std::vector<uint8_t> bytes() const { return buffer_.bytes(); }

  uint32_t configure(const VekBfConfig& config = kConfig) {
    uint32_t code = 0;
    lines_ = printed([&] { code = VekBf_SetConfig(handle_, &config); });
    return code;
  }
  // What the last configure() printed.
  const std::string& lines() const { return lines_; }

  Block run(const Block& in, int32_t angle = 90) {
    Block out(kHopSize, 0x5a5a);
    EXPECT_EQ(VekBf_Run(handle_, in.data(), out.data(), angle), VEK_BF_OK);
    return out;
  }

 private:
  WorkBuffer buffer_;
  VekBfHandle handle_;
  std::string lines_;
};

// A block of noise of at most `peak`, which is never a zero block.
inline Block noise_block(Random& random, int channels, int peak = 8000) {
  Block block(static_cast<size_t>(kHopSize) * static_cast<size_t>(channels));
  for (int16_t& x : block) x = static_cast<int16_t>(random.below(2 * peak + 1) - peak);
  block[0] = 1;
  return block;
}

}  // namespace vekbf::test
