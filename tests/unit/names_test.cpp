// SPDX-License-Identifier: MIT
#include "api/names.h"

#include <gtest/gtest.h>

#include <climits>

namespace vekbf::test {
namespace {

TEST(Names, GeometriesAreCalledByTheirEnumerators) {
  EXPECT_STREQ(geometry_name(0), "VEK_BF_UNIFORM_LINEAR_ARRAY");
  EXPECT_STREQ(geometry_name(1), "VEK_BF_UNIFORM_TRIANGLE_ARRAY");
  EXPECT_STREQ(geometry_name(2), "VEK_BF_UNIFORM_RECTANGLE_ARRAY");
  EXPECT_STREQ(geometry_name(3), "VEK_BF_UNIFORM_CIRCULAR_ARRAY");
}

TEST(Names, GeometriesOutOfRangeAreUnknown) {
  for (int32_t value : {-1, 4, INT_MIN, INT_MAX}) EXPECT_STREQ(geometry_name(value), "unknown");
}

TEST(Names, AlgorithmsAreCalledByTheirEnumerators) {
  EXPECT_STREQ(algorithm_name(0), "VEK_FIXED_BF");
  EXPECT_STREQ(algorithm_name(1), "VEK_ADAPTIVE_BF");
}

TEST(Names, OtherAlgorithmsAreCalledByTheBeamformerThatRuns) {
  for (int32_t value : {-1, 2, 5, INT_MIN, INT_MAX}) {
    EXPECT_STREQ(algorithm_name(value), "VEK_FIXED_BF");
  }
}

}  // namespace
}  // namespace vekbf::test
