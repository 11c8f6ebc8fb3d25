// SPDX-License-Identifier: MIT
#include <webrtc/common.h>
#include <webrtc/modules/audio_processing/include/audio_processing.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "base/sizes.h"
#include "others.h"
#include "workload.h"

namespace vekbf::bench {

Call webrtc_beam(const std::vector<int16_t>& in, int rate) {
  constexpr float kSpacing = 0.035f;
  constexpr float kRadiansPerDegree = 0.0174532925f;
  std::vector<webrtc::Point> line;
  for (int m = 0; m < kMaxMics; ++m) {
    line.emplace_back(kSpacing * (static_cast<float>(m) - 1.5f), 0.0f, 0.0f);
  }
  webrtc::Config config;
  config.Set<webrtc::Beamforming>(new webrtc::Beamforming(
      true, line, webrtc::SphericalPointf(kBenchAngle * kRadiansPerDegree, 0.0f, 1.0f)));
  const std::shared_ptr<webrtc::AudioProcessing> processing(
      webrtc::AudioProcessing::Create(config));

  const int length = rate / 100;         // 10 ms
  std::vector<float> planes(in.size());  // frame by frame, in each the channels
  for (size_t i = 0; i < in.size(); ++i) {
    const auto frame = static_cast<size_t>(length);
    const size_t time = i / kMaxMics;
    planes[(time / frame * kMaxMics + i % kMaxMics) * frame + time % frame] =
        static_cast<float>(in[i]) / 32768.0f;
  }
  Frames frames(std::move(planes), kMaxMics, length, rate);
  std::vector<float> out(static_cast<size_t>(length));
  return [processing, frames, out, rate, length]() mutable {
    frames.step([&](const float* frame) {
      const float* inputs[kMaxMics];
      for (int m = 0; m < kMaxMics; ++m) inputs[m] = frame + m * length;
      float* const outputs[] = {out.data()};
      if (processing->ProcessStream(inputs, webrtc::StreamConfig(rate, kMaxMics),
                                    webrtc::StreamConfig(rate, 1), outputs) != 0) {
        std::fprintf(stderr, "webrtc_beam: a frame was refused\n");
        std::exit(1);
      }
    });
  };
}

}  // namespace vekbf::bench
