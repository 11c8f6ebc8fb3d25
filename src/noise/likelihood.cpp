// SPDX-License-Identifier: MIT
#include "noise/likelihood.h"

#include "math/amplitude_gain.h"
#include "math/log_rounded.h"
#include "simd/lanes.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace {

// v = 0.2 gamma xi / (1 + xi); the product in double precision, the quotient in single.
template <class V>
V scaled_snr(V gamma, V xi, V xi_plus_1) {
  using W = decltype(widen(gamma));
  const V product = narrow(widen(gamma) * W::splat(0.1) * widen(xi));
  const V half = product / xi_plus_1;
  return half + half;
}

// The logarithm and the gain by table, for the parameters that a detector starts with.
struct ByTable {
  template <class V>
  static V logarithm(V a) {
    return log_rounded(a);
  }
  template <class V>
  static V gain(V v, V gamma, KnownGains& known) {
    return amplitude_gain(v, gamma, known);
  }
  template <class V>
  static V power(V gain, V gamma, V v) {
    return gain_power(gain, gamma, v);
  }
};

// By the mathematics library, for any parameters.
struct ByLibrary {
  template <class V>
  static V logarithm(V a) {
    float x[V::kLanes];
    a.store(x);
    for (float& value : x) value = log_rounded_plain(value);
    return V::load(x);
  }
  template <class V>
  static V gain(V v, V gamma, KnownGains&) {
    float x[V::kLanes], y[V::kLanes];
    v.store(x);
    gamma.store(y);
    for (int i = 0; i < V::kLanes; ++i) x[i] = amplitude_gain_plain(x[i], y[i]);
    return V::load(x);
  }
  template <class V>
  static V power(V gain, V gamma, V) {
    return gain * (gain * gamma);
  }
};

// Three passes, each short enough for a processor to overlap several groups of bins. Each copies
// what it needs of the record into local variables: a store of floats could change the record, as
// far as a compiler knows.

void signal_to_noise(VadState& state, const float* power, const float* noise) {
  const float smoothing = state.snrSmoothing;
  const float smoothingComp = 1.0f - smoothing;
  const float highest = state.snrMax;
  const float lowest = state.snrMin;
  float* const postSnr = state.postSnr;
  float* const postSnrMinusOne = state.postSnrMinusOne;
  float* const prioriSnr = state.prioriSnr;
  float* const scaledSnr = state.scaledSnr;
  simd::for_each_lane(state.binCount, [=](auto lane, int k) {
    using V = decltype(lane);
    const V one = V::splat(1.0f);
    const V snrMax = V::splat(highest);
    const V snrMin = V::splat(lowest);

    // The upper clamp keeps what is below the limit, so that not-a-number becomes the limit.
    const V ratio = V::load(power + k) / V::load(noise + k);
    const V below = select(greater(snrMax, ratio), ratio, snrMax);
    const V gamma = select(greater_equal(snrMin, below), snrMin, below);
    gamma.store(postSnr + k);

    // bit-exact contract: both terms take this frame's ratio. (The decision-directed estimate would
    // take the previous frame's speech power for the second one.)
    const V excess = gamma - one;
    excess.store(postSnrMinusOne + k);
    const V xi = plus_product(V::splat(smoothingComp) * excess, V::splat(smoothing), gamma);
    xi.store(prioriSnr + k);
    scaled_snr(gamma, xi, xi + one).store(scaledSnr + k);
  });
}

template <class Functions>
void log_likelihoods(VadState& state) {
  const float* const prioriSnr = state.prioriSnr;
  const float* const scaledSnr = state.scaledSnr;
  float* const binLogLikelihood = state.binLogLikelihood;
  simd::for_each_lane(state.binCount, [=](auto lane, int k) {
    using V = decltype(lane);
    const V xi_plus_1 = V::load(prioriSnr + k) + V::splat(1.0f);
    const V likelihood = V::load(scaledSnr + k) - Functions::logarithm(xi_plus_1);
    likelihood.store(binLogLikelihood + k);
  });
}

// The sum of the likelihoods is a chain of additions that waits for nothing here.
template <class Functions>
void gains_and_mean(VadState& state) {
  const float* const postSnr = state.postSnr;
  const float* const scaledSnr = state.scaledSnr;
  float* const gain = state.gain;
  float* const speechPowerRatio = state.speechPowerRatio;
  const float* const binLogLikelihood = state.binLogLikelihood;
  float sum = 0.0f;
  KnownGains known;
  simd::for_each_lane(state.binCount, [=, &sum, &known](auto lane, int k) {
    using V = decltype(lane);
    const V gamma = V::load(postSnr + k);
    const V v = V::load(scaledSnr + k);
    const V g = Functions::gain(v, gamma, known);
    g.store(gain + k);
    Functions::power(g, gamma, v).store(speechPowerRatio + k);
    // bit-exact contract: summed in the order of the bins, not lane by lane.
    for (int i = 0; i < V::kLanes; ++i) sum += binLogLikelihood[k + i];
  });
  state.meanLogLikelihood = sum / static_cast<float>(state.binCount);
}

bool is_in_gain_domain(float snr) { return snr >= kGainLowestSnr && snr <= kGainHighestSnr; }

// The clamped ratio is one of the two limits or lies between them, also where they stand the wrong
// way round. (Inlined, these comparisons cost gcc 12 registers in the loops on 32-bit ARM.)
[[gnu::noinline]] bool tables_hold(const VadState& state) {
  return is_in_gain_domain(state.snrMin) && is_in_gain_domain(state.snrMax) &&
         state.snrSmoothing == 0.99f;
}

template <class Functions>
void run_bins(VadState& state, const float* power, const float* noise) {
  signal_to_noise(state, power, noise);
  log_likelihoods<Functions>(state);
  gains_and_mean<Functions>(state);
}

}  // namespace

void bin_likelihoods(VadState& state, const float* power, const float* noise) {
  if (tables_hold(state)) {
    run_bins<ByTable>(state, power, noise);
  } else {
    run_bins<ByLibrary>(state, power, noise);
  }
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
