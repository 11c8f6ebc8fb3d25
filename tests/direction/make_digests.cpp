// SPDX-License-Identifier: MIT
//
// Writes digests.txt anew, on standard output. It is linked with the plain model alone: the library
// has no part in what it is compared with.
#include <cstdio>

#include "direction/digest_file.h"
#include "direction/model_finder.h"

int main() {
  using namespace vekbf::test;
  std::puts(
      "# Made by make_direction_digests from the plain model; see tests/direction/digest_file.h.");
  std::puts("# name blocks input states maps-every-16-blocks different-angles");
  for (const DirectionScene& scene : direction_scenes()) {
    ModelFinder model;
    std::puts(line_of(scene, digest_of(scene, model)).c_str());
  }
  return 0;
}
