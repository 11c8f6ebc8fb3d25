// SPDX-License-Identifier: MIT
#include "model_side.h"

#include <cstring>

#include "noise/vad.h"
#include "reference/model.h"
#include "workload.h"

namespace vekbf::bench {

constexpr Engine kModel = {reference::init, reference::set_config, reference::run,
                           reference::free_instance};

namespace {

// The model's transform windows its input in place, and is given a fresh copy as the model's own
// frames do.
void forward(Workload& w) {
  std::memcpy(w.spoilt, w.frame, sizeof w.spoilt);
  reference::do_fft(w.line()->fftState, w.spoilt, as_floats(w.line()->micSpectrum[0]), kForward);
}
void inverse(Workload& w) {
  reference::do_fft(w.line()->fftState, as_floats(w.bins), w.spoilt, kInverse);
}
void steer_line(Workload& w) { reference::compute_steering(w.line(), kBenchAngle); }
void steer_circle(Workload& w) { reference::compute_steering(w.triangle.instance(), kBenchAngle); }
void estimator(Workload& w) { reference::mcra2_run(w.line()->vadState->mcra, w.line()->beamPower); }
void detector(Workload& w) { reference::vad_run(w.line()->vadState, w.line()->beamPower); }
void detector_loud(Workload& w) { reference::vad_run(w.loud.instance()->vadState, w.next_power()); }

constexpr Stage kStages[] = {
    {"transform_forward", forward},
    {"transform_inverse", inverse},
    {"steering_line", steer_line},
    {"steering_triangle", steer_circle},
    {"estimator", estimator},
    {"detector_with_estimator", detector},
    {"detector_loud_speech", detector_loud},
};

}  // namespace

std::span<const Stage> model_stages() { return kStages; }

}  // namespace vekbf::bench
