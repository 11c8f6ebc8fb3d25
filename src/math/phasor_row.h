// SPDX-License-Identifier: MIT
#pragma once

#include "base/complex.h"

namespace vekbf {

// row[k] = (cos phi, -sin phi) for k = 1..256 with phi = (float)(k step), as single-precision
// floats of the double-precision functions' values. Any step, also subnormal, infinite or not a
// number.
void fill_phasor_row(Complex* row, double step);

// The same by two library calls per value: the definition, and the fallback for |256 step| > 2^17.
void fill_phasor_row_plain(Complex* row, double step);

}  // namespace vekbf
