// SPDX-License-Identifier: MIT
#include "bf/fixed_beam.h"

#include <algorithm>

#include "simd/lanes.h"
#include "simd/magnitude.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

namespace {

// |beam|^2. Unlike all other powers it keeps its subnormals on every machine, because the estimator
// compares it with its own past: where the vector unit flushes them, the square is taken in double
// precision by the scalar unit. There it is exact before it is rounded.
template <class V>
V power_of(V re, V im) {
  const V size = simd::magnitude(re, im);
  if constexpr (simd::kFlushesSubnormals<V>) {
    auto wide = widen(size);
    return narrow(wide * wide);
  } else {
    return size * size;
  }
}

}  // namespace

void form_fixed_beam(Spectrum& beam, BinValues& power, MicSpectra& saved, const MicSpectra& spectra,
                     const MicSpectra& steering, int rows, float weight) {
  const int mics = std::min(rows, kMaxMics);  // known to be few: compilers then unroll the sums
  simd::for_each_lane(kBinCount, [&](auto lane, int k) {
    using V = decltype(lane);
    simd::Pairs<V> sum = {V::splat(0.0f), V::splat(0.0f)};
    for (int m = 0; m < mics; ++m) {
      const auto steer = simd::load_bins<V>(&steering[m][k]);
      sum = sum + steer * simd::copy_bins<V>(&saved[m][k], &spectra[m][k]);
    }
    // bit-exact contract: scaled once, after the sum, unlike in the fixed frame.
    const V re = V::splat(weight) * sum.re;
    const V im = V::splat(weight) * sum.im;
    simd::store_bins(&beam[k], simd::Pairs<V>{re, im});
    simd::store_beside(&power[k], power_of(re, im));
  });
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
