// SPDX-License-Identifier: MIT
//
// The life of an instance: from the caller's buffer to a configured beamformer and back.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "reference/arithmetic.h"
#include "reference/mics.h"
#include "reference/model.h"

namespace reference {

namespace {

void release(Instance* instance) {
  reference::fft_free(instance->fftState);
  reference::vad_free(instance->vadState);
  instance->fftState = nullptr;
  instance->vadState = nullptr;
}

uint32_t check(const Instance& instance, const VekBfConfig& config) {
  if (instance.sampleRate < 8000 || instance.sampleRate > 48000) return VEK_BF_ERR_SAMPLE_RATE;
  if (instance.bitWidth != 16) return VEK_BF_ERR_BIT_WIDTH;
  if (instance.soundSpeed < 1) return VEK_BF_ERR_SOUND_SPEED;
  if (instance.micNum > vekbf::kMaxMics) return VEK_BF_ERR_MIC_NUM;
  if (static_cast<uint32_t>(instance.geometry) > 3) return VEK_BF_ERR_GEOMETRY;
  // Two ordered comparisons: a threshold that is not a number passes.
  if (config.vadThreshold > 1.0f || config.vadThreshold < 0.0f) return VEK_BF_ERR_VAD_THRESHOLD;
  if (config.intensity > 10) return VEK_BF_ERR_INTENSITY;
  return VEK_BF_OK;
}

template <class Region>
void clear(Region& region) {
  std::memset(&region, 0, sizeof region);
}

void place_microphones(Instance* instance) {
  const float angles[vekbf::kMaxMics] = {0.0f, 1.5707964f, 3.1415927f, 4.712389f};
  for (int i = 0; i < rows(*instance); ++i) {
    instance->micPlacement[i] = instance->geometry == VEK_BF_UNIFORM_LINEAR_ARRAY
                                    ? instance->micCoordinate[i][0] - instance->micCoordinate[0][0]
                                    : angles[i];
  }
}

void apply(Instance* instance, const VekBfConfig& config) {
  const FftInitParams transform = {0, vekbf::kFrameSize, 0, 1};
  instance->fftState = reference::fft_init(&transform);
  const VadInitParams detector = {static_cast<int32_t>(instance->sampleRate), vekbf::kFrameSize,
                                  vekbf::kBinCount, config.vadThreshold};
  instance->vadState = reference::vad_init(&detector);
  instance->intensity = config.intensity;
  instance->arrayRadius = std::fabs(instance->micCoordinate[0][0]);

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

  place_microphones(instance);

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
  // blockWeights go on from where they were.

  instance->steerAngle = 90;
  instance->blockCounter = 1;
}

}  // namespace

VekBfHandle init(void* workBufAddress, const VekBfInit* bfInit) {
  if (workBufAddress == nullptr || bfInit == nullptr) return nullptr;
  std::memset(workBufAddress, 0, vekbf::kWorkBufferSize);
  auto* const instance = static_cast<Instance*>(workBufAddress);
  instance->sampleRate = bfInit->sampleRate;
  instance->bitWidth = bfInit->bitWidth;
  instance->micNum = bfInit->micNum;
  instance->geometry = bfInit->geometry;
  for (int i = 0; i < rows(*instance); ++i) {
    instance->micCoordinate[i][0] = bfInit->micCoordinate[i][0];
    instance->micCoordinate[i][1] = bfInit->micCoordinate[i][1];
  }
  instance->algorithm = bfInit->algorithm;
  instance->soundSpeed = bfInit->soundSpeed;
  return instance;
}

uint32_t set_config(VekBfHandle handle, const VekBfConfig* config) {
  if (handle == nullptr || config == nullptr) return VEK_BF_ERR_NULL_HANDLE;
  const uint32_t fault = check(*handle, *config);
  if (fault != VEK_BF_OK) return fault;
  release(handle);
  apply(handle, *config);
  return VEK_BF_OK;
}

uint32_t get_input_samples(VekBfHandle handle, uint32_t* samples) {
  if (handle == nullptr || samples == nullptr) return VEK_BF_ERR_NULL_HANDLE;
  *samples = static_cast<uint32_t>(wrapped_product(handle->micNum, vekbf::kHopSize));
  return VEK_BF_OK;
}

uint32_t free_instance(VekBfHandle handle) {
  if (handle == nullptr) return VEK_BF_ERR_NULL_HANDLE;
  release(handle);
  std::memset(static_cast<void*>(handle), 0, vekbf::kWorkBufferSize);
  return VEK_BF_OK;
}

}  // namespace reference
