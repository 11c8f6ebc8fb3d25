// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "arguments.h"
#include "vek_bf.h"

namespace vekbf_tool {

// An instance of the library with its buffer. Throws RunError.
class Beam {
 public:
  Beam(const Arguments& arguments, int sampleRate);
  ~Beam();
  Beam(const Beam&) = delete;
  Beam& operator=(const Beam&) = delete;
  // mics × VEK_BF_BLOCK_FRAMES samples in, VEK_BF_BLOCK_FRAMES out.
  void run(const std::int16_t* in, std::int16_t* out, std::int32_t angle);

 private:
  std::unique_ptr<std::byte[]> buffer_;
  VekBfHandle handle_ = nullptr;
};

}  // namespace vekbf_tool
