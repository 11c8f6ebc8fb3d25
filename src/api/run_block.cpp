// SPDX-License-Identifier: MIT
#include "api/run_block.h"

#include <cstring>

#include "base/framing.h"
#include "api/null_handle.h"
#include "base/log.h"
#include "base/saturate.h"
#include "bf/adaptive_frame.h"
#include "bf/fixed_frame.h"
#include "fft/fft.h"

namespace vekbf {

namespace {

constexpr const char* kName = "VekBf_Run";

// Advances every microphone by one block and transforms its latest frame.
void analyse_block(Instance* instance, const int16_t* in) {
  take_block(instance->micHistory, in, instance->micNum);
  for (int m = 0; m < row_count(*instance); ++m) {
    const float* history = instance->micHistory[m];
    float* scratch = instance->fftScratch[m];
    const bool done =
        fft_analyse(instance->fftState, history, scratch, as_floats(instance->micSpectrum[m]));
    // A refused transform writes nothing: scratch then holds the history without the window.
    if (!done) std::memcpy(scratch, history, sizeof instance->fftScratch[m]);
  }
}

}  // namespace

uint32_t run_block(Instance* instance, const int16_t* in, int16_t* out, int32_t angle) {
  if (instance == nullptr || in == nullptr || out == nullptr) return refuse_null(kName);

  // Before the zero test: a zero block sets the angle too.
  instance->steerAngle = angle;
  if (is_zero_block(in)) {
    log_line(Severity::kWarning, kName, "Zero Frame!");
    std::memset(out, 0, kHopSize * sizeof *out);
    return VEK_BF_OK;
  }

  analyse_block(instance, in);
  if (instance->algorithm == VEK_ADAPTIVE_BF) {
    adaptive_frame(instance);
  } else {
    fixed_frame(instance);
  }

  // All of `in` has been read, so `out` may be the same memory.
  drain_output(out, instance->outputOverlap);
  instance->blockCounter = wrapping_add(instance->blockCounter, 1);
  return VEK_BF_OK;
}

}  // namespace vekbf
