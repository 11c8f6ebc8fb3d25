// SPDX-License-Identifier: MIT
#include "api/apply_config.h"

#include <cmath>
#include <cstring>

#include "fft/fft.h"
#include "noise/vad.h"

namespace vekbf {

namespace {

constexpr int32_t kPeriodicWindow = 0;
constexpr int32_t kHammingWindow = 1;
constexpr int32_t kBroadside = 90;  // degrees

template <class Region>
void clear(Region& region) {
  std::memset(&region, 0, sizeof region);
}

// If memory runs out, an init operation returns null or a state that every operation refuses. The
// result is stored in either case; every later block then prints the refusal's log line.
void create_states(Instance* instance, float threshold) {
  const FftInitParams transform{kPeriodicWindow, kFrameSize, 0, kHammingWindow};
  instance->fftState = fft_init(&transform);
  const VadInitParams detector{static_cast<int32_t>(instance->sampleRate), kFrameSize, kBinCount,
                               threshold};
  instance->vadState = vad_init(&detector);
}

void fill_placement(Instance* instance) {
  // bit-exact contract: a quarter turn per microphone for every geometry but the line, the triangle
  // included. The angle belongs to the index of a microphone, not to the shape of the array.
  constexpr float kQuarterTurns[kMaxMics] = {0.0f, 1.5707964f, 3.1415927f, 4.712389f};
  const bool line = instance->geometry == VEK_BF_UNIFORM_LINEAR_ARRAY;
  for (int m = 0; m < row_count(*instance); ++m) {
    instance->micPlacement[m] =
        line ? instance->micCoordinate[m][0] - instance->micCoordinate[0][0] : kQuarterTurns[m];
  }
}

void clear_framing(Instance* instance) {
  clear(instance->micHistory);
  clear(instance->fftScratch);
  clear(instance->micSpectrum);
  clear(instance->savedSpectrum);
  clear(instance->beamPower);
  clear(instance->outputOverlap);
  clear(instance->reserved);
  clear(instance->micPlacement);
  clear(instance->micDelay);
  clear(instance->micProjection);
  clear(instance->steerTable);
}

void reset_adaptation(Instance* instance) {
  instance->blockPowerSmoothing = 0.95f;
  instance->beamPowerSmoothing = 0.95f;
  instance->blockStepSize = 0.05f;
  instance->cancelStepSize = 0.03f;
  instance->cancelRegularizer = 0.001f;
  instance->blockRegularizer = 0.001f;

  for (float& gain : instance->presenceGain) gain = 1.0f;
  clear(instance->cancelWeights);
  clear(instance->blockOutput);
  clear(instance->beamPowerSmooth);
  clear(instance->blockPowerSmooth);
  clear(instance->blockStep);
  clear(instance->cancelStep);
  clear(instance->blockPowerSum);
  clear(instance->fixedBeam);
  clear(instance->refBeam);
  clear(instance->cancelSum);
  clear(instance->outBeam);
  // bit-exact contract: blockWeights stay, because the array does not change with the threshold or
  // the intensity. Only VekBf_Init clears them.
}

}  // namespace

void apply_config(Instance* instance, const VekBfConfig& config) {
  // The first configuration has nothing to release; fft_free would print a line for null.
  if (instance->fftState != nullptr) fft_free(instance->fftState);
  if (instance->vadState != nullptr) vad_free(instance->vadState);
  create_states(instance, config.vadThreshold);

  instance->intensity = config.intensity;
  instance->arrayRadius = std::fabs(instance->micCoordinate[0][0]);
  clear_framing(instance);
  fill_placement(instance);
  reset_adaptation(instance);
  instance->steerAngle = kBroadside;
  instance->blockCounter = 1;
}

bool has_states(const Instance& instance) {
  const FftState* transform = instance.fftState;
  return transform != nullptr && transform->initFlag == 1 && instance.vadState != nullptr;
}

void release_states(Instance* instance) {
  fft_free(instance->fftState);
  if (instance->vadState != nullptr) vad_free(instance->vadState);
  instance->fftState = nullptr;
  instance->vadState = nullptr;
}

}  // namespace vekbf
