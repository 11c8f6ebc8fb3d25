// SPDX-License-Identifier: MIT
//
// All bins are independent of each other, so the stages run one after the other over stretches of
// the spectrum that are short enough for the first-level cache to hold all rows of a stretch.
// Within a stage all microphones of one group of bins follow each other, so that what they share
// stays in registers. Three stages and not one, because one would need more registers than there
// are.
#include "bf/sidelobe_canceller.h"

#include "simd/lanes.h"
#include "simd/magnitude.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

namespace {

using simd::f32x1;
using simd::Pairs;
using simd::Widest;

inline constexpr int kStretchBins = 128;

// Bins from `from` up to and without `to`, a whole number of lane groups.
struct Stretch {
  int from;
  int to;
};

// bit-exact contract: the step sizes of bins 0 to 255 come from the division of the vector unit, an
// estimate refined twice, on every machine; those of bin 256 from a true division. The adaptation
// carries a last-bit difference on without bound.
enum class Division { kTwoStep, kTrue };

// The power of all microphones in one group of bins, by the magnitude's rule for infinite parts.
template <class V>
[[gnu::noinline]] V power_by_rule(const MicSpectra& blocked, int k, int rows) {
  V power = V::splat(0.0f);
  for (int m = 0; m < rows; ++m) {
    const auto e = simd::load_bins<V>(&blocked[m][k]);
    const V size = simd::magnitude(e.re, e.im);
    power = plus_product(power, size, size);
  }
  return power;
}

// What block_and_cancel has loaded of one microphone in one group of bins. Where it takes moves to
// separate the parts of complex values, they are kept for adapt.
template <class V>
struct Kept {
  Pairs<V> blocked;
  Pairs<V> block_weight;
  Pairs<V> cancel_weight;
};

// How many of them a stretch has: none where loads separate.
template <class V, int kBins>
inline constexpr int kKeptCount = simd::kLoadsSeparate<V> ? 1 : kBins / V::kLanes* kMaxMics;

// The reference is the fixed beam, attenuated where the presence gain is below the threshold;
// exactly at it, it is kept. It is taken out of each microphone, x - w r, and the output is the
// beam less the weighted sum of what is left. bit-exact contract: the sums run in the order of the
// microphones, and the products of the real part are added to it one after the other.
//
// The square roots of one microphone are computed together with the products of the next one,
// because a processor that executes in order would wait for them. Infinite parts can make the power
// not-a-number where the magnitude's rule gives infinity: one test of the sum covers all
// microphones, and the power is then computed by that rule.
template <class V>
[[gnu::noinline]] void block_and_cancel(const CancellerInput& input, float threshold,
                                        const CancellerState& state, const CancellerOutput& output,
                                        Kept<V>* kept, Stretch bins) {
  using W = decltype(widen(V{}));
  const int rows = input.rows;
  const V zero = V::splat(0.0f);
  for (int k = bins.from; k < bins.to; k += V::kLanes) {
    Pairs<V> beam = simd::load_bins<V>(&input.beam[k]);
    const V gain = simd::load_beside<V>(&input.presence_gain[k]);
    const auto present = greater_equal(gain, V::splat(threshold));
    Pairs<V> r = {select(present, beam.re, gain * beam.re),
                  select(present, beam.im, gain * beam.im)};
    simd::store_bins(&output.reference[k], r);

    const Complex* spectrum = &input.spectra[0][k];
    const Complex* block_weight = &state.block_weights[0][k];
    const Complex* cancel_weight = &state.cancel_weights[0][k];
    Complex* blocked = &output.blocked[0][k];
    Pairs<V> sum = {zero, zero};
    V power = zero;
    W root = W::splat(0.0);
    for (int m = 0; m < rows; ++m) {
      Pairs<V> x = simd::load_bins<V>(spectrum);
      Pairs<V> w = simd::load_bins<V>(block_weight);
      const V re = minus_product(plus_product(x.re, w.im, r.im), w.re, r.re);
      const V im = x.im - plus_product(w.im * r.re, w.re, r.im);
      simd::store_bins(blocked, Pairs<V>{re, im});
      Pairs<V> c = simd::load_bins<V>(cancel_weight);
      sum = sum + c * Pairs<V>{re, im};
      if constexpr (!simd::kLoadsSeparate<V>) *kept++ = {{re, im}, w, c};
      W wide_re = widen(re);
      W wide_im = widen(im);
      const V size = narrow(root);
      power = plus_product(power, size, size);
      root = square_root(wide_re * wide_re + wide_im * wide_im);
      spectrum += kBinCount;
      block_weight += kBinCount;
      cancel_weight += kBinCount;
      blocked += kBinCount;
    }
    const V size = narrow(root);
    power = plus_product(power, size, size);
    if (any_nan(power)) [[unlikely]]
      power = power_by_rule<V>(output.blocked, k, rows);
    simd::store_bins(&output.cancelled[k], sum);
    simd::store_beside(&output.block_power[k], power);
    simd::store_bins(&output.beam[k], beam - sum);
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
[[gnu::always_inline]] inline void adapt_weight(Complex* weight, Pairs<V> old, V step,
                                                Pairs<V> error, Pairs<V> input) {
  Pairs<V> gradient = times_conj(error, input);
  simd::store_bins(weight, Pairs<V>{plus_product(old.re, step, gradient.re),
                                    plus_product(old.im, step, gradient.im)});
}

template <class V>
[[gnu::noinline]] void adapt(int rows, const CancellerState& state, const CancellerOutput& output,
                             const Kept<V>* kept, Stretch bins) {
  for (int k = bins.from; k < bins.to; k += V::kLanes) {
    Pairs<V> reference = simd::load_bins<V>(&output.reference[k]);
    Pairs<V> beam = simd::load_bins<V>(&output.beam[k]);
    const V block_step = simd::load_beside<V>(&output.block_step[k]);
    const V cancel_step = simd::load_beside<V>(&output.cancel_step[k]);
    const Complex* blocked = &output.blocked[0][k];
    Complex* block_weight = &state.block_weights[0][k];
    Complex* cancel_weight = &state.cancel_weights[0][k];
    for (int m = 0; m < rows; ++m) {
      Kept<V> x = {};
      if constexpr (simd::kLoadsSeparate<V>) {
        x = {simd::load_bins<V>(blocked), simd::load_bins<V>(block_weight),
             simd::load_bins<V>(cancel_weight)};
      } else {
        x = *kept++;
      }
      adapt_weight(block_weight, x.block_weight, block_step, x.blocked, reference);
      adapt_weight(cancel_weight, x.cancel_weight, cancel_step, beam, x.blocked);
      blocked += kBinCount;
      block_weight += kBinCount;
      cancel_weight += kBinCount;
    }
  }
}

template <class V, Division kDivision, int kBins>
void cancel_stretch(const CancellerInput& input, const CancellerRules& rules,
                    const CancellerState& state, const CancellerOutput& output, Stretch bins) {
  const int from = bins.from;
  const int count = bins.to - from;
  Kept<V> kept[kKeptCount<V, kBins>];
  block_and_cancel<V>(input, rules.threshold, state, output, kept, bins);
  normalise_steps<V, kDivision>(&output.block_step[from], &state.beam_power_smooth[from],
                                &input.beam_power[from], rules.block, rules.first, count);
  normalise_steps<V, kDivision>(&output.cancel_step[from], &state.block_power_smooth[from],
                                &output.block_power[from], rules.cancel, rules.first, count);
  adapt<V>(input.rows, state, output, kept, bins);
}

}  // namespace

void cancel_sidelobes(const CancellerInput& input, const CancellerRules& rules,
                      const CancellerState& state, const CancellerOutput& output) {
  constexpr int kLast = kBinCount - 1;
  static_assert(kLast % kStretchBins == 0 && kStretchBins % Widest::kLanes == 0);
  for (int from = 0; from < kLast; from += kStretchBins) {
    cancel_stretch<Widest, Division::kTwoStep, kStretchBins>(input, rules, state, output,
                                                             {from, from + kStretchBins});
  }
  cancel_stretch<f32x1, Division::kTrue, 1>(input, rules, state, output, {kLast, kBinCount});
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
