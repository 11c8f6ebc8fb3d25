// SPDX-License-Identifier: MIT
//
// The lane types of this build, for tests typed over all of them, and what may differ between them.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

#include "simd/lanes.h"

namespace vekbf::test {

using simd::f32x1;
using simd::f32x4;
using PortableF32x4 = simd::portable::f32xN<4>;
using PortableF32x8 = simd::portable::f32xN<8>;

inline constexpr bool kHasNative = !std::is_same_v<f32x4, PortableF32x4>;

template <bool kNative>
struct BackendLists {
  using Several = ::testing::Types<PortableF32x4, PortableF32x8>;
  using All = ::testing::Types<f32x1, PortableF32x4, PortableF32x8>;
};
template <>
struct BackendLists<true> {
  using Several = ::testing::Types<PortableF32x4, PortableF32x8, f32x4>;
  using All = ::testing::Types<f32x1, PortableF32x4, PortableF32x8, f32x4>;
};
#if defined(VEKBF_TARGET_AVX2)
template <class List>
struct Eight;
template <class... V>
struct Eight<::testing::Types<V...>> {
  using List = ::testing::Types<V..., simd::Widest>;
};
using SeveralLaneTypes = Eight<BackendLists<true>::Several>::List;
using AllLaneTypes = Eight<BackendLists<true>::All>::List;
#else
using SeveralLaneTypes = BackendLists<kHasNative>::Several;
using AllLaneTypes = BackendLists<kHasNative>::All;
#endif

struct LaneTypeNames {
  template <class V>
  static std::string GetName(int) {
    if (std::is_same_v<V, f32x1>) return "one_lane";
    if (std::is_same_v<V, PortableF32x8>) return "portable_8";
    if (V::kLanes == 8) return "native_8";
    return std::is_same_v<V, PortableF32x4> ? "portable_4" : "native_4";
  }
};

// Whether the arithmetic of V flushes subnormal operands and results to zero: the vector unit of
// 32-bit ARM, whatever its control register says.
template <class V>
inline constexpr bool kFlushes =
#if defined(__arm__)
    kHasNative&& std::is_same_v<V, f32x4>;
#else
    false;
#endif

inline float flush_operand(float x) {
  return std::fabs(x) < 0x1p-126f ? std::copysign(0.0f, x) : x;
}

}  // namespace vekbf::test
