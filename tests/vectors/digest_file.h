// SPDX-License-Identifier: MIT
//
// digests.txt: a line per scene,
//   name blocks input output saturated state state ...
// numbers decimal, digests in 16 hexadecimal digits; lines that begin with # are comments.
#pragma once

#include <map>
#include <string>

#include "vectors/player.h"

namespace vekbf::test {

struct StoredScene {
  int blocks = 0;
  SceneDigest digest;
};

std::string line_of(const Scene& scene, const SceneDigest& digest);

// The scenes of a file by name; empty if it cannot be read or has a line that is not one.
std::map<std::string, StoredScene> read_digests(const std::string& path);

}  // namespace vekbf::test
