// SPDX-License-Identifier: MIT
//
// One instance of the library and one of the plain model, each in a buffer of exactly its size,
// that go through the same calls.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/instance.h"
#include "fuzz/target.h"
#include "vek_bf.h"

namespace vekbf::fuzz {

// The counts of blocks, and of those that were neither zero nor given to an instance that cannot
// transform.
inline constexpr const char* kCompared = "blocks compared";
inline constexpr const char* kProcessed = "of them processed";

class Twin {
 public:
  explicit Twin(const VekBfInit& init);
  ~Twin();
  Twin(const Twin&) = delete;
  Twin& operator=(const Twin&) = delete;

  VekBfHandle library() { return library_; }
  VekBfHandle model() { return model_; }

  uint32_t configure(const VekBfConfig& config);
  // `in` holds what the library may read: values(), and no more.
  void run(const std::vector<int16_t>& in, int32_t angle);
  void release();
  // Releases both, and makes new ones of the same buffers.
  void begin_again(const VekBfInit& init);
  // Gives both detectors a smoothing of their own, if there are any.
  void smooth_detectors(float smoothing);
  // Values of one block; 128 where there is no usable number of microphones.
  size_t values() const;
  // Every field of both records and of what they own.
  void compare(const char* after) const;

 private:
  bool makes_sound() const;

  std::unique_ptr<uint8_t[]> library_buffer_;
  std::unique_ptr<uint8_t[]> model_buffer_;
  VekBfHandle library_;
  VekBfHandle model_;
};

// A record with sensible values, or, if `wild`, with any at all.
VekBfInit read_init(Input& input, bool wild);
VekBfConfig read_config(Input& input, bool wild);

// The next block of audio: samples of the input itself, or a few bytes of it made into noise of any
// level, impulses or constants.
std::vector<int16_t> read_block(Input& input, size_t values);

}  // namespace vekbf::fuzz
