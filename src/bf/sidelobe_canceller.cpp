// SPDX-License-Identifier: MIT
//
// The stages of the canceller for the bins of one lane group. All bins are independent of each
// other here, so one pass over them serves every stage.
#include "bf/sidelobe_canceller.h"

#include "simd/lanes.h"

namespace vekbf {

namespace {

using simd::f32x1;
using simd::f32x4;
using simd::load_pairs;
using simd::Pairs;

// The fixed beam, attenuated where the presence gain is below the threshold. Exactly at it, it is
// kept.
template <class V>
Pairs<V> gate_reference(Pairs<V> beam, V gain, V threshold) {
  const auto present = greater_equal(gain, threshold);
  return {select(present, beam.re, gain * beam.re), select(present, beam.im, gain * beam.im)};
}

// x - w r, in an order of its own: the products join the real part one after the other.
template <class V>
Pairs<V> block(Pairs<V> x, Pairs<V> w, Pairs<V> r) {
  return {(x.re + w.im * r.im) - w.re * r.re, x.im - (w.im * r.re + w.re * r.im)};
}

template <class V>
V power_of(Pairs<V> value) {
  const V size = magnitude(value.re, value.im);
  return size * size;
}

// The division of the vector unit: an estimate refined twice. Deliberately on every machine, and
// not in the last bin, which has a true division: the adaptation carries a last-bit difference on
// without bound.
f32x4 divide_step(f32x4 step, f32x4 power) { return step * reciprocal_two_step(power); }
f32x1 divide_step(f32x1 step, f32x1 power) { return step / power; }

// last smoothed over time by new; the first block after configuration has no past.
template <class V>
V smooth_power(const float* last, V power, float keep, bool first) {
  if (first) return power;
  return V::splat(keep) * V::load(last) + V::splat(1.0f - keep) * power;
}

// weight += step (error conj(input)), normalised least mean squares.
template <class V>
void adapt(Complex* weight, V step, Pairs<V> error, Pairs<V> input) {
  store_pairs(weight, load_pairs<V>(weight) + step * times_conj(error, input));
}

}  // namespace

void cancel_sidelobes(Instance& instance) {
  const int mics = usable_mics(instance);
  const bool first = instance.blockCounter == 1;
  const float threshold = static_cast<float>(static_cast<double>(instance.intensity) * 0.1);

  simd::for_each_bin([&](auto lane, int k) {
    using V = decltype(lane);
    const auto beam = load_pairs<V>(&instance.fixedBeam[k]);
    const auto reference =
        gate_reference(beam, V::load(&instance.presenceGain[k]), V::splat(threshold));
    store_pairs(&instance.refBeam[k], reference);

    Pairs<V> blocked[kMaxMics];
    Pairs<V> cancel = {V::splat(0.0f), V::splat(0.0f)};
    V blockPower = V::splat(0.0f);
    for (int m = 0; m < mics; ++m) {
      blocked[m] = block(load_pairs<V>(&instance.savedSpectrum[m][k]),
                         load_pairs<V>(&instance.blockWeights[m][k]), reference);
      store_pairs(&instance.blockOutput[m][k], blocked[m]);
      cancel = cancel + load_pairs<V>(&instance.cancelWeights[m][k]) * blocked[m];
      blockPower = blockPower + power_of(blocked[m]);
    }
    store_pairs(&instance.cancelSum[k], cancel);
    blockPower.store(&instance.blockPowerSum[k]);

    const Pairs<V> out = beam - cancel;
    store_pairs(&instance.outBeam[k], out);

    const V blockSmooth = smooth_power(&instance.blockPowerSmooth[k], blockPower,
                                       instance.blockPowerSmoothing, first);
    const V beamSmooth = smooth_power(&instance.beamPowerSmooth[k], V::load(&instance.beamPower[k]),
                                      instance.beamPowerSmoothing, first);
    blockSmooth.store(&instance.blockPowerSmooth[k]);
    beamSmooth.store(&instance.beamPowerSmooth[k]);

    const V blockStep = divide_step(V::splat(instance.blockStepSize),
                                    beamSmooth + V::splat(instance.blockRegularizer));
    const V cancelStep = divide_step(V::splat(instance.cancelStepSize),
                                     blockSmooth + V::splat(instance.cancelRegularizer));
    blockStep.store(&instance.blockStep[k]);
    cancelStep.store(&instance.cancelStep[k]);

    for (int m = 0; m < mics; ++m) {
      adapt(&instance.blockWeights[m][k], blockStep, blocked[m], reference);
      adapt(&instance.cancelWeights[m][k], cancelStep, out, blocked[m]);
    }
  });
}

}  // namespace vekbf
