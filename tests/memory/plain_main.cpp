// SPDX-License-Identifier: MIT
//
//   plain_scenes            plays everything
//   plain_scenes planted X  makes a mistake with the library's memory; see plain.h
#include <stdio.h>
#include <string.h>

#include "memory/plain.h"

namespace vekbf::plain {

namespace {

int failures = 0;
uint32_t seen[256] = {};  // how often each byte was looked at

}  // namespace

void expect(bool condition, const char* what) {
  if (condition) return;
  ++failures;
  fprintf(stderr, "failed: %s\n", what);
}

// A value as an address is what the checkers never let pass. A sum that is compared with something
// they take for known as soon as one of its other bits decides the comparison.
void look_at(const void* memory, size_t size) {
  const auto* bytes = static_cast<const uint8_t*>(memory);
  for (size_t i = 0; i < size; ++i) ++seen[bytes[i]];
}

}  // namespace vekbf::plain

int main(int argc, char** argv) {
  using namespace vekbf::plain;
  // The library's own lines are written, but not to be read.
  if (freopen("/dev/null", "w", stdout) == nullptr) return 1;
  if (argc == 3 && strcmp(argv[1], "planted") == 0) return plant(argv[2]) ? 0 : 2;
  if (argc != 1) return 2;
  play_instances();
  play_refusals();
  play_transforms();
  play_detectors();
  expect(seen[0] > 1000000 && seen[0xd3] > 1000, "much was looked at");
  return failures == 0 ? 0 : 1;
}
