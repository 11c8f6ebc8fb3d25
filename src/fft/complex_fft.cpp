// SPDX-License-Identifier: MIT
#include "fft/complex_transform.h"
#include "fft/fft_engine.h"

namespace {

using vekbf::simd::f32x4;

// The lines of twiddles belong to radix 4 behind a first pass of radix 4 or 8. Lists of other
// radices exist, and the transform deliberately does not know them.
bool has_known_stages(const ComplexFftConfig& config) {
  if (config.factors == nullptr || config.twiddles == nullptr) return false;
  const int32_t stages = config.factors[0];
  if (stages < 2 || stages >= kFactorSlots / 2 - 1) return false;
  int32_t m = config.nfft;
  for (int32_t i = 1; i < stages; ++i) {
    if (config.factors[2 * i] != 4) return false;
    m /= 4;
  }
  return config.factors[2 * stages] == m && m == vekbf::fft::first_radix(config.nfft);
}

}  // namespace

void fft_complex(Complex* out, const Complex* in, const ComplexFftConfig* config, int32_t inverse) {
  if (config == nullptr || !vekbf::fft::is_supported(config->nfft)) return;
  if (config->nfft != 16 && !has_known_stages(*config)) return;
  if (inverse == 0) {
    vekbf::fft::complex_forward<f32x4>(out, in, config->buffer, config->twiddles, config->nfft);
  } else {
    vekbf::fft::complex_inverse<f32x4>(out, in, config->buffer, config->twiddles, config->nfft);
  }
}
