// SPDX-License-Identifier: MIT
//
// The instruction set that a translation unit is compiled for names a namespace of its own: every
// template and inline function of the lane layer and of the code written over it lives there.
//
// Two objects of one program may be compiled for different instruction sets. An inline function of
// the same name in both would be kept once by the linker, perhaps the one with the wider
// instructions, and end the program on a processor without them. So such functions are declared in
//   namespace vekbf { inline namespace VEKBF_TARGET { ... } }
// which callers of the same translation unit need not write out.
#pragma once

#if defined(VEKBF_PORTABLE_LANES)
// The portable backend with another number of lanes than four, beside the library's own: for tests.
#define VEKBF_TARGET_OF_LANES(lanes) on_portable##lanes
#define VEKBF_EXPANDED_TARGET_OF_LANES(lanes) VEKBF_TARGET_OF_LANES(lanes)
#define VEKBF_TARGET VEKBF_EXPANDED_TARGET_OF_LANES(VEKBF_PORTABLE_LANES)
#elif defined(VEKBF_PORTABLE)
#define VEKBF_TARGET on_portable
#elif defined(VEKBF_FOR_AVX2)
// The kernels once more, beside those of the build's own target: see base/kernels.h.
#define VEKBF_TARGET on_avx2
#define VEKBF_TARGET_SSE2
#define VEKBF_TARGET_AVX2
#elif defined(__ARM_NEON) && (defined(__aarch64__) || defined(__arm__))
#define VEKBF_TARGET on_neon
#define VEKBF_TARGET_NEON
#elif defined(__wasm_simd128__)
#define VEKBF_TARGET on_wasm
#define VEKBF_TARGET_WASM
#elif defined(__SSE2__)
#define VEKBF_TARGET on_sse2
#define VEKBF_TARGET_SSE2
#else
#define VEKBF_TARGET on_portable
#endif
