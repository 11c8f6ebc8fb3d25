// SPDX-License-Identifier: MIT
//
// The floating-point mode that every result is stated for: round to nearest, subnormals kept,
// exceptions masked. A host may have set another for its own arithmetic; hosts of audio often flush
// subnormals, and a program that was linked with -ffast-math does so without knowing.
//
// (The vector unit of 32-bit ARM flushes in every mode: docs/numerics.md.)
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vekbf::simd {

namespace detail {

#if defined(__SSE2__)
// Flush to zero, rounding, exception masks, denormals are zeros.
inline constexpr uint64_t kModeBits = 0xffc0;
inline constexpr uint64_t kStatedMode = 0x1f80;
inline uint64_t float_control() { return _mm_getcsr(); }
inline void set_float_control(uint64_t control) { _mm_setcsr(static_cast<uint32_t>(control)); }
#elif defined(__aarch64__)
inline constexpr uint64_t kModeBits = UINT64_MAX;
inline constexpr uint64_t kStatedMode = 0;
inline uint64_t float_control() {
  uint64_t control;
  asm volatile("mrs %0, fpcr" : "=r"(control)::"memory");
  return control;
}
inline void set_float_control(uint64_t control) {
  asm volatile("msr fpcr, %0" ::"r"(control) : "memory");
}
#elif defined(__arm__) && defined(__ARM_FP)
// All but the condition flags and the exceptions that have been seen.
inline constexpr uint64_t kModeBits = 0x07ff9f00;
inline constexpr uint64_t kStatedMode = 0;
inline uint64_t float_control() {
  uint32_t control;
  asm volatile("vmrs %0, fpscr" : "=r"(control)::"memory");
  return control;
}
inline void set_float_control(uint64_t control) {
  asm volatile("vmsr fpscr, %0" ::"r"(static_cast<uint32_t>(control)) : "memory");
}
#else
// Nothing is known of this machine: its host keeps to the stated mode.
inline constexpr uint64_t kModeBits = 0;
inline constexpr uint64_t kStatedMode = 0;
inline uint64_t float_control() { return 0; }
inline void set_float_control(uint64_t) {}
#endif

}  // namespace detail

// The stated mode for as long as it lives, then the host's again.
class StatedFloatMode {
 public:
  StatedFloatMode() : host_(detail::float_control()) {
    if (differs()) {
      detail::set_float_control((host_ & ~detail::kModeBits) | detail::kStatedMode);
    }
  }
  ~StatedFloatMode() {
    if (differs()) detail::set_float_control(host_);
  }
  StatedFloatMode(const StatedFloatMode&) = delete;
  StatedFloatMode& operator=(const StatedFloatMode&) = delete;

 private:
  bool differs() const { return (host_ & detail::kModeBits) != detail::kStatedMode; }

  uint64_t host_;
};

}  // namespace vekbf::simd
