// SPDX-License-Identifier: MIT
//
// All bins are independent of each other, so the stages run one after the other over stretches of
// the spectrum that are short enough for the first-level cache to hold all rows of a stretch. The
// stages that run more than once are functions of their own over pointers, which compilers
// increment; for elements of larger records they would compute each address anew.
#include "bf/sidelobe_canceller.h"

#include <cstring>

#include "simd/lanes.h"
#include "simd/magnitude.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

namespace {

using simd::f32x1;
using simd::Pairs;
using simd::Widest;

inline constexpr int kStretchBins = 64;

// Bins from `from` up to and without `to`, a whole number of lane groups.
struct Stretch {
  int from;
  int to;
};

// bit-exact contract: the step sizes of bins 0 to 255 come from the division of the vector unit, an
// estimate refined twice, on every machine; those of bin 256 from a true division. The adaptation
// carries a last-bit difference on without bound.
enum class Division { kTwoStep, kTrue };

// The fixed beam, attenuated where the presence gain is below the threshold. Exactly at it, it is
// kept.
template <class V>
void gate_reference(Complex* reference, const Complex* beam, const float* presence_gain,
                    float threshold, int count) {
  for (int k = 0; k < count; k += V::kLanes) {
    const auto b = V::load_pairs(beam + k);
    const V gain = V::load(presence_gain + k);
    const auto present = greater_equal(gain, V::splat(threshold));
    store_pairs(reference + k,
                Pairs<V>{select(present, b.re, gain * b.re), select(present, b.im, gain * b.im)});
  }
}

// Takes the reference out of one microphone, x - w r, and adds what is left to the canceller's
// sums. bit-exact contract: the sums run in the order of the microphones, and the products of the
// real part are added to it one after the other.
template <class V>
[[gnu::noinline]] void block_and_cancel(Complex* output, Complex* sum, float* power_sum,
                                        const Complex* input, const Complex* weights,
                                        const Complex* reference, const Complex* cancel_weights,
                                        int count) {
  for (int k = 0; k < count; k += V::kLanes) {
    const auto x = V::load_pairs(input + k);
    const auto w = V::load_pairs(weights + k);
    const auto r = V::load_pairs(reference + k);
    const V re = minus_product(plus_product(x.re, w.im, r.im), w.re, r.re);
    const V im = x.im - plus_product(w.im * r.re, w.re, r.im);
    store_pairs(output + k, Pairs<V>{re, im});
    store_pairs(sum + k,
                V::load_pairs(sum + k) + V::load_pairs(cancel_weights + k) * Pairs<V>{re, im});
    const V size = simd::magnitude(re, im);
    const V power = plus_product(V::load(power_sum + k), size, size);
    power.store(power_sum + k);
  }
}

template <class V>
void subtract_cancelled(Complex* out, const Complex* beam, const Complex* cancelled, int count) {
  for (int k = 0; k < count; k += V::kLanes) {
    store_pairs(out + k, V::load_pairs(beam + k) - V::load_pairs(cancelled + k));
  }
}

template <Division kDivision, class V>
[[gnu::always_inline]] inline V divide_step(V step, V power) {
  if constexpr (kDivision == Division::kTwoStep) {
    return step * reciprocal_two_step(power);
  } else {
    return step / power;
  }
}

// The power smoothed over time, and the step sizes normalised by it.
template <class V, Division kDivision>
[[gnu::noinline]] void normalise_steps(float* step, float* smooth, const float* power,
                                       StepRule rule, bool first, int count) {
  for (int k = 0; k < count; k += V::kLanes) {
    V now = V::load(power + k);
    if (!first) {
      now =
          plus_product(V::splat(rule.keep) * V::load(smooth + k), V::splat(1.0f - rule.keep), now);
    }
    now.store(smooth + k);
    divide_step<kDivision>(V::splat(rule.size), now + V::splat(rule.regularizer)).store(step + k);
  }
}

// weight += step (error conj(input)), normalised least mean squares.
template <class V>
[[gnu::always_inline]] inline void adapt_weight(Complex* weight, V step, Pairs<V> error,
                                                Pairs<V> input) {
  const Pairs<V> old = V::load_pairs(weight);
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
    const auto e = V::load_pairs(blocked + k);
    adapt_weight(block_weights + k, V::load(block_step + k), e, V::load_pairs(reference + k));
    adapt_weight(cancel_weights + k, V::load(cancel_step + k), V::load_pairs(out + k), e);
  }
}

template <class V, Division kDivision>
void cancel_stretch(const CancellerInput& input, const CancellerRules& rules,
                    const CancellerState& state, const CancellerOutput& output, Stretch bins) {
  const int rows = input.rows;
  const int from = bins.from;
  const int count = bins.to - from;

  gate_reference<V>(&output.reference[from], &input.beam[from], &input.presence_gain[from],
                    rules.threshold, count);
  for (int m = 0; m < rows; ++m) {
    block_and_cancel<V>(&output.blocked[m][from], &output.cancelled[from],
                        &output.block_power[from], &input.spectra[m][from],
                        &state.block_weights[m][from], &output.reference[from],
                        &state.cancel_weights[m][from], count);
  }
  subtract_cancelled<V>(&output.beam[from], &input.beam[from], &output.cancelled[from], count);
  normalise_steps<V, kDivision>(&output.block_step[from], &state.beam_power_smooth[from],
                                &input.beam_power[from], rules.block, rules.first, count);
  normalise_steps<V, kDivision>(&output.cancel_step[from], &state.block_power_smooth[from],
                                &output.block_power[from], rules.cancel, rules.first, count);
  for (int m = 0; m < rows; ++m) {
    adapt<V>(&state.block_weights[m][from], &state.cancel_weights[m][from],
             &output.block_step[from], &output.cancel_step[from], &output.blocked[m][from],
             &output.reference[from], &output.beam[from], count);
  }
}

}  // namespace

void cancel_sidelobes(const CancellerInput& input, const CancellerRules& rules,
                      const CancellerState& state, const CancellerOutput& output) {
  std::memset(output.cancelled, 0, sizeof output.cancelled);
  std::memset(output.block_power, 0, sizeof output.block_power);
  constexpr int kLast = kBinCount - 1;
  static_assert(kLast % kStretchBins == 0 && kStretchBins % Widest::kLanes == 0);
  for (int from = 0; from < kLast; from += kStretchBins) {
    cancel_stretch<Widest, Division::kTwoStep>(input, rules, state, output,
                                               {from, from + kStretchBins});
  }
  cancel_stretch<f32x1, Division::kTrue>(input, rules, state, output, {kLast, kBinCount});
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
