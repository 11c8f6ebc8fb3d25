// SPDX-License-Identifier: MIT
//
// What a call prints. The library's lines go to standard output; standard error must stay empty.
#pragma once

#include <gtest/gtest.h>

#include <source_location>
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
void expect_printed(const std::string& expected, Call&& call,
                    std::source_location place = std::source_location::current()) {
  const testing::ScopedTrace trace(place.file_name(), static_cast<int>(place.line()),
                                   "called here");
  EXPECT_EQ(printed(call), expected);
}

// The one line that a successful configuration prints.
inline constexpr const char* kConfiguredLine = "[ALGO_MSG_MSG, fft_init] NEON ENABLE\n";

inline std::string error_line(const std::string& function, const std::string& message) {
  return "[ALGO_MSG_ERR, " + function + "] " + message + "\n";
}

}  // namespace vekbf::test
