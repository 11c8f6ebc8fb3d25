// SPDX-License-Identifier: MIT
#pragma once

#include "base/complex.h"

namespace vekbf {

// row[k] = (cos phi, -sin phi) for k = 1..256 with phi = (float)(k step), as single-precision
// floats of the double-precision functions' values. Any step, also subnormal, infinite or not a
// number. Values before row[first] are left alone.
void fill_phasor_row(Complex* row, double step, int first = 1);

// Takes from the row of `other_step` what it says of the row of `step`: everything where the steps
// are equal or opposite, k = 1..128 where one is twice the other. Returns the first k that is still
// to be filled.
int derive_phasor_row(Complex* row, double step, const Complex* other, double other_step);

}  // namespace vekbf
