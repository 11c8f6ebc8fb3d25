// SPDX-License-Identifier: MIT
//
// Every float that the clamped signal-to-noise ratio can be, 167 million, through the detector's
// chain: logarithm and gain against the library functions. Some ten seconds.
#include <gtest/gtest.h>

#include <cmath>

#include "math/amplitude_gain.h"
#include "math/log_rounded.h"
#include "support/backends.h"
#include "support/bits.h"
#include "support/every_float.h"
#include "support/snr_chain.h"

namespace vekbf::test {
namespace {

// The vector unit of 32-bit ARM takes subnormals for zero.
bool same_power(float a, float b) {
  return kFlushes<simd::f32x4> ? same_bits_flushed(a, b) : same_bits(a, b);
}

TEST(AmplitudeGainExhaustive, EveryRatioOfTheDomain) {
  using V = simd::f32x4;
  const auto mismatches = [](const float* gamma) {
    float v[V::kLanes], gain[V::kLanes], power[V::kLanes], a[V::kLanes], logarithm[V::kLanes];
    for (int i = 0; i < V::kLanes; ++i) {
      v[i] = scaled_snr(gamma[i]);
      a[i] = priori_snr(gamma[i]) + 1.0f;
    }
    KnownGains known;
    amplitude_gain(V::load(v), V::load(gamma), known).store(gain);
    gain_power(V::load(gain), V::load(gamma), V::load(v)).store(power);
    log_rounded(V::load(a)).store(logarithm);
    uint64_t bad = 0;
    for (int i = 0; i < V::kLanes; ++i) {
      bad += a[i] >= kLogLowest && a[i] <= kLogHighest ? 0 : 1;
      bad += v[i] < static_cast<float>(kGainCells) - 0.5f ? 0 : 1;
      bad += same_power(power[i], gain[i] * (gain[i] * gamma[i])) ? 0 : 1;
      bad += same_bits(gain[i], amplitude_gain_plain(v[i], gamma[i])) ? 0 : 1;
      bad +=
          same_bits(logarithm[i], static_cast<float>(std::log(static_cast<double>(a[i])))) ? 0 : 1;
    }
    return bad;
  };
  EXPECT_EQ(for_every_float<V::kLanes>(kGainLowestSnr, kGainHighestSnr, 1, mismatches), 0u);
}

}  // namespace
}  // namespace vekbf::test
