// SPDX-License-Identifier: MIT
//
// Writes digests.txt anew, on standard output. It is linked with the plain model alone: the library
// has no part in what it is compared with. Arguments, if any, are the
// beginnings of the names of scenes to choose.
#include <cstdio>

#include "vectors/digest_file.h"
#include "vectors/model_engine.h"

int main(int count, char** arguments) {
  using namespace vekbf::test;
  std::puts("# Made by make_digests from the plain model; see tests/vectors/digest_file.h.");
  std::puts("# name blocks input output saturated-samples state-every-100-blocks-and-at-the-end");
  for (const Scene& scene : scenes()) {
    bool chosen = count < 2;
    for (int i = 1; i < count; ++i) {
      chosen = chosen || scene.name.starts_with(arguments[i]);
    }
    if (chosen) std::puts(line_of(scene, digest_of(scene, kModel)).c_str());
  }
  return 0;
}
