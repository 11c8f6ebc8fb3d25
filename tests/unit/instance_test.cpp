// SPDX-License-Identifier: MIT
#include "base/instance.h"

#include <gtest/gtest.h>

#include <climits>

#include "support/beam.h"
#include "support/records.h"

namespace vekbf::test {
namespace {

constexpr size_t kPointers = 2 * sizeof(void*);

// Visits the regions in record order: each must begin where the one before it ends. The two owned
// pointers stand between algorithm and reserved, and are aligned.
TEST(InstanceRecord, HoldsItsRegionsInOrderWithoutGaps) {
  Beam beam(array_of(1));
  const Instance& record = beam.record();
  size_t end = 0;
  int fields = 0;
  visit_fields([&](const char* name, auto field) {
    const auto begin = static_cast<size_t>(reinterpret_cast<const char*>(&(record.*field)) -
                                           reinterpret_cast<const char*>(&record));
    if (std::string(name) == "reserved") {
      end = (end + sizeof(void*) - 1) / sizeof(void*) * sizeof(void*) + kPointers;
    }
    EXPECT_EQ(begin, end) << name;
    end = begin + sizeof(record.*field);
    ++fields;
  });
  EXPECT_EQ(fields, 41);
  EXPECT_EQ(end, sizeof(Instance));
}

TEST(InstanceRecord, RegionsHaveTheirElementCounts) {
  using I = Instance;
  constexpr size_t kBins = 257;
  EXPECT_EQ(sizeof(I::reserved), 4 * sizeof(float));
  EXPECT_EQ(sizeof(I::micPlacement), 4 * sizeof(float));
  EXPECT_EQ(sizeof(I::micDelay), 4 * sizeof(float));
  EXPECT_EQ(sizeof(I::micProjection), 4 * sizeof(float));
  EXPECT_EQ(sizeof(I::steerTable), 4 * kBins * 8);
  EXPECT_EQ(sizeof(I::micCoordinate), 4 * 8u);
  EXPECT_EQ(sizeof(I::geometry), 4u);
  EXPECT_EQ(sizeof(I::presenceGain), kBins * 4);
  EXPECT_EQ(sizeof(I::blockPowerSum), kBins * 4);
  EXPECT_EQ(sizeof(I::blockWeights), 4 * kBins * 8);
  EXPECT_EQ(sizeof(I::cancelWeights), 4 * kBins * 8);
  EXPECT_EQ(sizeof(I::blockOutput), 4 * kBins * 8);
  EXPECT_EQ(sizeof(I::fixedBeam), kBins * 8);
  EXPECT_EQ(sizeof(I::outputOverlap), 512 * sizeof(int16_t));
  EXPECT_EQ(sizeof(I::beamPower), kBins * 4);
  EXPECT_EQ(sizeof(I::micHistory), 4 * 512 * sizeof(float));
  EXPECT_EQ(sizeof(I::fftScratch), 4 * 512 * sizeof(float));
  EXPECT_EQ(sizeof(I::micSpectrum), 4 * kBins * 8);
  EXPECT_EQ(sizeof(I::savedSpectrum), 4 * kBins * 8);
}

TEST(InstanceRecord, FitsTheWorkingBuffer) {
  EXPECT_EQ(kWorkBufferSize, 82352u);
  // Twelve bytes are spare with 4-byte pointers; 8-byte ones and their alignment take them up.
  EXPECT_EQ(kWorkBufferSize - sizeof(Instance), sizeof(void*) == 4 ? 12u : 0u);
}

TEST(InstanceRecord, TouchesAtMostTheRowsThatExist) {
  const auto rows = [](int32_t mics) {
    Beam beam(array_of(mics));
    return row_count(beam.record());
  };
  for (int32_t mics = 0; mics <= 4; ++mics) EXPECT_EQ(rows(mics), mics);
  EXPECT_EQ(rows(5), 4);
  EXPECT_EQ(rows(INT_MAX), 4);
  EXPECT_EQ(rows(-1), 0);
  EXPECT_EQ(rows(INT_MIN), 0);
}

}  // namespace
}  // namespace vekbf::test
