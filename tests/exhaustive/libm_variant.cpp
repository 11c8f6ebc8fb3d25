// SPDX-License-Identifier: MIT
//
// Prints a hash of many doubles of the mathematics library.
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <initializer_list>

int main() {
  uint64_t hash = 0;
  for (int i = 1; i <= 300000; ++i) {
    const double x = 1e-3 * i;
    for (const double y : {std::sin(x), std::cos(x), std::log(x), std::exp(-x)}) {
      hash = (hash ^ std::bit_cast<uint64_t>(y)) * 0x100000001b3u;
    }
  }
  std::printf("%016llx\n", static_cast<unsigned long long>(hash));
}
