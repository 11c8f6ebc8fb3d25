// SPDX-License-Identifier: MIT
//
// std::bit_cast for a C++ library that is older than it; included by the compiler's command line
// before every C++ source (cmake/wasm.cmake).
#pragma once

#ifdef __cplusplus
#include <version>
#if !defined(__cpp_lib_bit_cast)
#include <bit>
namespace std {
template <class To, class From>
constexpr To bit_cast(const From& from) noexcept {
  static_assert(sizeof(To) == sizeof(From), "one value for the other");
  return __builtin_bit_cast(To, from);
}
}  // namespace std
#endif
#endif
