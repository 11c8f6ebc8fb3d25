// SPDX-License-Identifier: MIT
//
// What a call prints. The library's lines go to standard output; standard error must stay empty.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace vekbf::test {

template <class Call>
std::string printed(Call&& call) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  call();
  const std::string out = testing::internal::GetCapturedStdout();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  return out;
}

// For calls that contain assertions of their own.
template <class Call>
void expect_printed(const std::string& expected, Call&& call, const char* file = __builtin_FILE(),
                    int line = __builtin_LINE()) {
  const testing::ScopedTrace trace(file, line, "called here");
  EXPECT_EQ(printed(call), expected);
}

// The one line that a successful configuration prints.
inline constexpr const char* kConfiguredLine = "[ALGO_MSG_MSG, fft_init] NEON ENABLE\n";

inline std::string error_line(const std::string& function, const std::string& message) {
  return "[ALGO_MSG_ERR, " + function + "] " + message + "\n";
}

}  // namespace vekbf::test
