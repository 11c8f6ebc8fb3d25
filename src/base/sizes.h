// SPDX-License-Identifier: MIT
// The sizes that every module shares.
#pragma once

#include <cstdint>

namespace vekbf {

inline constexpr int kFrameSize = 512;  // samples in one analysis frame
inline constexpr int kHopSize = 128;    // new samples per block
inline constexpr int kKeptSize =
    kFrameSize - kHopSize;                            // samples kept when a frame slides by a hop
inline constexpr int kBinCount = kFrameSize / 2 + 1;  // bins 0 (DC) to 256 (Nyquist)
inline constexpr int kMaxMics = 4;
inline constexpr uint32_t kWorkBufferSize = 82352;  // bytes the caller allocates per instance

}  // namespace vekbf
