// SPDX-License-Identifier: MIT
//
// The map of whole degrees from the coefficients of its Fourier series. The series of a line needs
// cosines only and is worked out for 0 to 90 degrees, that of a square for a quarter of the circle:
// the rest follows by symmetry, the signs of odd harmonics and of sines changing.
#pragma once

#include "direction/sizes.h"

namespace vekbf::direction {

// The coefficient of harmonic n stands at n - 1.
using Harmonics = float[kHarmonics];

// Degrees 0 to 180.
void draw_line(float* map, const Harmonics& coefficients);

// Degrees 0 to 359, from the harmonics of the four directions of pairs (SquareGroup).
void draw_square(float* map, const Harmonics (&groups)[kMaxAccumulators]);

}  // namespace vekbf::direction
