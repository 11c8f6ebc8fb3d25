// SPDX-License-Identifier: MIT
//
// FFTW3f, a patient plan of a 512-point real transform, with and without a window: the yardstick.
#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <cmath>
#include <cstring>

#include "base/sizes.h"

namespace vekbf::bench {
namespace {

struct Plan {
  float* in = fftwf_alloc_real(kFrameSize);
  fftwf_complex* out = fftwf_alloc_complex(kBinCount);
  fftwf_plan plan = fftwf_plan_dft_r2c_1d(kFrameSize, in, out, FFTW_PATIENT);
  float frame[kFrameSize];
  float window[kFrameSize];

  Plan() {
    for (int i = 0; i < kFrameSize; ++i) {
      const float phase = 6.2831853f * static_cast<float>(i) / kFrameSize;
      window[i] = 0.54f - 0.46f * std::cos(phase);
      frame[i] = 1000.0f * std::sin(17.3f * phase) + 300.0f * std::sin(91.7f * phase);
    }
    std::memcpy(in, frame, sizeof frame);
  }
  ~Plan() {
    fftwf_destroy_plan(plan);
    fftwf_free(in);
    fftwf_free(out);
  }
  Plan(const Plan&) = delete;
  Plan& operator=(const Plan&) = delete;
};

void fftw_bare(benchmark::State& state) {
  Plan p;
  for (auto _ : state) {
    fftwf_execute(p.plan);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(fftw_bare)->Name("fftw/bare");

void fftw_windowed(benchmark::State& state) {
  Plan p;
  for (auto _ : state) {
    for (int i = 0; i < kFrameSize; ++i) p.in[i] = p.frame[i] * p.window[i];
    fftwf_execute(p.plan);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(fftw_windowed)->Name("fftw/windowed");

}  // namespace
}  // namespace vekbf::bench
