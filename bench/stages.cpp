// SPDX-License-Identifier: MIT
#include "stages.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "beam.h"
#include "bf/record_stages.h"
#include "bf/steering.h"
#include "fft/fft.h"
#include "noise/vad.h"
#include "reference/model.h"
#include "signals.h"

namespace vekbf::bench {

namespace {

inline constexpr int kWarmBlocks = 100;
inline constexpr int kAngle = 60;

}  // namespace

struct Workload {
  Beam linear{Side::kLibrary, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, kMaxMics};
  Beam triangle{Side::kLibrary, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_TRIANGLE_ARRAY, kMaxMics};
  float frame[kFrameSize];
  float spoilt[kFrameSize];
  Complex bins[kBinCount];
  Instance* line() { return linear.instance(); }

  // The beam's power spectra over loud speech, one after the other for a detector that has heard
  // them once: given the same spectrum again and again, its estimator would take it for noise.
  Beam loud{Side::kLibrary, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, kMaxMics};
  std::vector<std::array<float, kBinCount>> powers;
  size_t frame_number = 0;
  const float* next_power() { return powers[frame_number++ % powers.size()].data(); }
};

void WorkloadDeleter::operator()(Workload* workload) const { delete workload; }

WorkloadPointer make_workload() {
  WorkloadPointer w(new Workload);
  const std::vector<int16_t> in = make_signal("speech", kMaxMics, kWarmBlocks);
  int16_t out[kHopSize];
  for (int b = 0; b < kWarmBlocks; ++b) {
    const int16_t* block = &in[static_cast<size_t>(b) * kMaxMics * kHopSize];
    w->linear.run(block, out, kAngle);
    w->triangle.run(block, out, kAngle);
  }
  const std::vector<int16_t> loud = make_signal("loudspeech", kMaxMics, kWarmBlocks);
  for (int b = 0; b < kWarmBlocks; ++b) {
    w->loud.run(&loud[static_cast<size_t>(b) * kMaxMics * kHopSize], out, kAngle);
    std::copy_n(w->loud.instance()->beamPower, kBinCount, w->powers.emplace_back().begin());
  }
  std::memcpy(w->frame, w->line()->micHistory[0], sizeof w->frame);
  std::memcpy(w->bins, w->line()->outBeam, sizeof w->bins);
  return w;
}

namespace {

// As VekBf_Run calls it. The model's transform windows its input in place, and is given a fresh
// copy as the model's own frames do.
void forward(Workload& w) {
  fft_analyse(w.line()->fftState, w.frame, w.spoilt, as_floats(w.line()->micSpectrum[0]));
}
void forward_model(Workload& w) {
  std::memcpy(w.spoilt, w.frame, sizeof w.spoilt);
  reference::do_fft(w.line()->fftState, w.spoilt, as_floats(w.line()->micSpectrum[0]), kForward);
}
void inverse(Workload& w) { do_fft(w.line()->fftState, as_floats(w.bins), w.spoilt, kInverse); }
void inverse_model(Workload& w) {
  reference::do_fft(w.line()->fftState, as_floats(w.bins), w.spoilt, kInverse);
}
void steer_line(Workload& w) { compute_steering(w.line(), kAngle); }
void steer_line_model(Workload& w) { reference::compute_steering(w.line(), kAngle); }
void steer_circle(Workload& w) { compute_steering(w.triangle.instance(), kAngle); }
void steer_circle_model(Workload& w) { reference::compute_steering(w.triangle.instance(), kAngle); }
void fixed_beam(Workload& w) { form_fixed_beam(*w.line()); }
void estimator(Workload& w) { mcra2_run(w.line()->vadState->mcra, w.line()->beamPower); }
void estimator_model(Workload& w) {
  reference::mcra2_run(w.line()->vadState->mcra, w.line()->beamPower);
}
void detector(Workload& w) { vad_run(w.line()->vadState, w.line()->beamPower); }
void detector_model(Workload& w) { reference::vad_run(w.line()->vadState, w.line()->beamPower); }
void detector_loud(Workload& w) { vad_run(w.loud.instance()->vadState, w.next_power()); }
void detector_loud_model(Workload& w) {
  reference::vad_run(w.loud.instance()->vadState, w.next_power());
}
void presence_gain(Workload& w) {
  smooth_presence_gain(*w.line(), w.line()->vadState->mcra->speechProb);
}
void canceller(Workload& w) { cancel_sidelobes(*w.line()); }
void synthesis(Workload& w) { synthesise(*w.line(), w.bins); }

constexpr Stage kStages[] = {
    {"transform_forward", forward, forward_model},
    {"transform_inverse", inverse, inverse_model},
    {"steering_line", steer_line, steer_line_model},
    {"steering_triangle", steer_circle, steer_circle_model},
    {"fixed_beam", fixed_beam, nullptr},
    {"estimator", estimator, estimator_model},
    {"detector_with_estimator", detector, detector_model},
    {"detector_loud_speech", detector_loud, detector_loud_model},
    {"presence_gain", presence_gain, nullptr},
    {"blocking_canceller_adaptation", canceller, nullptr},
    {"synthesis", synthesis, nullptr},
};

}  // namespace

std::span<const Stage> stages() { return kStages; }

}  // namespace vekbf::bench
