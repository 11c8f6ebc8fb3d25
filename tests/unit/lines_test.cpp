// SPDX-License-Identifier: MIT
//
// Each line leaves with one call of the C library, so that lines of two instances in two threads
// never mix. The linker's --wrap sends the library's calls through the functions below.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <functional>

#include "support/beam.h"

namespace {
int calls = 0;
}

extern "C" {
int __real_puts(const char* line);
int __real_putchar(int character);
int __wrap_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
int __wrap___printf_chk(int flag, const char* format, ...) __attribute__((format(printf, 2, 3)));

int __wrap_printf(const char* format, ...) {
  ++calls;
  va_list values;
  va_start(values, format);
  const int count = vprintf(format, values);
  va_end(values);
  return count;
}
// What printf is in a build with _FORTIFY_SOURCE.
int __wrap___printf_chk(int /*flag*/, const char* format, ...) {
  ++calls;
  va_list values;
  va_start(values, format);
  const int count = vprintf(format, values);
  va_end(values);
  return count;
}
int __wrap_puts(const char* line) {
  ++calls;
  return __real_puts(line);
}
int __wrap_putchar(int character) {
  ++calls;
  return __real_putchar(character);
}
}

namespace vekbf::test {
namespace {

void expect_one_call_per_line(const char* what, int lines, const std::function<void()>& call) {
  int used = 0;
  const std::string text = printed([&] {
    calls = 0;
    call();
    used = calls;
  });
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), lines) << what << ":\n" << text;
  EXPECT_EQ(used, lines) << what;
}

TEST(Lines, LeaveWithOneCallEach) {
  const VekBfInit array = array_of(4, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_CIRCULAR_ARRAY);
  WorkBuffer buffer;
  Block in(4 * kHopSize), out(kHopSize);
  VekBfHandle beam = VekBf_Init(buffer.get(), &array);
  expect_one_call_per_line("version", 1, [] { VekBf_GetLibVersion(); });
  expect_one_call_per_line("buffer size", 1, [] { VekBf_GetBufferSize(); });
  expect_one_call_per_line("init", 1, [] { VekBf_Init(nullptr, nullptr); });
  expect_one_call_per_line("null handle", 1, [] { VekBf_Free(nullptr); });
  in[0] = 1;
  // Four forward transforms, the geometry, the detector, the inverse transform.
  expect_one_call_per_line("unconfigured block", 7,
                           [&] { VekBf_Run(beam, in.data(), out.data(), 0); });
  expect_one_call_per_line("release before configuration", 1, [&] { VekBf_Free(beam); });
  beam = VekBf_Init(buffer.get(), &array);
  const VekBfConfig bad{2.0f, 0};
  expect_one_call_per_line("refused configuration", 1, [&] { VekBf_SetConfig(beam, &bad); });
  expect_one_call_per_line("configuration", 1, [&] { VekBf_SetConfig(beam, &kConfig); });
  expect_one_call_per_line("report", 14, [&] { VekBf_GetConfig(beam); });
  expect_one_call_per_line("block", 1, [&] { VekBf_Run(beam, in.data(), out.data(), 0); });
  in[0] = 0;
  expect_one_call_per_line("zero block", 1, [&] { VekBf_Run(beam, in.data(), out.data(), 0); });
  VekBf_Free(beam);
}

}  // namespace
}  // namespace vekbf::test
