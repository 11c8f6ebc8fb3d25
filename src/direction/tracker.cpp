// SPDX-License-Identifier: MIT
#include "direction/tracker.h"

#include <algorithm>
#include <cstdlib>

#include "simd/lanes.h"

namespace vekbf::direction {

namespace {

constexpr float kForgetting = 0.97f;  // of the evidence, per update
constexpr float kMovePrice = 0.5f;    // per degree
constexpr float kCeiling = 12.0f;     // the most that evidence can be, and can differ by
constexpr float kGrain = 48.0f;       // adding and taking it away leaves a multiple of 2^-19
constexpr float kBarrier = -1e30f;    // stands for a direction that does not exist
constexpr int32_t kNearby = 15;       // degrees that are followed at once
constexpr float kLead = 2.0f;         // of another direction over the present one
constexpr float kFirmTrust = 50.0f;   // from which another direction must lead for the whole hold
constexpr float kMostTrust = 100.0f;
constexpr int32_t kElsewhere = 20;  // degrees from which a direction is another one

template <class V>
V larger(V a, V b) {
  return select(greater(a, b), a, b);
}

float largest(const float* values, int32_t count) {
  using V = simd::f32x4;
  if (count < V::kLanes) return count > 0 ? *std::max_element(values, values + count) : kBarrier;
  V most = V::load(values);
  int32_t i = V::kLanes;
  for (; i + V::kLanes <= count; i += V::kLanes) most = larger(most, V::load(values + i));
  // The last lanes again, some of them for the second time.
  most = larger(most, V::load(values + (count - V::kLanes)));
  float lanes[V::kLanes];
  most.store(lanes);
  return *std::max_element(lanes, lanes + V::kLanes);
}

int32_t distance(const Tracker& tracker, int32_t a, int32_t b) {
  const int32_t d = std::abs(a - b);
  return tracker.line ? d : std::min(d, kCircleDegrees - d);
}

// Makes the degrees beyond the ends: those of a circle go on at its other end.
void close_ends(Tracker& tracker) {
  float* v = tracker.evidence + kReach;
  for (int32_t e = 1; e <= kReach; ++e) {
    v[-e] = tracker.line ? kBarrier : v[tracker.degrees - e];
    v[tracker.degrees - 1 + e] = tracker.line ? kBarrier : v[e - 1];
  }
}

// Moves the evidence, lets it fade and adds the map, sharpened: of its positive values each one
// times its share of the largest.
void take_in(Tracker& tracker, const float* map) {
  const float peak = largest(map, tracker.degrees);
  const float scale = peak > 0.0f ? 1.0f / peak : 0.0f;
  float* v = tracker.evidence + kReach;
  float* sums = tracker.moved;
  simd::for_each_lane(tracker.degrees, [&](auto lane, int i) {
    using V = decltype(lane);
    V from = V::load(v + i);
    for (int e = 1; e <= kReach; ++e) {
      const V moved = larger(V::load(v + i - e), V::load(v + i + e));
      from = larger(from, moved - V::splat(kMovePrice * static_cast<float>(e)));
    }
    const V zero = V::splat(0.0f);
    const V seen = V::load(map + i);
    const V sharpened = select(greater(seen, zero), seen * (seen * V::splat(scale)), zero);
    (V::splat(kForgetting) * from + sharpened).store(sums + i);
  });
  const float top = largest(sums, tracker.degrees);
  const float floor = top - kCeiling;
  const float excess = top > kCeiling ? top - kCeiling : 0.0f;
  // bit-exact contract: multiples of 2^-19, so that evidence that fades becomes zero and never
  // subnormal.
  simd::for_each_lane(tracker.degrees, [&](auto lane, int i) {
    using V = decltype(lane);
    const V kept = larger(V::load(sums + i), V::splat(floor)) - V::splat(excess);
    ((kept + V::splat(kGrain)) - V::splat(kGrain)).store(v + i);
  });
  close_ends(tracker);
}

void settle(Tracker& tracker, int32_t direction, float trust) {
  tracker.best = direction;
  tracker.waited = 0;
  tracker.trust = trust;
}

// Whether the direction that leads has led long enough: the whole hold where the present one rests
// on much evidence, less where it does not.
bool has_led_long(const Tracker& tracker, int32_t hold) {
  if (tracker.trust >= kFirmTrust) return tracker.waited > hold;
  return static_cast<float>(tracker.waited) * kFirmTrust > static_cast<float>(hold) * tracker.trust;
}

bool choose(Tracker& tracker, int32_t winner, float activity, int32_t hold) {
  if (tracker.best < 0) {
    settle(tracker, winner, activity);
    return true;
  }
  if (distance(tracker, winner, tracker.best) <= kNearby) {
    settle(tracker, winner, std::min(tracker.trust + activity, kMostTrust));
    return true;
  }
  const float* v = tracker.evidence + kReach;
  // Beyond the ends of a line stand barriers, beyond those of a circle its other end.
  const float* around = v + tracker.best - kReach;
  const float present = *std::max_element(around, around + 2 * kReach + 1);
  if (!(v[winner] - present >= kLead)) {
    tracker.waited = 0;
    return false;
  }
  ++tracker.waited;  // at most one more than the hold, which is bounded
  if (!has_led_long(tracker, hold)) return false;
  settle(tracker, winner, activity);
  return true;
}

// The lead over the best direction elsewhere.
float confidence_of(const Tracker& tracker) {
  const float* v = tracker.evidence + kReach;
  const int32_t below = tracker.best - kElsewhere;  // the last degree of that side
  const int32_t above = tracker.best + kElsewhere;
  float elsewhere;
  if (tracker.line) {
    elsewhere = std::max(largest(v, std::max(below + 1, 0)),
                         largest(v + above, std::max(tracker.degrees - above, 0)));
  } else if (below < 0) {
    elsewhere = largest(v + above, below + kCircleDegrees - above + 1);
  } else if (above >= kCircleDegrees) {
    elsewhere = largest(v + (above - kCircleDegrees), below - (above - kCircleDegrees) + 1);
  } else {
    elsewhere = std::max(largest(v, below + 1), largest(v + above, kCircleDegrees - above));
  }
  const float lead = v[tracker.best] - elsewhere;
  return std::clamp(lead, 0.0f, kCeiling) / kCeiling;
}

int32_t modulo(int32_t degree) {
  const int32_t turn = degree % kCircleDegrees;
  return turn < 0 ? turn + kCircleDegrees : turn;
}

}  // namespace

Sector sector_of(int32_t from, int32_t to, bool line) {
  const int32_t last = kCircleDegrees - 1;
  from = modulo(from);
  to = modulo(to);
  if (from == to) return kEverywhere;
  const bool wraps = from > to;
  if (!line) {
    if (!wraps) return {0, {{from, to}, {0, -1}}};
    return {0, {{0, to}, {from, last}}};
  }
  // What of the sector lies on either side, folded onto 0 to 180: where there is something on both
  // the sector passes an end of the line, and the two make one run.
  const int32_t half = kLineDegrees - 1;
  DegreeRange run = {kLineDegrees, -1};
  const auto add = [&](int32_t first, int32_t end) {
    for (const DegreeRange part :
         {DegreeRange{first, std::min(end, half)},
          DegreeRange{kCircleDegrees - end, kCircleDegrees - std::max(first, half + 1)}}) {
      if (part.first > part.last) continue;
      run = {std::min(run.first, part.first), std::max(run.last, part.last)};
    }
  };
  if (wraps) {
    add(0, to);
    add(from, last);
  } else {
    add(from, to);
  }
  return {0, {run, {0, -1}}};
}

bool is_inside(const Sector& sector, int32_t degree) {
  if (sector.everywhere != 0) return true;
  return std::any_of(sector.runs, sector.runs + 2,
                     [=](DegreeRange run) { return run.first <= degree && degree <= run.last; });
}

void start_tracker(Tracker& tracker, bool line) {
  tracker = {};
  tracker.line = line;
  tracker.degrees = line ? kLineDegrees : kCircleDegrees;
  close_ends(tracker);
  forget_direction(tracker);
}

void forget_direction(Tracker& tracker) {
  settle(tracker, -1, 0.0f);
  tracker.confidence = 0.0f;
}

int32_t largest_inside(const float* values, const Sector& sector, int32_t degrees) {
  int32_t best = -1;
  float most = kBarrier;
  for (const DegreeRange run : sector.runs) {
    const int32_t end = std::min(run.last + 1, degrees);
    if (run.first >= end) continue;
    const float top = largest(values + run.first, end - run.first);
    if (!(top > most)) continue;
    most = top;
    best = static_cast<int32_t>(std::find(values + run.first, values + end, top) - values);
  }
  return best;
}

bool follow(Tracker& tracker, const float* map, float activity, const Sector& sector,
            int32_t holdUpdates) {
  take_in(tracker, map);
  const int32_t winner = largest_inside(tracker.evidence + kReach, sector, tracker.degrees);
  const bool agrees = choose(tracker, winner, activity, holdUpdates);
  tracker.confidence = confidence_of(tracker);
  return agrees;
}

}  // namespace vekbf::direction
