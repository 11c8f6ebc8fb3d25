// SPDX-License-Identifier: MIT
//
// The four-lane layer: every hot loop is written once over `f32x4`, whose backends (NEON, SSE2,
// four plain floats) offer the same operations under the same names and give the same bits. The
// portable backend is the meaning of the other two. All operations are element-wise, so lane order
// never matters.
//
// A lane type V (f32x4 of a backend, or the one-lane f32x1) has
//   V::kLanes, V::load(p), V::splat(x), v.store(p)         no alignment needed
//   a + b, a - b, a * b, a / b                             IEEE single, each rounded
//   plus_product(a, b, c), minus_product(a, b, c)          a + b * c, a - b * c, b * c rounded
//   greater(a, b), greater_equal(a, b) -> V::Mask          false for not-a-number
//   select(mask, a, b)                                     a where the mask is set, else b
//   load_pairs<V>(p), store_pairs(p, c)                    complex values, split into re and im
//   copy_pairs<V>(to, from)                                copies, and gives what was copied
//   reciprocal_two_step(d)                                 see base/reciprocal.h
//   reciprocal_estimate(d)                                 its table estimate alone
//   add_truncated(acc, v)                                  int16: acc[i] += saturated v[i], wraps
// and the four-lane types also
//   reverse(v), transpose(a, b, c, d), interleave(a, b), deinterleave(a, b), any_nan(v)
//
// On 32-bit ARM the vector unit flushes subnormal operands and results to zero; nothing else
// differs.
#pragma once

#include "simd/f32x1.h"
#include "simd/f32x4_portable.h"

#if defined(VEKBF_PORTABLE)
namespace vekbf::simd {
using f32x4 = portable::f32x4;
}
#elif defined(__ARM_NEON) && (defined(__aarch64__) || defined(__arm__))
#include "simd/f32x4_neon.h"
namespace vekbf::simd {
using f32x4 = neon::f32x4;
#if defined(__arm__)
template <>
inline constexpr bool kFlushesSubnormals<neon::f32x4> = true;
#endif
}  // namespace vekbf::simd
#elif defined(__SSE2__)
#include "simd/f32x4_sse2.h"
namespace vekbf::simd {
using f32x4 = sse2::f32x4;
}
#else
namespace vekbf::simd {
using f32x4 = portable::f32x4;
}
#endif
