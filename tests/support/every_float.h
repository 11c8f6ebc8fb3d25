// SPDX-License-Identifier: MIT
//
// Walks over ranges of floats, in groups for the lanes and on all processors.
#pragma once

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdint>
#include <thread>
#include <vector>

namespace vekbf::test {

// Calls check(group) for the floats from `first` to `last` (both positive), `step` apart, in groups
// of kLanes; the last group repeats `last`. Returns the sum of what check returned.
template <int kLanes, class Check>
uint64_t for_every_float(float first, float last, uint32_t step, Check check,
                         unsigned workers = 0) {
  if (workers == 0) workers = std::max(1u, std::thread::hardware_concurrency());
  const uint64_t begin = std::bit_cast<uint32_t>(first);
  const uint64_t end = std::bit_cast<uint32_t>(last);
  const uint64_t stride = uint64_t{step} * kLanes;
  std::atomic<uint64_t> total{0};
  const auto walk = [&](unsigned worker) {
    uint64_t mine = 0;
    for (uint64_t at = begin + worker * stride; at <= end; at += workers * stride) {
      float group[kLanes];
      for (uint64_t i = 0; i < kLanes; ++i) {
        group[i] = std::bit_cast<float>(static_cast<uint32_t>(std::min(at + i * step, end)));
      }
      mine += check(group);
    }
    total += mine;
  };
  if (workers == 1) {
    walk(0);
    return total;
  }
  std::vector<std::thread> threads;
  for (unsigned w = 0; w < workers; ++w) threads.emplace_back(walk, w);
  for (std::thread& thread : threads) thread.join();
  return total;
}

}  // namespace vekbf::test
