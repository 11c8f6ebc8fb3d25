// SPDX-License-Identifier: MIT
//
// digests.txt: a line per scene,
//   name blocks input states maps angles
// numbers decimal, digests in 16 hexadecimal digits; lines that begin with # are comments.
#pragma once

#include <map>
#include <string>

#include "direction/scene.h"

namespace vekbf::test {

struct StoredDirection {
  int blocks = 0;
  DirectionDigest digest = {};
};

std::string line_of(const DirectionScene& scene, const DirectionDigest& digest);

// The scenes of a file by name; empty if it cannot be read or has a line that is not one.
std::map<std::string, StoredDirection> read_direction_digests(const std::string& path);

}  // namespace vekbf::test
