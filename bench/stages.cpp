// SPDX-License-Identifier: MIT
#include "stages.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "bf/record_stages.h"
#include "bf/steering.h"
#include "fft/fft.h"
#include "noise/vad.h"
#include "signals.h"
#include "workload.h"

namespace vekbf::bench {

inline constexpr int kWarmBlocks = 100;

void WorkloadDeleter::operator()(Workload* workload) const { delete workload; }

WorkloadPointer make_workload() {
  WorkloadPointer w(new Workload);
  const std::vector<int16_t> in = make_signal("speech", kMaxMics, kWarmBlocks);
  int16_t out[kHopSize];
  for (int b = 0; b < kWarmBlocks; ++b) {
    const int16_t* block = &in[static_cast<size_t>(b) * kMaxMics * kHopSize];
    w->linear.run(block, out, kBenchAngle);
    w->triangle.run(block, out, kBenchAngle);
  }
  const std::vector<int16_t> loud = make_signal("loudspeech", kMaxMics, kWarmBlocks);
  for (int b = 0; b < kWarmBlocks; ++b) {
    w->loud.run(&loud[static_cast<size_t>(b) * kMaxMics * kHopSize], out, kBenchAngle);
    std::copy_n(w->loud.instance()->beamPower, kBinCount, w->powers.emplace_back().begin());
  }
  std::memcpy(w->frame, w->line()->micHistory[0], sizeof w->frame);
  std::memcpy(w->bins, w->line()->outBeam, sizeof w->bins);
  return w;
}

namespace {

// As VekBf_Run calls it.
void forward(Workload& w) {
  fft_analyse(w.line()->fftState, w.frame, w.spoilt, as_floats(w.line()->micSpectrum[0]));
}
void inverse(Workload& w) { do_fft(w.line()->fftState, as_floats(w.bins), w.spoilt, kInverse); }
void steer_line(Workload& w) { compute_steering(w.line(), kBenchAngle); }
void steer_circle(Workload& w) { compute_steering(w.triangle.instance(), kBenchAngle); }
void fixed_beam(Workload& w) { form_fixed_beam(*w.line()); }
void estimator(Workload& w) { mcra2_run(w.line()->vadState->mcra, w.line()->beamPower); }
void detector(Workload& w) { vad_run(w.line()->vadState, w.line()->beamPower); }
void detector_loud(Workload& w) { vad_run(w.loud.instance()->vadState, w.next_power()); }
void presence_gain(Workload& w) {
  smooth_presence_gain(*w.line(), w.line()->vadState->mcra->speechProb);
}
void canceller(Workload& w) { cancel_sidelobes(*w.line()); }
void synthesis(Workload& w) { synthesise(*w.line(), w.bins); }

constexpr Stage kStages[] = {
    {"transform_forward", forward},
    {"transform_inverse", inverse},
    {"steering_line", steer_line},
    {"steering_triangle", steer_circle},
    {"fixed_beam", fixed_beam},
    {"estimator", estimator},
    {"detector_with_estimator", detector},
    {"detector_loud_speech", detector_loud},
    {"presence_gain", presence_gain},
    {"blocking_canceller_adaptation", canceller},
    {"synthesis", synthesis},
};

}  // namespace

std::span<const Stage> stages() { return kStages; }

}  // namespace vekbf::bench
