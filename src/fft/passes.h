// SPDX-License-Identifier: MIT
//
// The complex transform as passes over the whole array (Stockham's self-sorting arrangement), four
// butterflies at a time. docs/numerics.md has the schedule.
#pragma once

#include "fft/access.h"
#include "fft/butterfly.h"

namespace vekbf::fft {

// Four sequences of four values each, one sequence per lane, go out one after the other.
template <class V, class Sink>
[[gnu::always_inline]] inline void store_sequences(const Sink& out, int at, int stride,
                                                   Radix4<V> y) {
  transpose(y.y0.re, y.y1.re, y.y2.re, y.y3.re);
  transpose(y.y0.im, y.y1.im, y.y2.im, y.y3.im);
  out.template store<V>(at, y.y0);
  out.template store<V>(at + stride, y.y1);
  out.template store<V>(at + 2 * stride, y.y2);
  out.template store<V>(at + 3 * stride, y.y3);
}

template <class V, class Source>
[[gnu::always_inline]] inline Radix4<V> first_butterfly(const Source& in, int g, int stride) {
  const Pairs<V> f0 = in.template load<V>(g);
  const Pairs<V> f1 = in.template load<V>(g + stride);
  const Pairs<V> f2 = in.template load<V>(g + 2 * stride);
  const Pairs<V> f3 = in.template load<V>(g + 3 * stride);
  return radix4(f0, f1, f2, f3);
}

// The first pass runs over neighbouring sequences, because a sequence is one value long.
template <class V, class Source, class Sink>
inline void first_pass_radix4(Source in, Sink out, int n) {
  for (int g = 0; g < n / 4; g += V::kLanes) {
    store_sequences<V>(out, 4 * g, 4, first_butterfly<V>(in, g, n / 4));
  }
}

template <class V, class Source, class Sink>
inline void first_pass_radix8(Source in, Sink out, int n) {
  for (int g = 0; g < n / 8; g += V::kLanes) {
    const Radix4<V> even = first_butterfly<V>(in, g, n / 4);
    const Radix4<V> odd = first_butterfly<V>(in, g + n / 8, n / 4);
    const Radix8<V> y = radix8(even, odd);
    store_sequences<V>(out, 8 * g, 8, y.low);
    store_sequences<V>(out, 8 * g + 4, 8, y.high);
  }
}

template <class V>
struct Twiddles {
  Pairs<V> w1, w2, w3;

  Twiddles(const Complex* line, int j, int m)
      : w1(simd::load_pairs<V>(line + j)),
        w2(simd::load_pairs<V>(line + m + j)),
        w3(simd::load_pairs<V>(line + 2 * m + j)) {}
};

template <class V, class Source, class Sink>
[[gnu::always_inline]] inline void later_butterfly(Source in, Sink out, int from, int quarter,
                                                   int to, int m, const Twiddles<V>& w) {
  const Pairs<V> t1 = in.template load<V>(from + quarter) * w.w1;
  const Pairs<V> t3 = in.template load<V>(from + 3 * quarter) * w.w3;
  const Pairs<V> c = t1 + t3;
  const Pairs<V> d = t1 - t3;
  const Pairs<V> t2 = in.template load<V>(from + 2 * quarter) * w.w2;
  const Pairs<V> t0 = in.template load<V>(from);
  const Pairs<V> a = t0 + t2;
  const Pairs<V> b = t0 - t2;
  out.template store<V>(to, a + c);
  out.template store<V>(to + 2 * m, a - c);
  out.template store<V>(to + m, Pairs<V>{b.re + d.im, b.im - d.re});
  out.template store<V>(to + 3 * m, Pairs<V>{b.re - d.im, b.im + d.re});
}

// Sequences of m values become sequences of 4m; the twiddles of one j serve all of them.
template <class V, class Source, class Sink>
inline void middle_pass(Source in, Sink out, const Complex* line, int n, int m) {
  const int quarter = n / 4;
  for (int j = 0; j < m; j += V::kLanes) {
    const Twiddles<V> w(line, j, m);
    for (int from = j, to = j; from < quarter; from += m, to += 4 * m) {
      later_butterfly<V>(in, out, from, quarter, to, m, w);
    }
  }
}

template <class V, class Source, class Sink>
inline void last_pass(Source in, Sink out, const Complex* line, int n) {
  const int m = n / 4;
  for (int j = 0; j < m; j += V::kLanes) {
    later_butterfly<V>(in, out, j, m, j, m, Twiddles<V>(line, j, m));
  }
}

// 16, and every power of two from 32 up.
constexpr bool is_supported(int n) { return n >= 16 && (n & (n - 1)) == 0; }

// Powers of four start with radix 4, the others with radix 8.
constexpr int first_radix(int n) {
  constexpr unsigned kPowersOfFour = 0x55555555u;
  return (static_cast<unsigned>(n) & kPowersOfFour) != 0 ? 4 : 8;
}

// What stands when only the last pass is left to do.
template <class V>
struct BeforeLast {
  Work<V> work;
  const Complex* line;  // twiddles of the last pass
};

// All passes but the last: the first from `in` to `a`, the others to and fro between the two work
// areas of n values. `twiddles` holds the lines of the passes after the first. `in` may be the area
// `b`.
template <class V, class Source>
inline BeforeLast<V> all_but_last(Source in, Work<V> a, Work<V> b, const Complex* twiddles, int n) {
  int m = first_radix(n);
  if (m == 4) {
    first_pass_radix4<V>(in, a, n);
  } else {
    first_pass_radix8<V>(in, a, n);
  }
  const Complex* line = twiddles;
  for (; 4 * m < n; m *= 4) {
    middle_pass<V>(a, b, line, n, m);
    const Work<V> other = a;
    a = b;
    b = other;
    line += 3 * m;
  }
  return {a, line};
}

// Whether an even number of passes precedes the last one, so that they end in `b`.
constexpr bool ends_in_second(int n) {
  bool even = false;
  for (int m = first_radix(n); 4 * m < n; m *= 4) even = !even;
  return even;
}

}  // namespace vekbf::fft
