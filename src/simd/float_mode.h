// SPDX-License-Identifier: MIT
//
// bit-exact contract: results are stated for round to nearest, subnormals kept, exceptions masked.
// A host may have set another mode: audio hosts often flush subnormals, and a program that was
// linked with -ffast-math does so without knowing. (The vector unit of 32-bit ARM flushes in every
// mode: docs/numerics.md.)
#pragma once

#include <bit>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vekbf {

namespace float_control {

#if defined(__SSE2__)
// Flush to zero, rounding, exception masks, denormals are zeros.
inline constexpr uint64_t kModeBits = 0xffc0;
inline constexpr uint64_t kIeeeMode = 0x1f80;
inline uint64_t get() { return _mm_getcsr(); }
inline void set(uint64_t control) { _mm_setcsr(static_cast<uint32_t>(control)); }
#elif defined(__aarch64__)
inline constexpr uint64_t kModeBits = UINT64_MAX;
inline constexpr uint64_t kIeeeMode = 0;
inline uint64_t get() {
  uint64_t control;
  asm volatile("mrs %0, fpcr" : "=r"(control)::"memory");
  return control;
}
inline void set(uint64_t control) { asm volatile("msr fpcr, %0" ::"r"(control) : "memory"); }
#elif defined(__arm__) && defined(__ARM_FP)
// All but the condition flags and the exceptions that have been seen.
inline constexpr uint64_t kModeBits = 0x07ff9f00;
inline constexpr uint64_t kIeeeMode = 0;
inline uint64_t get() {
  uint32_t control;
  asm volatile("vmrs %0, fpscr" : "=r"(control)::"memory");
  return control;
}
inline void set(uint64_t control) {
  asm volatile("vmsr fpscr, %0" ::"r"(static_cast<uint32_t>(control)) : "memory");
}
#elif defined(__riscv) && defined(__riscv_flen)
// The rounding direction. There are no traps, and subnormals are always kept.
inline constexpr uint64_t kModeBits = 0xe0;
inline constexpr uint64_t kIeeeMode = 0;
inline uint64_t get() {
  unsigned long control;
  asm volatile("frcsr %0" : "=r"(control)::"memory");
  return control;
}
inline void set(uint64_t control) {
  asm volatile("fscsr %0" ::"r"(static_cast<unsigned long>(control)) : "memory");
}
#elif defined(__powerpc64__) && !defined(_SOFT_FLOAT)
// Enabled exceptions, flushed subnormals (non-IEEE mode), rounding direction.
inline constexpr uint64_t kModeBits = 0xff;
inline constexpr uint64_t kIeeeMode = 0;
inline uint64_t get() {
  double control;
  asm volatile("mffs %0" : "=d"(control)::"memory");
  return std::bit_cast<uint64_t>(control);
}
inline void set(uint64_t control) {
  asm volatile("mtfsf 0xff, %0" ::"d"(std::bit_cast<double>(control)) : "memory");
}
#elif defined(__s390x__)
// Enabled exceptions, binary rounding direction. Subnormals are always kept.
inline constexpr uint64_t kModeBits = 0xfc000007;
inline constexpr uint64_t kIeeeMode = 0;
inline uint64_t get() {
  uint32_t control;
  asm volatile("efpc %0" : "=d"(control)::"memory");
  return control;
}
inline void set(uint64_t control) {
  asm volatile("sfpc %0" ::"d"(static_cast<uint32_t>(control)) : "memory");
}
#else
// Nothing is known of this machine: its host has to keep to this mode.
inline constexpr uint64_t kModeBits = 0;
inline constexpr uint64_t kIeeeMode = 0;
inline uint64_t get() { return 0; }
inline void set(uint64_t) {}
#endif

}  // namespace float_control

// Sets the mode for as long as it lives, then the host's again.
class ScopedIeeeMode {
 public:
  ScopedIeeeMode() : host_(float_control::get()) {
    if (differs()) {
      float_control::set((host_ & ~float_control::kModeBits) | float_control::kIeeeMode);
    }
  }
  ~ScopedIeeeMode() {
    if (differs()) float_control::set(host_);
  }
  ScopedIeeeMode(const ScopedIeeeMode&) = delete;
  ScopedIeeeMode& operator=(const ScopedIeeeMode&) = delete;

 private:
  bool differs() const { return (host_ & float_control::kModeBits) != float_control::kIeeeMode; }

  uint64_t host_;
};

}  // namespace vekbf
