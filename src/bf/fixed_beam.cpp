// SPDX-License-Identifier: MIT
#include "bf/fixed_beam.h"

#include "simd/lanes.h"
#include "simd/magnitude.h"

namespace vekbf {

namespace {

// |beam|^2. Unlike all other powers this one keeps its subnormals on every machine, because the
// estimator asks how it compares with its own past: a unit that flushes them leaves the square to
// the one that makes the magnitudes. In double precision it is exact before it is rounded.
template <class V>
V power_of(simd::Pairs<V> beam) {
  const V size = simd::magnitude(beam.re, beam.im);
  if constexpr (simd::kFlushesSubnormals<V>) {
    auto wide = widen(size);
    return narrow(wide * wide);
  } else {
    return size * size;
  }
}

}  // namespace

void form_fixed_beam(Instance& instance) {
  const int mics = usable_mics(instance);
  // Without microphones this is infinite, and the beam 0 times infinity: not a number, which
  // converts to silence.
  const float weight = 1.0f / static_cast<float>(instance.micNum);
  simd::for_each_bin([&](auto lane, int k) {
    using V = decltype(lane);
    simd::Pairs<V> sum = {V::splat(0.0f), V::splat(0.0f)};
    for (int m = 0; m < mics; ++m) {
      const auto steer = simd::load_pairs<V>(&instance.steerTable[m][k]);
      sum = sum +
            steer * simd::copy_pairs<V>(&instance.savedSpectrum[m][k], &instance.micSpectrum[m][k]);
    }
    // Deliberately once, after the sum, unlike the fixed frame.
    const simd::Pairs<V> beam = V::splat(weight) * sum;
    store_pairs(&instance.fixedBeam[k], beam);
    power_of(beam).store(&instance.beamPower[k]);
  });
}

}  // namespace vekbf
