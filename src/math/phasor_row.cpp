// SPDX-License-Identifier: MIT
#include "math/phasor_row.h"

#include <algorithm>
#include <cmath>

#include "math/phasor.h"
#include "math/phasor_at.h"

namespace vekbf {
inline namespace VEKBF_TARGET {

namespace {

inline constexpr int kLast = kBinCount - 1;

float phase(int k, double step) { return static_cast<float>(static_cast<double>(k) * step); }

// Every |phi| below 2^-12: 1 - phi^2/2 rounds to 1 and phi - phi^3/6 to phi.
void fill_tiny(Complex* row, double step, int first) {
  for (int k = first; k <= kLast; ++k) row[k] = {1.0f, -phase(k, step)};
}

// No delay: the reference microphone of a line, in every frame. The sign of zero is kept.
void fill_constant(Complex* row, float phi, int first) {
  const Complex value = {1.0f, -phi};
  for (int k = first; k <= kLast; ++k) row[k] = value;
}

// One by one: phases beyond the table's domain, and rows that are begun elsewhere.
void fill_one_by_one(Complex* row, double step, int first) {
  for (int k = first; k <= kLast; ++k) row[k] = phasor_at(phase(k, step));
}

using V = simd::Widest;
using Group = Direction<decltype(widen(V{}))>;  // of one group of lanes
inline constexpr int kHalf = kLast / 2;
inline constexpr int kQuarter = kLast / 4;
static_assert(kQuarter % V::kLanes == 0);

// Phases of the bins first, first + stride, ... in groups of lanes.
class Phases {
 public:
  Phases(double step, int first, int stride)
      : steps_(decltype(steps_)::splat(step)),
        advance_(V::splat(static_cast<float>(V::kLanes * stride))) {
    float indices[V::kLanes];
    for (int i = 0; i < V::kLanes; ++i) indices[i] = static_cast<float>(first + i * stride);
    index_ = V::load(indices);
  }
  [[gnu::always_inline]] V next() {
    const V phases = narrow(widen(index_) * steps_);
    index_ = index_ + advance_;
    return phases;
  }

 private:
  V index_;
  decltype(widen(V{})) steps_;
  V advance_;
};

// Calls take(g, directions) for each of `groups` groups of bins from `first` on, by the table.
// Phases below kPhasorTiny come out by it too: in its first direction their cosine rounds to 1 and
// their sine to themselves.
template <class Take>
[[gnu::always_inline]] inline void for_each_group(double step, int first, int stride, int groups,
                                                  Take&& take) {
  Phases phases(step, first, stride);
  if constexpr (simd::kPassesPay<V>) {
    // One group is a chain of operations so long that a processor cannot look ahead to the next.
    constexpr int kMost = kQuarter / V::kLanes;
    V phase[kMost];
    ReducedPhase<V> reduced[kMost];
    for (int from = 0; from < groups; from += kMost) {
      for (V& x : phase) x = phases.next();
      for (int g = 0; g < kMost; ++g) reduced[g] = reduced_phase(phase[g]);
      for (int g = 0; g < kMost; ++g) take(from + g, direction_of(reduced[g]));
    }
  } else {
    for (int g = 0; g < groups; ++g) take(g, direction_of(reduced_phase(phases.next())));
  }
}

[[gnu::noinline]] void fill_by_table(Complex* row, double step, int first, int count) {
  for_each_group(step, first, 1, count / V::kLanes, [=](int g, const Group& group) {
    store_pairs(&row[first + g * V::kLanes], rounded(group));
  });
}

// The same, and keeps the directions before they are rounded.
[[gnu::noinline]] void fill_and_keep(Complex* row, Group* kept, double step, int first, int count) {
  for_each_group(step, first, 1, count / V::kLanes, [=](int g, const Group& group) {
    kept[g] = group;
    store_pairs(&row[first + g * V::kLanes], rounded(group));
  });
}

// Even bins of the upper half have twice the angle of the second quarter.
void fill_by_doubling(Complex* row, double step) {
  Group second_quarter[kQuarter / V::kLanes];
  fill_by_table(row, step, 1, kQuarter);
  fill_and_keep(row, second_quarter, step, 1 + kQuarter, kQuarter);
  for_each_group(step, 1 + kHalf, 2, kQuarter / V::kLanes, [&](int g, const Group& group) {
    simd::Pairs<V> odd = rounded(group);
    simd::Pairs<V> even = rounded(doubled(second_quarter[g]));
    interleave(odd.re, odd.im, even.re, even.im);
    float* out = &row[1 + kHalf + 2 * g * V::kLanes].re;
    odd.re.store(out);
    odd.im.store(out + V::kLanes);
    even.re.store(out + 2 * V::kLanes);
    even.im.store(out + 3 * V::kLanes);
  });
}

float largest_phase(double step) { return std::fabs(phase(kLast, step)); }

// Whether the angles of the upper half may be doubled ones.
bool is_in_doubling_domain(double step) {
  const float largest = largest_phase(step);
  return largest >= kPhasorTiny && largest < 2.0f * kDoublingLimit;
}

// The upper half of a row before it is rounded, for a row of twice its step.
struct UpperHalf {
  int row = -1;
  Group groups[kHalf / V::kLanes];
};

void double_upper_half(Complex* row, const UpperHalf& upper) {
  for (int g = 0; g < kHalf / V::kLanes; ++g) {
    store_pairs(&row[1 + kHalf + g * V::kLanes], rounded(doubled(upper.groups[g])));
  }
}

bool is_doubled_later(const double* steps, int m, int count) {
  if (!is_in_doubling_domain(steps[m])) return false;
  for (int later = m + 1; later < count; ++later) {
    if (steps[later] == 2.0 * steps[m] && is_in_doubling_domain(steps[later])) return true;
  }
  return false;
}

}  // namespace

void fill_phasor_row(Complex* row, double step, int first) {
  const float largest = largest_phase(step);
  const bool halves = first == 1 || first == 1 + kHalf;
  if (step == 0.0) {
    fill_constant(row, phase(1, step), first);
  } else if (largest < kPhasorTiny) {
    fill_tiny(row, step, first);
  } else if (first == 1 && is_in_doubling_domain(step)) {
    fill_by_doubling(row, step);
  } else if (largest <= kPhasorLimit && halves) {
    fill_by_table(row, step, first, kBinCount - first);
  } else {
    fill_one_by_one(row, step, first);
  }
}

int derive_phasor_row(Complex* row, double step, const Complex* other, double other_step) {
  // Steps of 0 and -0 are equal but for the signs in their rows.
  if (step == 0.0) return 1;
  if (step == other_step) {
    std::copy_n(other + 1, kLast, row + 1);
    return kBinCount;
  }
  if (step == -other_step) {
    for (int k = 1; k <= kLast; ++k) row[k] = {other[k].re, -other[k].im};
    return kBinCount;
  }
  if (step == 2.0 * other_step) {
    // k step is the same double as 2 k other_step.
    for (int k = 1; k <= kLast / 2; ++k) row[k] = other[2 * k];
    return kLast / 2 + 1;
  }
  return 1;
}

void fill_phasor_rows(Spectrum* rows, const double* steps, int count) {
  UpperHalf upper;
  for (int m = 0; m < count; ++m) {
    rows[m][0] = {1.0f, -0.0f};  // -0 is what the other bins give for no delay
    int first = 1;
    for (int other = 0; other < m && first == 1; ++other) {
      first = derive_phasor_row(rows[m], steps[m], rows[other], steps[other]);
      // (is_doubled_later has seen that this step lies in the domain.)
      if (first == 1 + kHalf && other == upper.row) {
        double_upper_half(rows[m], upper);
        first = kBinCount;
      }
    }
    if (first == 1 && upper.row < 0 && is_doubled_later(steps, m, count)) {
      fill_by_table(rows[m], steps[m], 1, kHalf);
      fill_and_keep(rows[m], upper.groups, steps[m], 1 + kHalf, kHalf);
      upper.row = m;
    } else if (first < kBinCount) {
      fill_phasor_row(rows[m], steps[m], first);
    }
  }
}

}  // namespace VEKBF_TARGET
}  // namespace vekbf
