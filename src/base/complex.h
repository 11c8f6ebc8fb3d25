// SPDX-License-Identifier: MIT
#pragma once

#include "base/arithmetic.h"

// One complex value; a spectrum is an array of these, so bin k lies at float positions 2k and 2k+1.
struct Complex {
  float re;
  float im;
};

static_assert(sizeof(Complex) == 8, "two packed 32-bit floats");

// The float view of a spectrum, for the operations that take frames and spectra alike.
[[gnu::always_inline]] inline float* as_floats(Complex* values) { return &values->re; }
[[gnu::always_inline]] inline const float* as_floats(const Complex* values) { return &values->re; }

// Real samples taken two by two as complex values.
[[gnu::always_inline]] inline Complex* as_complex(float* values) {
  return reinterpret_cast<Complex*>(values);
}
[[gnu::always_inline]] inline const Complex* as_complex(const float* values) {
  return reinterpret_cast<const Complex*>(values);
}
