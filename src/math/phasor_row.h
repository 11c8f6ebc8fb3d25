// SPDX-License-Identifier: MIT
#pragma once

#include "base/spectrum.h"
#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

// row[k] = (cos phi, -sin phi) for k = 1..256 with phi = (float)(k step), as single-precision
// floats of the double-precision functions' values. Any step, also subnormal, infinite or not a
// number. Values before row[first] are left alone.
void fill_phasor_row(Complex* row, double step, int first = 1);

// Takes from the row of `other_step` what it says of the row of `step`: everything where the steps
// are equal or opposite, k = 1..128 where one is twice the other. Returns the first k that is still
// to be filled.
int derive_phasor_row(Complex* row, double step, const Complex* other, double other_step);

// Fills the first `count` rows, each with the phases of its step and bin 0 without one. Takes from
// earlier rows what they have: delays are often exact multiples of each other (on a line of equal
// spacing one microphone has twice the delay of another, on a circle opposite microphones may have
// opposite delays).
void fill_phasor_rows(Spectrum* rows, const double* steps, int count);

}  // namespace VEKBF_TARGET
}  // namespace vekbf
