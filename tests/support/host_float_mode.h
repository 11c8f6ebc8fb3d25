// SPDX-License-Identifier: MIT
//
// Floating-point modes that a host may have set for its own arithmetic.
#pragma once

#include <cfenv>
#include <cstdint>

#include "simd/float_mode.h"

namespace vekbf::test {

#if defined(__SSE2__)
inline constexpr uint64_t kFlushing = 0x8040;  // flush to zero, denormals are zeros
#elif defined(__aarch64__) || defined(__arm__)
inline constexpr uint64_t kFlushing = 1 << 24;
#else
inline constexpr uint64_t kFlushing = 0;
#endif

// Another mode for as long as it lives: a rounding of <cfenv>, and flushed subnormals.
class HostFloatMode {
 public:
  HostFloatMode(int rounding, bool flushing)
      : rounding_(std::fegetround()), before_(float_control::get()) {
    std::fesetround(rounding);
    if (flushing) {
      float_control::set(float_control::get() | kFlushing);
    }
    set_ = float_control::get() & float_control::kModeBits;
  }
  ~HostFloatMode() {
    std::fesetround(rounding_);  // of the x87 unit too, where there is one
    float_control::set(before_);
  }
  HostFloatMode(const HostFloatMode&) = delete;
  HostFloatMode& operator=(const HostFloatMode&) = delete;

  bool is_unchanged() const { return (float_control::get() & float_control::kModeBits) == set_; }

 private:
  int rounding_;
  uint64_t before_;
  uint64_t set_;
};

}  // namespace vekbf::test
