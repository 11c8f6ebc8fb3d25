// SPDX-License-Identifier: MIT
#include "direction/spectra.h"

#include "base/chosen_kernels.h"
#include "fft/window.h"
#include "simd/lanes.h"

namespace vekbf::direction {

namespace {

template <class V>
V power_of(const Complex* value) {
  const simd::Pairs<V> c = V::load_pairs(value);
  return plus_product(c.re * c.re, c.im, c.im);
}

// bit-exact contract: opposite microphones of a square are added first, so that a square that is
// turned by 90 degrees gives the same bits.
template <int kMics>
void mean_power(const Spectrum* spectra, float* power) {
  constexpr float kShare = 1.0f / static_cast<float>(kMics);
  simd::for_each_lane(kBinCount, [&](auto lane, int k) {
    using V = decltype(lane);
    const auto of = [&](int m) { return power_of<V>(&spectra[m][k]); };
    V sum = V::splat(0.0f);
    if constexpr (kMics == 2) sum = of(0) + of(1);
    if constexpr (kMics == 3) sum = (of(0) + of(2)) + of(1);
    if constexpr (kMics == 4) sum = (of(0) + of(2)) + (of(1) + of(3));
    const V mean = sum * V::splat(kShare);
    const V least = V::splat(1.0f);
    select(greater(mean, least), mean, least).store(power + k);
  });
}

}  // namespace

void start_signals(Signals& signals) {
  constexpr int32_t kHamming = 1;
  Transform& transform = signals.transform;
  transform.plan = fft_plan_lay_out(transform.planMemory, kFrameSize);
  float squares[kFrameSize];
  fft::fill_window(transform.window, squares, kFrameSize, kHamming, false);
}

void transform_signals(Signals& signals, int mics, float* power) {
  float windowed[kFrameSize];
  for (int m = 0; m < mics; ++m) {
    dsp_kernels().windowed_forward(signals.spectra[m], signals.history[m], windowed,
                                   signals.transform.window, signals.transform.plan);
  }
  switch (mics) {
    case 2:
      return mean_power<2>(signals.spectra, power);
    case 3:
      return mean_power<3>(signals.spectra, power);
    default:
      return mean_power<4>(signals.spectra, power);
  }
}

}  // namespace vekbf::direction
