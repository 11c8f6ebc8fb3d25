// SPDX-License-Identifier: MIT
//
// The complex transform as passes over the whole array (Stockham's self-sorting arrangement), one
// butterfly per lane. docs/numerics.md has the schedule.
#pragma once

#include "base/target.h"
#include "fft/access.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace fft {

// Butterflies, forward.

template <class V>
struct Radix4 {
  Pairs<V> y0, y1, y2, y3;
};

template <class V>
[[gnu::always_inline]] inline Radix4<V> radix4(Pairs<V> t0, Pairs<V> t1, Pairs<V> t2, Pairs<V> t3) {
  Pairs<V> a = t0 + t2;
  Pairs<V> b = t0 - t2;
  Pairs<V> c = t1 + t3;
  Pairs<V> d = t1 - t3;
  return {a + c, {b.re + d.im, b.im - d.re}, a - c, {b.re - d.im, b.im + d.re}};
}

template <class V>
struct Radix8 {
  Radix4<V> low;   // outputs 0 to 3
  Radix4<V> high;  // outputs 4 to 7
};

// From the butterflies of the even and of the odd inputs.
template <class V>
[[gnu::always_inline]] inline Radix8<V> radix8(const Radix4<V>& even, const Radix4<V>& odd) {
  V h = V::splat(0.70710677f);
  Pairs<V> o1 = odd.y1;
  Pairs<V> o2 = odd.y2;
  Pairs<V> o3 = odd.y3;
  Pairs<V> r1 = {h * (o1.re + o1.im), h * (o1.im - o1.re)};
  // Rotations by a quarter turn: the signs go into the sums below.
  V r3_re = h * (o3.im - o3.re);
  V r3_im = h * (o3.re + o3.im);
  return {{even.y0 + odd.y0,
           even.y1 + r1,
           {even.y2.re + o2.im, even.y2.im - o2.re},
           {even.y3.re + r3_re, even.y3.im - r3_im}},
          {even.y0 - odd.y0,
           even.y1 - r1,
           {even.y2.re - o2.im, even.y2.im + o2.re},
           {even.y3.re - r3_re, even.y3.im + r3_im}}};
}

// Passes.

// The outputs of each lane one after the other: values 0 to 3 of the first lane, of the second, ...
template <class V>
[[gnu::always_inline]] inline void gather(Radix4<V>& y) {
  interleave(y.y0.re, y.y1.re, y.y2.re, y.y3.re);
  interleave(y.y0.im, y.y1.im, y.y2.im, y.y3.im);
}

template <class V, class Sink>
[[gnu::always_inline]] inline void store_quarters(const Sink& out, int at, const Radix4<V>& y) {
  out.template store<V>(at, y.y0);
  out.template store<V>(at + V::kLanes, y.y1);
  out.template store<V>(at + 2 * V::kLanes, y.y2);
  out.template store<V>(at + 3 * V::kLanes, y.y3);
}

// Gathered outputs 0 to 3 and 4 to 7 of sequences of eight: four of the one, four of the other.
template <class V, class Sink>
[[gnu::always_inline]] inline void store_halves(const Sink& out, int at, Pairs<V> low,
                                                Pairs<V> high, int quarter) {
  constexpr int kHalf = 4;
  if constexpr (V::kLanes > kHalf) {
    interleave<kHalf>(low.re, high.re);
    interleave<kHalf>(low.im, high.im);
    out.template store<V>(at + 2 * quarter * V::kLanes, low);
    out.template store<V>(at + (2 * quarter + 1) * V::kLanes, high);
  } else {
    const int first = quarter * V::kLanes;
    const int place = at + first / kHalf * 2 * kHalf + first % kHalf;
    out.template store<V>(place, low);
    out.template store<V>(place + kHalf, high);
  }
}

template <class V, class Source>
[[gnu::always_inline]] inline Radix4<V> first_butterfly(const Source& in, int g, int stride) {
  Pairs<V> f0 = in.template load<V>(g);
  Pairs<V> f1 = in.template load<V>(g + stride);
  Pairs<V> f2 = in.template load<V>(g + 2 * stride);
  Pairs<V> f3 = in.template load<V>(g + 3 * stride);
  return radix4(f0, f1, f2, f3);
}

// The first pass runs over neighbouring sequences, because a sequence is one value long.
template <class V, class Source, class Sink>
inline void first_pass_radix4(Source in, Sink out, int n) {
  for (int g = 0; g < n / 4; g += V::kLanes) {
    Radix4<V> y = first_butterfly<V>(in, g, n / 4);
    gather(y);
    store_quarters(out, 4 * g, y);
  }
}

template <class V, class Source, class Sink>
inline void first_pass_radix8(Source in, Sink out, int n) {
  for (int g = 0; g < n / 8; g += V::kLanes) {
    Radix4<V> even = first_butterfly<V>(in, g, n / 4);
    Radix4<V> odd = first_butterfly<V>(in, g + n / 8, n / 4);
    Radix8<V> y = radix8(even, odd);
    gather(y.low);
    gather(y.high);
    store_halves(out, 8 * g, y.low.y0, y.high.y0, 0);
    store_halves(out, 8 * g, y.low.y1, y.high.y1, 1);
    store_halves(out, 8 * g, y.low.y2, y.high.y2, 2);
    store_halves(out, 8 * g, y.low.y3, y.high.y3, 3);
  }
}

template <class V>
struct Twiddles {
  Pairs<V> w1, w2, w3;

  Twiddles(const Complex* line, int j, int m)
      : w1(V::load_pairs(line + j)),
        w2(V::load_pairs(line + m + j)),
        w3(V::load_pairs(line + 2 * m + j)) {}
};

template <class V, class Source, class Sink>
[[gnu::always_inline]] inline void later_butterfly(Source in, Sink out, int from, int quarter,
                                                   int to, int m, const Twiddles<V>& w) {
  Pairs<V> t1 = in.template load<V>(from + quarter) * w.w1;
  Pairs<V> t3 = in.template load<V>(from + 3 * quarter) * w.w3;
  Pairs<V> c = t1 + t3;
  Pairs<V> d = t1 - t3;
  Pairs<V> t2 = in.template load<V>(from + 2 * quarter) * w.w2;
  Pairs<V> t0 = in.template load<V>(from);
  Pairs<V> a = t0 + t2;
  Pairs<V> b = t0 - t2;
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
    Twiddles<V> w(line, j, m);
    for (int from = j, to = j; from < quarter; from += m, to += 4 * m) {
      later_butterfly<V>(in, out, from, quarter, to, m, w);
    }
  }
}

// The same where one vector holds several sequences of kM values.
template <int kM, class V, class Source, class Sink>
inline void short_pass(Source in, Sink out, const Complex* line, int n) {
  static_assert(V::kLanes % kM == 0);
  const int quarter = n / 4;
  Pairs<V> w1 = simd::load_repeated<V, kM>(line);
  Pairs<V> w2 = simd::load_repeated<V, kM>(line + kM);
  Pairs<V> w3 = simd::load_repeated<V, kM>(line + 2 * kM);
  for (int from = 0; from < quarter; from += V::kLanes) {
    Pairs<V> t0 = in.template load<V>(from);
    Pairs<V> t1 = in.template load<V>(from + quarter) * w1;
    Pairs<V> t2 = in.template load<V>(from + 2 * quarter) * w2;
    Pairs<V> t3 = in.template load<V>(from + 3 * quarter) * w3;
    Radix4<V> y = radix4(t0, t1, t2, t3);
    interleave<kM>(y.y0.re, y.y1.re, y.y2.re, y.y3.re);
    interleave<kM>(y.y0.im, y.y1.im, y.y2.im, y.y3.im);
    store_quarters(out, 4 * from, y);
  }
}

// One of the two, by the length of the sequences.
template <class V, class Source, class Sink>
[[gnu::always_inline]] inline void pass(Source in, Sink out, const Complex* line, int n, int m) {
  if constexpr (V::kLanes > 4) {
    if (m == 4) return short_pass<4, V>(in, out, line, n);
  }
  if constexpr (V::kLanes > 8) {
    if (m == 8) return short_pass<8, V>(in, out, line, n);
  }
  middle_pass<V>(in, out, line, n, m);
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

// Fewest points for which every pass fills its vectors.
template <class V>
inline constexpr int kFewestPoints = V::kLanes <= 4 ? 16 : 8 * V::kLanes;

// Calls run(V{}) with the widest type of the target that can transform n points.
template <class Run>
[[gnu::always_inline]] inline void with_lanes_for(int n, Run&& run) {
  constexpr int kFour = simd::f32x4::kLanes;  // (clang warns where both types are one)
  if constexpr (simd::Widest::kLanes > kFour) {
    if (n < kFewestPoints<simd::Widest>) return run(simd::f32x4{});
  }
  run(simd::Widest{});
}

// Powers of four start with radix 4, the others with radix 8.
constexpr int first_radix(int n) {
  constexpr unsigned kPowersOfFour = 0x55555555u;
  return (static_cast<unsigned>(n) & kPowersOfFour) != 0 ? 4 : 8;
}

// What stands when only the last pass is left to do.
template <class Area>
struct BeforeLast {
  Area work;
  const Complex* line;  // twiddles of the last pass
};

// All passes but the last: the first from `in` to `a`, the others to and fro between the two work
// areas of n values. `twiddles` holds the lines of the passes after the first. `in` may be the area
// `b`.
template <class V, class Source, class Area>
inline BeforeLast<Area> all_but_last(Source in, Area a, Area b, const Complex* twiddles, int n) {
  int m = first_radix(n);
  if (m == 4) {
    first_pass_radix4<V>(in, a, n);
  } else {
    first_pass_radix8<V>(in, a, n);
  }
  const Complex* line = twiddles;
  for (; 4 * m < n; m *= 4) {
    pass<V>(a, b, line, n, m);
    const Area other = a;
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

// The whole transform.

// exp(-2 pi i jq / 16) for j = 0..3, q = 1, 2, 3, rounded: the line of the second pass of the
// 16-point transform, which takes nothing from a plan.
inline constexpr Complex kSixteenTwiddles[12] = {{1.0f, -0.0f},
                                                 {0.92387953f, -0.38268343f},
                                                 {0.70710678f, -0.70710678f},
                                                 {0.38268343f, -0.92387953f},
                                                 {1.0f, -0.0f},
                                                 {0.70710678f, -0.70710678f},
                                                 {0.0f, -1.0f},
                                                 {-0.70710678f, -0.70710678f},
                                                 {1.0f, -0.0f},
                                                 {0.38268343f, -0.92387953f},
                                                 {-0.70710678f, -0.70710678f},
                                                 {-0.92387953f, 0.38268343f}};

// The lines of the passes after the first.
constexpr const Complex* lines_of(int n, const Complex* from_plan) {
  return n == 16 ? kSixteenTwiddles : from_plan;
}

// The last pass must not read from `out`, whose layout is another one; the passes before it may
// use it as their second work area.
template <class V, class Source, class Sink>
inline void complex_transform(const Source& in, const Sink& sink, Complex* out, Complex* buffer,
                              const Complex* twiddles, int n) {
  Work<V> a(buffer, n);
  Work<V> b(out, n);
  if (ends_in_second(n)) {
    const Work<V> other = a;
    a = b;
    b = other;
  }
  const BeforeLast<Work<V>> rest = all_but_last<V>(in, a, b, lines_of(n, twiddles), n);
  last_pass<V>(rest.work, sink, rest.line, n);
}

template <class V>
inline void complex_forward(Complex* out, const Complex* in, Complex* buffer,
                            const Complex* twiddles, int n) {
  complex_transform<V>(Input{in}, Output{out}, out, buffer, twiddles, n);
}

template <class V>
inline void complex_inverse(Complex* out, const Complex* in, Complex* buffer,
                            const Complex* twiddles, int n) {
  using Sink = Exchanged<Scaled<Output>>;
  const float gain = 1.0f / static_cast<float>(n);
  complex_transform<V>(Exchanged<Input>{{in}}, Sink{{{out}, gain}}, out, buffer, twiddles, n);
}

}  // namespace fft
}  // namespace VEKBF_TARGET
}  // namespace vekbf
