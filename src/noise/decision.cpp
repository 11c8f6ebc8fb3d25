// SPDX-License-Identifier: MIT
#include "noise/decision.h"

#include "base/saturate.h"

namespace vekbf {
namespace {

constexpr int32_t kInSpeech = 0;
constexpr int32_t kInNoise = 1;

bool decide_in_speech(VadState& state, bool above) {
  if (above) {
    state.hangoverCount = 0;
    return true;
  }
  state.hangoverCount = wrapping_add(state.hangoverCount, 1);
  if (state.hangoverCount < state.hangoverFrames) return true;
  state.onsetCount = 0;
  state.noiseState = kInNoise;
  return false;
}

bool decide_in_noise(VadState& state, bool above) {
  if (!above) {
    state.onsetCount = 0;
    return false;
  }
  state.onsetCount = wrapping_add(state.onsetCount, 1);
  if (state.onsetCount < state.onsetFrames) return false;
  state.noiseState = kInSpeech;
  state.hangoverCount = 0;
  return true;
}

}  // namespace

void update_decision(VadState& state, bool above) {
  bool speech = false;
  if (state.noiseState == kInSpeech) {
    speech = decide_in_speech(state, above);
  } else if (state.noiseState == kInNoise) {
    speech = decide_in_noise(state, above);
  }
  state.decision = speech ? 1 : 0;
}

}  // namespace vekbf
