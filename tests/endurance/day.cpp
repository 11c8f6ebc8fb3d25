// SPDX-License-Identifier: MIT
#include "endurance/day.h"

namespace vekbf::test {

namespace {

// Of a hundred episodes, and how long one lasts at most, in blocks of 8 ms.
struct Episode {
  SignalKind signal;
  int share;
  int longest;
};
constexpr Episode kEpisodes[] = {
    {SignalKind::kTalker, 36, 4000},      {SignalKind::kTwoTalkers, 20, 4000},
    {SignalKind::kTalkerInVoid, 8, 2000}, {SignalKind::kNoise, 8, 4000},
    {SignalKind::kOneBit, 8, 20000},      {SignalKind::kSparse, 2, 1000},
    {SignalKind::kTone, 4, 1000},         {SignalKind::kChirp, 2, 500},
    {SignalKind::kClicks, 2, 2000},       {SignalKind::kConstant, 2, 1000},
    {SignalKind::kOnset, 2, 2000},        {SignalKind::kFullScale, 4, 4000},
    {SignalKind::kEnds, 1, 2000},         {SignalKind::kIdentical, 1, 2000},
};

}  // namespace

void Day::begin_episode() {
  int pick = random_.below(100);
  const Episode* episode = kEpisodes;
  while (pick >= episode->share) pick -= episode++->share;
  signal_ = Signal(episode->signal, random_.next(), channels_);
  left_ = 1 + random_.below(episode->longest);
  turn_ = 1 + random_.below(40);
  if (random_.below(2) == 0) turn_ = -turn_;
}

void Day::block(int16_t* out) {
  if (left_ == 0) begin_episode();
  --left_;
  signal_.block(out);
  // Turns for hours without leaving int32: half a day at 40 degrees a block is 2e8.
  angle_ += turn_;
}

}  // namespace vekbf::test
