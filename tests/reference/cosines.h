// SPDX-License-Identifier: MIT
//
// Cosines of whole degrees, rounded to multiples of 2^-24: independent of the mathematics library,
// symmetric to the last bit.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace reference {

// 2^24 times the cosines of 0 to 90 degrees.
inline constexpr std::array<int32_t, 91> kQuarterOfCosines = {
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
    0,
};

inline float cosine_of_degrees(int degrees) {
  const int turn = degrees % 360;
  const int half = turn > 180 ? 360 - turn : turn;
  const int32_t scaled = half > 90 ? -kQuarterOfCosines[static_cast<size_t>(180 - half)]
                                   : kQuarterOfCosines[static_cast<size_t>(half)];
  return static_cast<float>(scaled) / 16777216.0f;
}

inline float sine_of_degrees(int degrees) { return cosine_of_degrees(degrees + 270); }

}  // namespace reference
