// SPDX-License-Identifier: MIT
#include "direction/digest_file.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace vekbf::test {

std::string line_of(const DirectionScene& scene, const DirectionDigest& digest) {
  char numbers[128];
  std::snprintf(numbers, sizeof numbers, " %d %016" PRIx64 " %016" PRIx64 " %016" PRIx64 " %d",
                scene.blocks, digest.input, digest.states, digest.maps, digest.angles);
  return scene.name + numbers;
}

std::map<std::string, StoredDirection> read_direction_digests(const std::string& path) {
  std::map<std::string, StoredDirection> scenes;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream words(line);
    std::string name;
    StoredDirection stored;
    words >> name >> stored.blocks >> std::hex >> stored.digest.input >> stored.digest.states >>
        stored.digest.maps >> std::dec >> stored.digest.angles;
    if (!words) return {};
    scenes[name] = stored;
  }
  return scenes;
}

}  // namespace vekbf::test
