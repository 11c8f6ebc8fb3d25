// SPDX-License-Identifier: MIT
#include "fuzz/target.h"

#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vekbf::fuzz {

namespace {

struct Count {
  const char* what;
  uint64_t number;
};
constexpr int kMaxCounts = 16;
// Of the whole program, and there when it ends.
Count counts[kMaxCounts];
char failure_note[400];

Count& count_of(const char* what) {
  for (Count& entry : counts) {
    if (entry.what == nullptr) entry = {what, 0};
    if (std::strcmp(entry.what, what) == 0) return entry;
  }
  fail("no room for another count:", what);
}

void print_counts() {
  std::fprintf(stderr, "counted:");
  for (const Count& entry : counts) {
    if (entry.what == nullptr) break;
    std::fprintf(stderr, " %llu %s;", static_cast<unsigned long long>(entry.number), entry.what);
  }
  std::fprintf(stderr, "\n");
}

}  // namespace

void silence_standard_output() {
  std::fflush(stdout);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) fail("no /dev/null");
  close(nowhere);
}

void fail(const char* what, const char* detail) {
  std::fprintf(stderr, "FOUND: %s %s\n%s", what, detail, failure_note);
  std::abort();
}

void note_for_failure(const std::string& note) {
  std::snprintf(failure_note, sizeof failure_note, "%s\n", note.c_str());
}

void tally(const char* what, uint64_t number) { count_of(what).number += number; }
uint64_t tallied(const char* what) { return count_of(what).number; }

float Input::any_float() { return std::bit_cast<float>(word()); }

}  // namespace vekbf::fuzz

// Every target prints through the library.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  vekbf::fuzz::silence_standard_output();
  if (std::atexit(vekbf::fuzz::print_counts) != 0)
    vekbf::fuzz::fail("no place for another handler");
  return 0;
}
