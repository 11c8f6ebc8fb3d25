// SPDX-License-Identifier: MIT
#include "bf/delay_and_sum.h"

#include <algorithm>

#include "simd/lanes.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

void delay_and_sum(Spectrum& beam, MicSpectra& saved, const MicSpectra& spectra,
                   const MicSpectra& steering, int rows, float weight) {
  const int mics = std::min(rows, kMaxMics);  // known to be few: compilers then unroll the sums
  simd::for_each_lane(kBinCount, [&](auto lane, int k) {
    using V = decltype(lane);
    simd::Pairs<V> sum = {V::splat(0.0f), V::splat(0.0f)};
    for (int m = 0; m < mics; ++m) {
      const auto steer = simd::load_bins<V>(&steering[m][k]);
      const auto bin = simd::copy_bins<V>(&saved[m][k], &spectra[m][k]);
      // bit-exact contract: each product is scaled before it is added, unlike in the adaptive
      // frame, which scales the sum: the two round differently.
      sum = sum + V::splat(weight) * (steer * bin);
    }
    simd::store_bins(&beam[k], sum);
  });
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
