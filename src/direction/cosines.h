// SPDX-License-Identifier: MIT
//
// Cosines and sines of multiples of a whole degree. bit-exact contract: constants, to 24 bits after
// the point, so that no map depends on the mathematics library.
#pragma once

#include <cstdint>

#include "direction/sizes.h"

namespace vekbf::direction {

// round(2^24 cos(d degrees)) for d = 0 to 90.
inline constexpr int32_t kQuarterCosine[kQuarterDegrees] = {
    16777216, 16774661, 16766996, 16754223, 16736348, 16713374, 16685309, 16652161, 16613941,
    16570661, 16522332, 16468971, 16410594, 16347217, 16278861, 16205546, 16127295, 16044131,
    15956081, 15863169, 15765426, 15662880, 15555564, 15443509, 15326749, 15205322, 15079262,
    14948609, 14813402, 14673684, 14529495, 14380881, 14227886, 14070557, 13908942, 13743091,
    13573053, 13398880, 13220627, 13038346, 12852093, 12661926, 12467901, 12270079, 12068519,
    11863283, 11654434, 11442034, 11226149, 11006844, 10784187, 10558244, 10329086, 10096781,
    9861400,  9623016,  9381700,  9137527,  8890570,  8640905,  8388608,  8133756,  7876426,
    7616697,  7354647,  7090358,  6823909,  6555381,  6284856,  6012416,  5738146,  5462127,
    5184445,  4905183,  4624427,  4342263,  4058776,  3774052,  3488179,  3201244,  2913333,
    2624535,  2334937,  2044628,  1753697,  1462231,  1170319,  878052,   585516,   292803,
    0};

constexpr float cosine_of_degrees(int degrees) {
  const int turn = degrees % kCircleDegrees;
  const int folded = turn > 180 ? kCircleDegrees - turn : turn;
  const int32_t fixed = folded > 90 ? -kQuarterCosine[180 - folded] : kQuarterCosine[folded];
  return static_cast<float>(fixed) * 0x1p-24f;
}
constexpr float sine_of_degrees(int degrees) { return cosine_of_degrees(degrees + 270); }

// Functions of n d degrees, a row for each harmonic n from 1 and in it the degrees d from 0 to 90,
// and some more so that a row is a whole number of up to eight lanes.
struct HarmonicTable {
  static constexpr int kColumns = (kQuarterDegrees + 7) / 8 * 8;
  float rows[kHarmonics][kColumns];
};

template <class Function>
constexpr HarmonicTable harmonic_table(Function function) {
  HarmonicTable table = {};
  for (int n = 1; n <= kHarmonics; ++n) {
    for (int d = 0; d < HarmonicTable::kColumns; ++d) table.rows[n - 1][d] = function(n * d);
  }
  return table;
}

}  // namespace vekbf::direction
