// SPDX-License-Identifier: MIT
#include "fft/fft_engine.h"

#include "fft/real_transform.h"

namespace {

using namespace vekbf::fft;

// True for lists that end in radix 4 or 8 and have radix 4 before it: the twiddles of a plan belong
// to these. fft_factor makes lists of other radices too, which the transform refuses.
bool has_known_stages(const ComplexFftConfig& config) {
  if (config.factors == nullptr || config.twiddles == nullptr) return false;
  const int32_t stages = config.factors[0];
  if (stages < 2 || stages >= kFactorSlots / 2 - 1) return false;
  int32_t m = config.nfft;
  for (int32_t i = 1; i < stages; ++i) {
    if (config.factors[2 * i] != 4) return false;
    m /= 4;
  }
  return config.factors[2 * stages] == m && m == first_radix(config.nfft);
}

}  // namespace

void fft_complex(Complex* out, const Complex* in, const ComplexFftConfig* config, int32_t inverse) {
  if (config == nullptr || !is_supported(config->nfft)) return;
  if (config->nfft != 16 && !has_known_stages(*config)) return;
  with_lanes_for(config->nfft, [&](auto lane) {
    using V = decltype(lane);
    if (inverse == 0) {
      complex_forward<V>(out, in, config->buffer, config->twiddles, config->nfft);
    } else {
      complex_inverse<V>(out, in, config->buffer, config->twiddles, config->nfft);
    }
  });
}

void fft_real_forward(Complex* out, const float* in, RealFftPlan* plan) {
  if (!is_supported(plan)) return;
  with_lanes_for(plan->ncfft, [&](auto lane) {
    real_forward<decltype(lane)>(out, Input{as_complex(in)}, *plan);
  });
}

void fft_real_inverse(float* out, const Complex* in, RealFftPlan* plan) {
  if (!is_supported(plan)) return;
  with_lanes_for(plan->ncfft, [&](auto lane) {
    real_inverse<decltype(lane)>(Output{as_complex(out)}, in, *plan);
  });
}
