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
