// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd {

// True if V flushes subnormal operands and results to zero (32-bit ARM NEON).
template <class V>
inline constexpr bool kFlushesSubnormals = false;

// True if narrow_small is faster than narrow where many results are subnormal.
template <class V>
inline constexpr bool kSubnormalsAreSlow = false;

// True if V::load_pairs and store_pairs separate and join the parts at no further cost (NEON).
template <class V>
inline constexpr bool kLoadsSeparate = false;

// True if several short loops over stored intermediate values are faster than one long loop. The
// long one takes fewer instructions, and processors that execute in order lose nothing by it.
template <class V>
inline constexpr bool kPassesPay = true;

// The row of a table that lies `offset` bytes behind its beginning.
template <class Value>
inline const Value* at_offset(const void* base, size_t offset) {
  return reinterpret_cast<const Value*>(static_cast<const char*>(base) + offset);
}

}  // namespace simd
}  // namespace VEKBF_TARGET
}  // namespace vekbf
