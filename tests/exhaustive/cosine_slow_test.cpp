// SPDX-License-Identifier: MIT
//
// The cosine of every look direction, 2^31 angles and zero (the negative ones have the same),
// against the mathematics library: never more than a unit in the last place apart, and equal to
// glibc's in a whole turn either way. Takes about two minutes a thread on a desktop core.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <thread>
#include <vector>

#include "math/cosine.h"

namespace vekbf {
namespace {

constexpr double kRadiansPerDegree = 0.017453292519943295;

#ifdef VEKBF_EMULATED
constexpr int64_t kStep = 127;
#else
constexpr int64_t kStep = 1;
#endif

TEST(CosineExhaustive, EveryAngle) {
  constexpr int64_t kLast = -int64_t{INT32_MIN};
  std::atomic<uint64_t> other{0};
  std::atomic<uint64_t> apart{0};
  const int64_t workers = std::max(1u, std::thread::hardware_concurrency());
  const auto walk = [&](int64_t worker) {
    uint64_t differ = 0;
    uint64_t far = 0;
    for (int64_t angle = worker * kStep; angle <= kLast; angle += workers * kStep) {
      const double x = static_cast<double>(angle) * kRadiansPerDegree;
      const double ours = cosine(x);
      const double theirs = std::cos(x);
      if (ours == theirs) continue;
      ++differ;
      far += ours != std::nextafter(theirs, ours);
    }
    other += differ;
    apart += far;
  };
  std::vector<std::thread> threads;
  for (int64_t w = 0; w < workers; ++w) threads.emplace_back(walk, w);
  for (std::thread& thread : threads) thread.join();
  std::printf("%lld angles, %llu of them a unit from the mathematics library's\n",
              static_cast<long long>(kLast / kStep + 1), static_cast<unsigned long long>(other));
  EXPECT_EQ(apart, 0u);
}

#ifdef __GLIBC__
TEST(CosineExhaustive, EveryAngleOfATurnIsGlibcs) {
  for (int32_t angle = -360; angle <= 360; ++angle) {
    const double x = angle * kRadiansPerDegree;
    EXPECT_EQ(cosine(x), std::cos(x)) << angle;
  }
}
#endif

}  // namespace
}  // namespace vekbf
