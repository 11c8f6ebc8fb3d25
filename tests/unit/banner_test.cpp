// SPDX-License-Identifier: MIT
#include "api/banner.h"

#include <gtest/gtest.h>

#include "support/printed.h"
#include "vek_bf.h"

namespace vekbf::test {
namespace {

constexpr const char* kBanner = "Tolvane BF Algorithm Library Version: 2022-11-29, v2.0.0\n";

TEST(Banner, IsABareLine) {
  EXPECT_EQ(printed([] { print_banner(); }), kBanner);
}

TEST(Banner, GetLibVersionReturnsTheCharactersPrinted) {
  int32_t count = 0;
  const std::string line = printed([&] { count = VekBf_GetLibVersion(); });
  EXPECT_EQ(line, kBanner);
  EXPECT_EQ(count, 57);
  EXPECT_EQ(count, static_cast<int32_t>(line.size()));
}

}  // namespace
}  // namespace vekbf::test
