// SPDX-License-Identifier: MIT
#include "direction/reliability.h"

#include <algorithm>

#include "simd/lanes.h"

namespace vekbf::direction {

namespace {

constexpr float kNoiseShare = 4.5f;  // times the noise is taken off
constexpr float kLateShare = 4.0f;   // times the late reverberation is taken off
constexpr float kOnsetShare = 1.0f;  // times the sound just before is taken off
constexpr float kGrain = 192.0f;     // adding and taking it away leaves a multiple of 2^-16
constexpr float kGrainSteps = 65536.0f;
constexpr int kBands = 12;
constexpr int kBandAllowance = kMaxBinsUsed / kBands;
constexpr int kMostPerBand = (kMaxBandBins + kBands - 1) / kBands;

// bit-exact contract: the mean over the transforms so far, by this recursion.
void settle_noise(Reliability& r, const float* power) {
  const float share = static_cast<float>(1.0 / static_cast<double>(r.transforms));
  simd::for_each_lane(kBinCount, [&](auto lane, int k) {
    using V = decltype(lane);
    V mean = V::load(power + k);
    if (r.transforms > 1) {
      const V before = V::load(r.excess + k);
      mean = before + (mean - before) * V::splat(share);
    }
    mean.store(r.excess + k);
    mean.store(r.noise->noisePower + k);
  });
}

void update_late(Reliability& r, const Constants& constants) {
  const int32_t ring = constants.lateLag + 1;
  const float* old = r.powers[(r.newest + 1) % ring];  // the oldest, lateLag transforms ago
  const float share = 1.0f - constants.lateDecay;
  simd::for_each_lane(kBinCount, [&](auto lane, int k) {
    using V = decltype(lane);
    const V late =
        V::splat(constants.lateDecay) * V::load(r.late + k) + V::splat(share) * V::load(old + k);
    late.store(r.late + k);
  });
}

void find_excess(Reliability& r, const Constants& constants, const float* power) {
  const int32_t ring = constants.lateLag + 1;
  const float* before = r.powers[(r.newest + ring - constants.onsetLag) % ring];
  simd::for_each_lane(kBinCount, [&](auto lane, int k) {
    using V = decltype(lane);
    const V floor = V::splat(kNoiseShare) * V::load(r.noise->noisePower + k) +
                    V::splat(kLateShare) * V::load(r.late + k);
    const V steady = V::splat(kOnsetShare) * V::load(before + k);
    ((V::load(power + k) - floor) - steady).store(r.excess + k);
  });
}

// Of the candidates from `first` to `end`, which are those of one band, only the heaviest keep
// their weight, of equal ones those of lower bins.
void drop_lightest(ReliableBins& chosen, int32_t first, int32_t end, int32_t allowance) {
  uint32_t keys[kMostPerBand];  // no two are equal
  uint32_t order[kMostPerBand];
  const int32_t count = end - first;
  for (int32_t i = 0; i < count; ++i) {
    const auto steps = static_cast<uint32_t>(chosen.weights[first + i] * kGrainSteps);
    keys[i] = steps * kMostPerBand + static_cast<uint32_t>(count - 1 - i);
    order[i] = keys[i];
  }
  uint32_t* least = order + (count - allowance);
  std::nth_element(order, least, order + count);
  for (int32_t i = 0; i < count; ++i) {
    if (keys[i] < *least) chosen.weights[first + i] = 0.0f;
  }
}

// What a band does not use of its allowance the band below it may: most bins lie in the upper half,
// and tell directions apart better.
void drop_excess_bins(ReliableBins& chosen, const Constants& constants) {
  const int32_t width = (constants.lastBin - constants.firstBin + kBands) / kBands;
  int32_t end = chosen.count;
  int32_t allowance = 0;
  for (int band = kBands - 1; band >= 0; --band) {
    int32_t first = end;
    while (first > 0 && chosen.bins[first - 1] >= constants.firstBin + band * width) --first;
    allowance += kBandAllowance;
    if (end - first > allowance) drop_lightest(chosen, first, end, allowance);
    allowance -= std::min(end - first, allowance);
    end = first;
  }
  int32_t kept = 0;
  for (int32_t i = 0; i < chosen.count; ++i) {
    if (!(chosen.weights[i] > 0.0f)) continue;
    chosen.bins[kept] = chosen.bins[i];
    chosen.weights[kept] = chosen.weights[i];
    ++kept;
  }
  chosen.count = kept;
}

}  // namespace

void start_reliability(Reliability& r, const Constants& constants, uint32_t sampleRate) {
  r.noise = mcra2_lay_out(r.noiseMemory, {static_cast<int32_t>(sampleRate), kBinCount});
  r.noise->alphaD = constants.noiseFloorFactor;
  r.noise->alphaP = constants.presenceSmoothing;
  r.noise->beta = constants.minimumLookAhead;
  r.noise->gamma = constants.minimumForgetting;
  r.noise->eta = constants.smoothing;
}

float* next_power(Reliability& r, const Constants& constants) {
  return r.powers[(r.newest + 1) % (constants.lateLag + 1)];
}

bool update_reliability(Reliability& r, const Constants& constants) {
  const int32_t ring = constants.lateLag + 1;
  r.newest = (r.newest + 1) % ring;
  const float* power = r.powers[r.newest];
  ++r.transforms;
  mcra2_run(r.noise, power);
  const auto settling = static_cast<uint64_t>(constants.settlingTransforms);
  if (r.transforms <= settling) settle_noise(r, power);
  if (r.transforms > static_cast<uint64_t>(constants.lateLag)) update_late(r, constants);
  if (r.transforms <= settling) return false;
  find_excess(r, constants, power);
  return true;
}

void choose_bins(ReliableBins& chosen, const Reliability& r, const Constants& constants) {
  const float* power = r.powers[r.newest];
  chosen.count = 0;
  for (int32_t k = constants.firstBin; k <= constants.lastBin; ++k) {
    const float excess = r.excess[k];
    if (!(excess > 0.0f)) continue;
    // bit-exact contract: multiples of 2^-16, so that no product of a weight is subnormal.
    const float weight = (excess / power[k] + kGrain) - kGrain;
    if (!(weight > 0.0f)) continue;
    chosen.bins[chosen.count] = k;
    chosen.weights[chosen.count] = weight;
    ++chosen.count;
  }
  if (chosen.count > kMaxBinsUsed) drop_excess_bins(chosen, constants);
}

}  // namespace vekbf::direction
