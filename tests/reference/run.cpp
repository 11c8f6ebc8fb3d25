// SPDX-License-Identifier: MIT
//
// One block in, one block out.
#include <cstdint>

#include "reference/arithmetic.h"
#include "reference/mics.h"
#include "reference/model.h"

namespace reference {

namespace {

constexpr int kHop = vekbf::kHopSize;
constexpr int kFrame = vekbf::kFrameSize;

// The first 128 values, whatever the number of channels.
bool adds_up_to_zero(const int16_t* in) {
  uint32_t sum = 0;
  for (int i = 0; i < kHop; ++i) {
    const int32_t value = in[i];
    sum += static_cast<uint32_t>(value * value);
  }
  return sum == 0;
}

void take_microphone(Instance* instance, int m, const int16_t* in) {
  float* const history = instance->micHistory[m];
  float* const scratch = instance->fftScratch[m];
  for (int i = 0; i < kFrame; ++i) scratch[i] = 0.0f;
  for (int i = 0; i < kFrame - kHop; ++i) history[i] = history[i + kHop];
  const bool readable = instance->micNum <= vekbf::kMaxMics;
  for (int t = 0; t < kHop; ++t) {
    history[kFrame - kHop + t] = readable ? static_cast<float>(in[t * instance->micNum + m]) : 0.0f;
  }
  for (int i = 0; i < kFrame; ++i) scratch[i] = history[i];
  reference::do_fft(instance->fftState, scratch, as_floats(instance->micSpectrum[m]), kForward);
}

void hand_out(Instance* instance, int16_t* out) {
  int16_t* const overlap = instance->outputOverlap;
  for (int i = 0; i < kHop; ++i) out[i] = overlap[i];
  for (int i = 0; i < kFrame - kHop; ++i) overlap[i] = overlap[i + kHop];
  for (int i = kFrame - kHop; i < kFrame; ++i) overlap[i] = 0;
}

}  // namespace

uint32_t run(VekBfHandle handle, const int16_t* in, int16_t* out, int32_t angle) {
  if (handle == nullptr || in == nullptr || out == nullptr) return VEK_BF_ERR_NULL_HANDLE;
  // Also a dropped block changes the angle.
  handle->steerAngle = angle;
  if (adds_up_to_zero(in)) {
    for (int i = 0; i < kHop; ++i) out[i] = 0;
    return VEK_BF_OK;
  }
  for (int m = 0; m < rows(*handle); ++m) take_microphone(handle, m, in);
  if (handle->algorithm == VEK_ADAPTIVE_BF) {
    reference::adaptive_frame(handle);
  } else {
    reference::fixed_frame(handle);
  }
  hand_out(handle, out);
  handle->blockCounter = wrapped_sum(handle->blockCounter, 1);
  return VEK_BF_OK;
}

}  // namespace reference
