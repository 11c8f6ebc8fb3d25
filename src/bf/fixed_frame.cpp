// SPDX-License-Identifier: MIT
#include "bf/fixed_frame.h"

#include <cstring>

#include "bf/steering.h"
#include "bf/synthesis.h"
#include "simd/lanes.h"

namespace vekbf {

namespace {

// beam[k] = sum over microphones of weight (steering times spectrum), in microphone order.
// Deliberately each product is scaled before it is added, unlike in the adaptive frame, which
// scales the sum: the two round differently.
void delay_and_sum(Instance& instance, Complex* beam) {
  const int mics = usable_mics(instance);
  if (mics < 1) {
    std::memset(beam, 0, kBinCount * sizeof(Complex));
    return;
  }
  const float weight = 1.0f / static_cast<float>(instance.micNum);
  simd::for_each_bin([&](auto lane, int k) {
    using V = decltype(lane);
    simd::Pairs<V> sum = {V::splat(0.0f), V::splat(0.0f)};
    for (int m = 0; m < mics; ++m) {
      const auto steer = simd::load_pairs<V>(&instance.steerTable[m][k]);
      const auto bin =
          simd::copy_pairs<V>(&instance.savedSpectrum[m][k], &instance.micSpectrum[m][k]);
      sum = sum + V::splat(weight) * (steer * bin);
    }
    store_pairs(&beam[k], sum);
  });
}

}  // namespace

}  // namespace vekbf

void fixed_frame(Instance* instance) {
  Complex beam[vekbf::kBinCount];
  compute_steering(instance, instance->steerAngle);
  vekbf::delay_and_sum(*instance, beam);
  vekbf::synthesise(*instance, beam);
}
