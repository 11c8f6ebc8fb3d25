// SPDX-License-Identifier: MIT
#include "direction/map.h"

#include "direction/cosines.h"
#include "direction/groups.h"
#include "simd/lanes.h"

namespace vekbf::direction {

namespace {

constexpr HarmonicTable kCosines = harmonic_table(cosine_of_degrees);
constexpr HarmonicTable kSines = harmonic_table(sine_of_degrees);
constexpr int kColumns = HarmonicTable::kColumns;

using V = simd::f32x4;
static_assert(kColumns % V::kLanes == 0);

// Sum of every second term, from harmonic n on, at the degrees of the lanes from d on.
V sum_of_every_second(int n, const Harmonics& coefficients, const HarmonicTable& table, int d) {
  V sum = V::splat(0.0f);
  for (; n <= kHarmonics; n += 2) {
    sum = plus_product(sum, V::splat(coefficients[n - 1]), V::load(table.rows[n - 1] + d));
  }
  return sum;
}

// Coefficients of cos n theta and sin n theta.
struct CircleSeries {
  Harmonics cosine;
  Harmonics sine;
};

// The pairs of a group across phi give a series in theta - phi; phi is a multiple of 45 degrees, so
// that the cosine and sine of n phi are 0, 1 or the root of a half, with a sign that changes with
// every fourth harmonic.
CircleSeries turned_to_zero(const Harmonics (&groups)[kMaxAccumulators]) {
  constexpr float kRootOfHalf = cosine_of_degrees(45);
  CircleSeries series;
  for (int n = 1; n <= kHarmonics; ++n) {
    const float a = groups[kAcross135][n - 1];
    const float b = groups[kAcross0][n - 1];
    const float c = groups[kAcross45][n - 1];
    const float d = groups[kAcross90][n - 1];
    const float sign = n / 4 % 2 == 0 ? 1.0f : -1.0f;
    float& cosine = series.cosine[n - 1];
    float& sine = series.sine[n - 1];
    switch (n % 4) {
      case 0:
        cosine = (b + d) + sign * (a + c);
        sine = 0.0f;
        break;
      case 1:
        cosine = b + sign * (kRootOfHalf * (c - a));
        sine = d + sign * (kRootOfHalf * (c + a));
        break;
      case 2:
        cosine = b - d;
        sine = sign * (c - a);
        break;
      default:
        cosine = b + sign * (kRootOfHalf * (a - c));
        sine = sign * (kRootOfHalf * (a + c)) - d;
    }
  }
  return series;
}

}  // namespace

void draw_line(float* map, const Harmonics& coefficients) {
  float mirrored[kColumns];
  for (int d = 0; d < kColumns; d += V::kLanes) {
    const V even = sum_of_every_second(2, coefficients, kCosines, d);
    const V odd = sum_of_every_second(1, coefficients, kCosines, d);
    (even + odd).store(map + d);
    (even - odd).store(mirrored + d);
  }
  // The loop writes whole lanes, a little beyond the quarter; this overwrites the excess.
  for (int d = 0; d < 90; ++d) map[180 - d] = mirrored[d];
}

void draw_square(float* map, const Harmonics (&groups)[kMaxAccumulators]) {
  const CircleSeries series = turned_to_zero(groups);
  float second[kColumns];  // of the quarters of the circle, from its end
  float fourth[kColumns];
  for (int d = 0; d < kColumns; d += V::kLanes) {
    const V cosineEven = sum_of_every_second(2, series.cosine, kCosines, d);
    const V cosineOdd = sum_of_every_second(1, series.cosine, kCosines, d);
    const V sineEven = sum_of_every_second(2, series.sine, kSines, d);
    const V sineOdd = sum_of_every_second(1, series.sine, kSines, d);
    const V even = cosineEven + sineEven;
    const V odd = cosineOdd + sineOdd;
    const V evenMirrored = cosineEven - sineEven;
    (even + odd).store(map + d);
    (even - odd).store(map + 180 + d);
    (evenMirrored + (sineOdd - cosineOdd)).store(second + d);
    (evenMirrored + (cosineOdd - sineOdd)).store(fourth + d);
  }
  // The loop writes whole lanes, a little beyond the quarters; this overwrites the excess.
  for (int d = 1; d <= 90; ++d) {
    map[180 - d] = second[d];
    map[360 - d] = fourth[d];
  }
}

}  // namespace vekbf::direction
