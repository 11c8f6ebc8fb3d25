// SPDX-License-Identifier: MIT
#include "noise/decision.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

using vekbf::update_decision;

VadState in_noise() {
  VadState state = {};
  state.onsetFrames = 3;
  state.hangoverFrames = 5;
  state.noiseState = 1;
  return state;
}

VadState in_speech() {
  VadState state = in_noise();
  state.noiseState = 0;
  return state;
}

// Walks through frames, '+' above the threshold and '-' not; returns the decisions as digits.
std::string walk(VadState& state, const std::string& frames) {
  std::string decisions;
  for (const char frame : frames) {
    update_decision(state, frame == '+');
    decisions += static_cast<char>('0' + state.decision);
  }
  return decisions;
}

TEST(Decision, ThirdFrameInARowAboveTheThresholdEntersSpeech) {
  VadState state = in_noise();
  EXPECT_EQ(walk(state, "+++"), "001");
  EXPECT_EQ(state.noiseState, 0);
  EXPECT_EQ(state.hangoverCount, 0);
  EXPECT_EQ(state.onsetCount, 3);
}

TEST(Decision, TwoAboveAndOneBelowStayInNoiseWithTheCountReset) {
  VadState state = in_noise();
  EXPECT_EQ(walk(state, "++-"), "000");
  EXPECT_EQ(state.noiseState, 1);
  EXPECT_EQ(state.onsetCount, 0);
  EXPECT_EQ(walk(state, "++-++-+++"), "000000001");
}

TEST(Decision, FifthFrameInARowNotAboveTheThresholdLeavesSpeech) {
  VadState state = in_speech();
  EXPECT_EQ(walk(state, "----"), "1111");
  EXPECT_EQ(state.noiseState, 0);
  EXPECT_EQ(state.hangoverCount, 4);
  state.onsetCount = 3;
  EXPECT_EQ(walk(state, "-"), "0");
  EXPECT_EQ(state.noiseState, 1);
  EXPECT_EQ(state.onsetCount, 0);
  EXPECT_EQ(state.hangoverCount, 5);
}

TEST(Decision, OneFrameAboveTheThresholdRestartsTheHangover) {
  VadState state = in_speech();
  EXPECT_EQ(walk(state, "----+----+-----"),
            "11111111111111"
            "0");
  EXPECT_EQ(state.noiseState, 1);
}

TEST(Decision, WholeWalkThroughBothStates) {
  VadState state = in_noise();
  EXPECT_EQ(walk(state,
                 "-+-+++"
                 "-+----"
                 "-"
                 "++-+++"
                 "-----"),
            "000001"
            "111111"
            "0"
            "000001"
            "11110");
}

TEST(Decision, AnyOtherStateDecidesNothingAndStays) {
  for (const int32_t odd : {2, -1, std::numeric_limits<int32_t>::max()}) {
    VadState state = in_noise();
    state.noiseState = odd;
    state.onsetCount = 2;
    state.hangoverCount = 4;
    state.decision = 1;
    EXPECT_EQ(walk(state, "++++------"), "0000000000");
    EXPECT_EQ(state.noiseState, odd);
    EXPECT_EQ(state.onsetCount, 2);
    EXPECT_EQ(state.hangoverCount, 4);
  }
}

TEST(Decision, CountersWrap) {
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  VadState state = in_noise();
  state.onsetCount = kMax;
  EXPECT_EQ(walk(state, "+"), "0");  // the smallest number is below 3
  EXPECT_EQ(state.onsetCount, std::numeric_limits<int32_t>::min());

  state = in_speech();
  state.hangoverCount = kMax;
  EXPECT_EQ(walk(state, "-"), "1");
  EXPECT_EQ(state.hangoverCount, std::numeric_limits<int32_t>::min());
}

}  // namespace
