// SPDX-License-Identifier: MIT
//
// The tracker: a max-sum filter over the grid of whole degrees (dynamic programming after A. J.
// Viterbi, 1967). The evidence of a direction fades, may move by a few degrees an update at a
// price, and takes in the map. The direction with the most evidence is followed at once nearby;
// farther away it must lead for some updates.
#pragma once

#include <cstdint>

#include "direction/sizes.h"

namespace vekbf::direction {

inline constexpr int kReach = 3;  // degrees that evidence may move in an update

// First and last degree of a run; empty where the last comes before the first.
struct DegreeRange {
  int32_t first;
  int32_t last;
};

// The degrees in which a talker is looked for, in two runs of ascending degrees.
struct Sector {
  int32_t everywhere;
  DegreeRange runs[2];
};

inline constexpr Sector kEverywhere = {1, {{0, kCircleDegrees - 1}, {0, -1}}};

// Counter-clockwise from one degree to another, modulo 360; both the same: everywhere. A degree of
// a line stands for its negative too.
Sector sector_of(int32_t from, int32_t to, bool line);
bool is_inside(const Sector& sector, int32_t degree);

struct Tracker {
  bool line;
  int32_t degrees;  // 181 of a line, 360 of a circle
  int32_t best;     // -1: none yet
  int32_t waited;   // updates for which another direction has been in the lead
  float trust;      // evidence that the present direction rests on
  float confidence;
  // The evidence, with copies of (or barriers before) the degrees beyond either end.
  float evidence[kReach + kCircleDegrees + kReach];
  float moved[kCircleDegrees];  // of this update, before it is bounded
};

void start_tracker(Tracker& tracker, bool line);
void forget_direction(Tracker& tracker);

// The degree of the largest value inside the sector, the lowest of equals.
int32_t largest_inside(const float* values, const Sector& sector, int32_t degrees);

// Takes in a map that rests on `activity`. Returns whether the evidence agrees with the direction,
// old or new.
bool follow(Tracker& tracker, const float* map, float activity, const Sector& sector,
            int32_t holdUpdates);

}  // namespace vekbf::direction
