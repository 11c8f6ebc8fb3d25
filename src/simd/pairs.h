// SPDX-License-Identifier: MIT
#pragma once

#include "base/target.h"

namespace vekbf {
inline namespace VEKBF_TARGET {
namespace simd {

// Complex values, one per lane: real parts in one vector, imaginary parts in another.
template <class V>
struct Pairs {
  V re;
  V im;
};

template <class V>
inline Pairs<V> operator+(Pairs<V> a, Pairs<V> b) {
  return {a.re + b.re, a.im + b.im};
}

template <class V>
inline Pairs<V> operator-(Pairs<V> a, Pairs<V> b) {
  return {a.re - b.re, a.im - b.im};
}

// a b, each part two rounded products and one rounded sum.
template <class V>
inline Pairs<V> operator*(Pairs<V> a, Pairs<V> b) {
  return {minus_product(a.re * b.re, a.im, b.im), plus_product(a.re * b.im, a.im, b.re)};
}

// a conj(b).
template <class V>
inline Pairs<V> times_conj(Pairs<V> a, Pairs<V> b) {
  return {plus_product(a.re * b.re, a.im, b.im), minus_product(a.im * b.re, a.re, b.im)};
}

template <class V>
inline Pairs<V> operator*(V gain, Pairs<V> a) {
  return {gain * a.re, gain * a.im};
}

}  // namespace simd
}  // namespace VEKBF_TARGET
}  // namespace vekbf
