// SPDX-License-Identifier: MIT
#include "support/digest.h"

#include <gtest/gtest.h>

#include <string>

namespace vekbf::test {
namespace {

uint64_t digest_of(const std::string& text) {
  Digest digest;
  for (const char c : text) digest.byte(static_cast<uint8_t>(c));
  return digest.value();
}

// The test vectors that the makers of FNV publish.
TEST(Digest, GivesThePublishedValues) {
  EXPECT_EQ(digest_of(""), 0xcbf29ce484222325u);
  EXPECT_EQ(digest_of("a"), 0xaf63dc4c8601ec8cu);
  EXPECT_EQ(digest_of("b"), 0xaf63df4c8601f1a5u);
  EXPECT_EQ(digest_of("foobar"), 0x85944171f73967e8u);
}

TEST(Digest, TakesSamplesLowByteFirst) {
  const int16_t samples[] = {0x6f66, 0x626f, 0x7261};  // "foobar"
  Digest digest;
  digest.samples(samples, 3);
  EXPECT_EQ(digest.value(), 0x85944171f73967e8u);
}

}  // namespace
}  // namespace vekbf::test
