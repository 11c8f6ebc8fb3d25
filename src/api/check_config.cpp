// SPDX-License-Identifier: MIT
#include "api/check_config.h"

namespace vekbf {

namespace {

constexpr uint32_t kMinSampleRate = 8000;
constexpr uint32_t kMaxSampleRate = 48000;
constexpr int32_t kBitWidth = 16;
constexpr int32_t kMinSoundSpeed = 1;
constexpr uint32_t kMaxIntensity = 10;

}  // namespace

ConfigFault first_fault(const Instance& instance, const VekBfConfig& config) {
  if (instance.sampleRate < kMinSampleRate || instance.sampleRate > kMaxSampleRate) {
    return {VEK_BF_ERR_SAMPLE_RATE, "Invalid Sample Rate"};
  }
  if (instance.bitWidth != kBitWidth) return {VEK_BF_ERR_BIT_WIDTH, "Invalid bit width"};
  if (instance.soundSpeed < kMinSoundSpeed) {
    return {VEK_BF_ERR_SOUND_SPEED, "Invalid Sound Speed"};
  }
  // No lower bound: an array without microphones is accepted and gives silence.
  if (instance.micNum > kMaxMics) return {VEK_BF_ERR_MIC_NUM, "Invalid Microphone numbers"};
  // Interface contract: the message is that of micNum. Hosts match this text and tell the two
  // faults apart by their codes.
  if (static_cast<uint32_t>(instance.geometry) > VEK_BF_UNIFORM_CIRCULAR_ARRAY) {
    return {VEK_BF_ERR_GEOMETRY, "Invalid Microphone numbers"};
  }
  // Interface contract: NaN passes. Every comparison with it is false, so the detector never
  // reports speech.
  if (config.vadThreshold > 1.0f || config.vadThreshold < 0.0f) {
    return {VEK_BF_ERR_VAD_THRESHOLD, "Invalid Vad Threshold"};
  }
  if (config.intensity > kMaxIntensity) return {VEK_BF_ERR_INTENSITY, "Invalid Intensity"};
  return {VEK_BF_OK, nullptr};
}

}  // namespace vekbf
