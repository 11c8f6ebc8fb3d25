// SPDX-License-Identifier: MIT
#include "fft/fft_engine.h"

namespace {

// More stages than the list has room for. No 32-bit n has so many; the check guards the list.
constexpr int kMaxStages = 21;

bool is_mixed(int32_t radix) { return radix != 2 && radix != 4 && radix != 8; }

int32_t next_radix(int32_t m, int32_t flags) {
  const bool eight_at_end = (flags & 1) != 0;
  const bool eight_anywhere = (flags & 2) != 0;
  if (eight_at_end && m == 8) return 8;
  // Taking the odd radix off first leaves 8 for the next round.
  if (eight_at_end && m == 24) return 3;
  if (eight_at_end && m == 40) return 5;
  if (eight_anywhere && m % 8 == 0) return 8;
  if (m % 4 == 0) return 4;
  if (m % 2 == 0) return 2;
  if (m % 5 == 0) return 5;
  if (m % 3 == 0) return 3;
  return m;
}

}  // namespace

int32_t fft_factor(int32_t n, int32_t* factors, int32_t flags) {
  if (factors == nullptr || n < 1) return -1;
  int32_t stages = 0;
  int32_t radix = n;  // without any stage slot 1 holds 1
  int32_t mixed = 0;
  for (int32_t m = n; m > 1;) {
    radix = next_radix(m, flags);
    if (is_mixed(radix)) mixed = 1;
    m /= radix;
    ++stages;
    if (stages <= kMaxStages) {
      factors[2 * stages] = radix;
      factors[2 * stages + 1] = m;
    }
  }
  factors[0] = stages;
  factors[1] = n / radix;
  if (stages > kMaxStages) return -1;
  factors[2 * stages + 2] = mixed;
  return 0;
}
