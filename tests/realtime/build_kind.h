// SPDX-License-Identifier: MIT
//
// What kind of build a test runs in: sanitizers and emulators have a heap, a stack and system calls
// of their own.
#pragma once

namespace vekbf::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEKBF_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define VEKBF_SANITIZED 1
#endif
#endif
#ifndef VEKBF_SANITIZED
#define VEKBF_SANITIZED 0
#endif

inline constexpr bool kSanitized = VEKBF_SANITIZED != 0;
#ifdef VEKBF_EMULATED
inline constexpr bool kEmulated = true;
#else
inline constexpr bool kEmulated = false;
#endif
#ifdef NDEBUG
inline constexpr bool kOptimised = true;
#else
inline constexpr bool kOptimised = false;
#endif

}  // namespace vekbf::test
