// SPDX-License-Identifier: MIT
#include "base/log.h"

#include <gtest/gtest.h>

#include <string>

namespace vekbf::test {
namespace {

template <class Print>
std::string printed(Print print) {
  ::testing::internal::CaptureStderr();
  ::testing::internal::CaptureStdout();
  print();
  const std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  return out;
}

TEST(LogLine, HasItsTagItsFunctionItsTextAndANewline) {
  EXPECT_EQ(printed([] { log_line(Severity::kMessage, "fft_init", "NEON ENABLE"); }),
            "[ALGO_MSG_MSG, fft_init] NEON ENABLE\n");
  EXPECT_EQ(printed([] { log_line(Severity::kWarning, "VekBf_Run", "Zero Frame!"); }),
            "[ALGO_MSG_WRN, VekBf_Run] Zero Frame!\n");
  EXPECT_EQ(printed([] { log_line(Severity::kError, "VekBf_SetConfig", "Invalid Sample Rate"); }),
            "[ALGO_MSG_ERR, VekBf_SetConfig] Invalid Sample Rate\n");
}

TEST(LogLine, AnUnknownSeverityIsAnError) {
  EXPECT_EQ(printed([] { log_line(static_cast<Severity>(3), "do_fft", "text"); }),
            "[ALGO_MSG_ERR, do_fft] text\n");
}

TEST(LogLine, TakesThePercentSignForATextLikeAnyOther) {
  EXPECT_EQ(printed([] { log_line(Severity::kError, "%s", "100 % %n"); }),
            "[ALGO_MSG_ERR, %s] 100 % %n\n");
}

TEST(LogBare, HasNoPrefix) {
  EXPECT_EQ(printed([] { log_bare("Invalid microphone array geometry!"); }),
            "Invalid microphone array geometry!\n");
  EXPECT_EQ(printed([] { log_bare("%d"); }), "%d\n");
}

}  // namespace
}  // namespace vekbf::test
