// SPDX-License-Identifier: MIT
//
// All bins are independent of each other, so the stages run one after the other over stretches of
// the spectrum that are short enough for the first-level cache to hold all rows of a stretch. The
// stages that run more than once stay functions of their own: compilers then walk along pointers,
// where of the record's fields they would compute each address anew.
#include "bf/sidelobe_canceller.h"

#include <cstring>

#include "base/sizes.h"
#include "simd/f32x4.h"
#include "simd/magnitude.h"
#include "simd/pairs.h"

namespace vekbf {

namespace {

using simd::f32x1;
using simd::f32x4;
using simd::load_pairs;
using simd::Pairs;

inline constexpr int kStretchBins = 64;

// Bins from `from` up to and without `to`, a whole number of lane groups.
struct Stretch {
  int from;
  int to;
};

// The fixed beam, attenuated where the presence gain is below the threshold. Exactly at it, it is
// kept.
template <class V>
void gate_reference(Instance& instance, Stretch bins) {
  const float threshold = static_cast<float>(static_cast<double>(instance.intensity) * 0.1);
  for (int k = bins.from; k < bins.to; k += V::kLanes) {
    const auto beam = load_pairs<V>(&instance.fixedBeam[k]);
    const V gain = V::load(&instance.presenceGain[k]);
    const auto present = greater_equal(gain, V::splat(threshold));
    store_pairs(&instance.refBeam[k], Pairs<V>{select(present, beam.re, gain * beam.re),
                                               select(present, beam.im, gain * beam.im)});
  }
}

// Takes the reference out of one microphone, x - w r, and adds what is left to the canceller's
// sums, which run in the order of the microphones. The products of the real part deliberately join
// it one after the other.
template <class V>
[[gnu::noinline]] void block_and_cancel(Complex* output, Complex* sum, float* power_sum,
                                        const Complex* input, const Complex* weights,
                                        const Complex* reference, const Complex* cancel_weights,
                                        int count) {
  for (int k = 0; k < count; k += V::kLanes) {
    const auto x = load_pairs<V>(input + k);
    const auto w = load_pairs<V>(weights + k);
    const auto r = load_pairs<V>(reference + k);
    const V re = minus_product(plus_product(x.re, w.im, r.im), w.re, r.re);
    const V im = x.im - plus_product(w.im * r.re, w.re, r.im);
    store_pairs(output + k, Pairs<V>{re, im});
    store_pairs(sum + k,
                load_pairs<V>(sum + k) + load_pairs<V>(cancel_weights + k) * Pairs<V>{re, im});
    const V size = simd::magnitude(re, im);
    const V power = plus_product(V::load(power_sum + k), size, size);
    power.store(power_sum + k);
  }
}

template <class V>
void subtract_cancelled(Instance& instance, Stretch bins) {
  for (int k = bins.from; k < bins.to; k += V::kLanes) {
    store_pairs(&instance.outBeam[k],
                load_pairs<V>(&instance.fixedBeam[k]) - load_pairs<V>(&instance.cancelSum[k]));
  }
}

// The division of the vector unit: an estimate refined twice. Deliberately on every machine, and
// not in the last bin, which has a true division: the adaptation carries a last-bit difference on
// without bound.
f32x4 divide_step(f32x4 step, f32x4 power) { return step * reciprocal_two_step(power); }
f32x1 divide_step(f32x1 step, f32x1 power) { return step / power; }

struct StepRule {
  float keep;  // forgetting factor of the smoothed power
  float size;
  float regularizer;
};

// The power smoothed over time, and the step sizes normalised by it. The first block after
// configuration has no past.
template <class V>
[[gnu::noinline]] void normalise_steps(float* step, float* smooth, const float* power,
                                       StepRule rule, bool first, Stretch bins) {
  for (int k = bins.from; k < bins.to; k += V::kLanes) {
    V now = V::load(power + k);
    if (!first) {
      now =
          plus_product(V::splat(rule.keep) * V::load(smooth + k), V::splat(1.0f - rule.keep), now);
    }
    now.store(smooth + k);
    divide_step(V::splat(rule.size), now + V::splat(rule.regularizer)).store(step + k);
  }
}

// weight += step (error conj(input)), normalised least mean squares.
template <class V>
[[gnu::always_inline]] inline void adapt_weight(Complex* weight, V step, Pairs<V> error,
                                                Pairs<V> input) {
  const Pairs<V> old = load_pairs<V>(weight);
  const Pairs<V> gradient = times_conj(error, input);
  store_pairs(weight, Pairs<V>{plus_product(old.re, step, gradient.re),
                               plus_product(old.im, step, gradient.im)});
}

template <class V>
[[gnu::noinline]] void adapt(Complex* block_weights, Complex* cancel_weights,
                             const float* block_step, const float* cancel_step,
                             const Complex* blocked, const Complex* reference, const Complex* out,
                             int count) {
  for (int k = 0; k < count; k += V::kLanes) {
    const auto e = load_pairs<V>(blocked + k);
    adapt_weight(block_weights + k, V::load(block_step + k), e, load_pairs<V>(reference + k));
    adapt_weight(cancel_weights + k, V::load(cancel_step + k), load_pairs<V>(out + k), e);
  }
}

template <class V>
void cancel_stretch(Instance& instance, Stretch bins) {
  const int mics = usable_mics(instance);
  const int from = bins.from;
  const int count = bins.to - from;
  const bool first = instance.blockCounter == 1;
  const StepRule blockRule = {instance.beamPowerSmoothing, instance.blockStepSize,
                              instance.blockRegularizer};
  const StepRule cancelRule = {instance.blockPowerSmoothing, instance.cancelStepSize,
                               instance.cancelRegularizer};

  gate_reference<V>(instance, bins);
  for (int m = 0; m < mics; ++m) {
    block_and_cancel<V>(&instance.blockOutput[m][from], &instance.cancelSum[from],
                        &instance.blockPowerSum[from], &instance.savedSpectrum[m][from],
                        &instance.blockWeights[m][from], &instance.refBeam[from],
                        &instance.cancelWeights[m][from], count);
  }
  subtract_cancelled<V>(instance, bins);
  normalise_steps<V>(instance.blockStep, instance.beamPowerSmooth, instance.beamPower, blockRule,
                     first, bins);
  normalise_steps<V>(instance.cancelStep, instance.blockPowerSmooth, instance.blockPowerSum,
                     cancelRule, first, bins);
  for (int m = 0; m < mics; ++m) {
    adapt<V>(&instance.blockWeights[m][from], &instance.cancelWeights[m][from],
             &instance.blockStep[from], &instance.cancelStep[from], &instance.blockOutput[m][from],
             &instance.refBeam[from], &instance.outBeam[from], count);
  }
}

}  // namespace

void cancel_sidelobes(Instance& instance) {
  std::memset(instance.cancelSum, 0, sizeof instance.cancelSum);
  std::memset(instance.blockPowerSum, 0, sizeof instance.blockPowerSum);
  constexpr int kLast = kBinCount - 1;
  static_assert(kLast % kStretchBins == 0 && kStretchBins % f32x4::kLanes == 0);
  for (int from = 0; from < kLast; from += kStretchBins) {
    cancel_stretch<f32x4>(instance, {from, from + kStretchBins});
  }
  cancel_stretch<f32x1>(instance, {kLast, kBinCount});
}

}  // namespace vekbf
