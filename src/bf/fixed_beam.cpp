// SPDX-License-Identifier: MIT
#include "bf/fixed_beam.h"

#include <cstring>

#include "simd/lanes.h"

namespace vekbf {

namespace {

// |beam|^2. Unlike all other powers this one keeps its subnormals on every machine, because the
// estimator asks how it compares with its own past: the unit that makes the magnitudes squares
// them.
template <class V>
void store_power(float* power, simd::Pairs<V> beam) {
  if constexpr (simd::kFlushesSubnormals<V>) {
    float re[V::kLanes], im[V::kLanes];
    beam.re.store(re);
    beam.im.store(im);
    for (int i = 0; i < V::kLanes; ++i) {
      const float size = vekbf::magnitude(re[i], im[i]);
      power[i] = size * size;
    }
  } else {
    const V size = magnitude(beam.re, beam.im);
    (size * size).store(power);
  }
}

}  // namespace

void form_fixed_beam(Instance& instance) {
  const int mics = usable_mics(instance);
  for (int m = 0; m < mics; ++m) {
    std::memcpy(instance.savedSpectrum[m], instance.micSpectrum[m],
                sizeof instance.savedSpectrum[m]);
  }
  // Without microphones this is infinite, and the beam 0 times infinity: not a number, which
  // converts to silence.
  const float weight = 1.0f / static_cast<float>(instance.micNum);
  simd::for_each_bin([&](auto lane, int k) {
    using V = decltype(lane);
    simd::Pairs<V> sum = {V::splat(0.0f), V::splat(0.0f)};
    for (int m = 0; m < mics; ++m) {
      const auto steer = simd::load_pairs<V>(&instance.steerTable[m][k]);
      sum = sum + steer * simd::load_pairs<V>(&instance.savedSpectrum[m][k]);
    }
    // Deliberately once, after the sum, unlike the fixed frame.
    const simd::Pairs<V> beam = V::splat(weight) * sum;
    store_pairs(&instance.fixedBeam[k], beam);
    store_power(&instance.beamPower[k], beam);
  });
}

}  // namespace vekbf
