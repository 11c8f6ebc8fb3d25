// SPDX-License-Identifier: MIT
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fft/fft_engine.h"
#include "math/phasor_at.h"

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

constexpr float kMinusTwoPi = -6.2831855f;
constexpr float kMinusPi = -3.1415927f;
// Eight, and what the transforms skip to begin at a multiple of kScratchAlignment.
constexpr uint64_t kSpareBytes = 8 + kScratchAlignment - sizeof(Complex);
constexpr size_t kFactorsOffset = (sizeof(RealFftPlan) + 7) / 8 * 8;

RealFftPlan* point_into(void* block, int32_t ncfft) {
  RealFftPlan* plan = static_cast<RealFftPlan*>(block);
  plan->ncfft = ncfft;
  plan->factors = reinterpret_cast<int32_t*>(static_cast<char*>(block) + kFactorsOffset);
  plan->twiddles = reinterpret_cast<Complex*>(plan->factors + kFactorSlots);
  plan->superTwiddles = plan->twiddles + ncfft;
  plan->buffer = plan->superTwiddles + ncfft / 2;
  return plan;
}

// Cosine and sine of a single-precision phase, rounded from double precision.
Complex unit_at(float phase) {
  const Complex value = vekbf::phasor_at(phase);
  return {value.re, -value.im};
}

// One line per stage but the first one executed, in the order of execution. bit-exact contract: the
// products of the phase are rounded one by one in this grouping.
void fill_stage_twiddles(RealFftPlan* plan) {
  const float reciprocal = 1.0f / static_cast<float>(plan->ncfft);
  int32_t fstride = plan->factors[1];
  Complex* line = plan->twiddles;
  for (int32_t i = plan->factors[0] - 1; i >= 1; --i) {
    const int32_t p = plan->factors[2 * i];
    const int32_t m = plan->factors[2 * i + 1];
    fstride /= p;
    const float step = static_cast<float>(fstride) * kMinusTwoPi;
    for (int32_t j = 0; j < m; ++j) {
      const float turn = reciprocal * (static_cast<float>(j) * step);
      for (int32_t k = 1; k < p; ++k) {
        line[static_cast<ptrdiff_t>(k - 1) * m + j] = unit_at(static_cast<float>(k) * turn);
      }
    }
    line += static_cast<ptrdiff_t>(p - 1) * m;
  }
  // The lines never fill the table; the rest reads as zeros.
  Complex* end = plan->twiddles + plan->ncfft;
  memset(line, 0, static_cast<size_t>(end - line) * sizeof(Complex));
}

void fill_super_twiddles(RealFftPlan* plan) {
  const float reciprocal = 1.0f / static_cast<float>(plan->ncfft);
  for (int32_t j = 1; j <= plan->ncfft / 2; ++j) {
    plan->superTwiddles[j - 1] = unit_at((0.5f + static_cast<float>(j) * reciprocal) * kMinusPi);
  }
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
    // No 32-bit number has more factors (at most 19: 3^19); the caller's list is guarded all the
    // same.
    if (stages <= kMaxStages) {  // GCOVR_EXCL_BR_LINE: see above
      factors[2 * stages] = radix;
      factors[2 * stages + 1] = m;
    }
  }
  factors[0] = stages;
  factors[1] = n / radix;
  if (stages > kMaxStages) return -1;  // GCOVR_EXCL_BR_LINE: see above
  factors[2 * stages + 2] = mixed;
  return 0;
}

size_t fft_plan_bytes(int32_t size) {
  if (size < 2) return 0;  // no complex transform to factor
  const uint64_t points = static_cast<uint64_t>(size);
  const uint64_t ncfft = points / 2;
  const uint64_t bytes = kFactorsOffset + kFactorSlots * sizeof(int32_t) +
                         (ncfft + ncfft / 2 + points) * sizeof(Complex) + kSpareBytes;
  // GCOVR_EXCL_BR_START: too many only where a size has 32 bits
  return bytes > SIZE_MAX ? 0 : static_cast<size_t>(bytes);
  // GCOVR_EXCL_BR_STOP
}

RealFftPlan* fft_plan_lay_out(void* memory, int32_t size) {
  if (memory == nullptr || size < 2) return nullptr;
  RealFftPlan* plan = point_into(memory, size / 2);
  // GCOVR_EXCL_BR_START: a size of 2 or more always has a list of factors
  if (fft_factor(plan->ncfft, plan->factors, 1) != 0) return nullptr;
  // GCOVR_EXCL_BR_STOP
  fill_stage_twiddles(plan);
  fill_super_twiddles(plan);
  return plan;
}

RealFftPlan* fft_plan_alloc(int32_t size) {
  const size_t bytes = fft_plan_bytes(size);
  if (bytes == 0) return nullptr;
  void* block = malloc(bytes);
  if (block == nullptr) return nullptr;
  RealFftPlan* plan = fft_plan_lay_out(block, size);
  if (plan == nullptr) free(block);  // GCOVR_EXCL_BR_LINE: a size with bytes has a plan
  return plan;
}
