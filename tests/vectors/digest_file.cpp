// SPDX-License-Identifier: MIT
#include "vectors/digest_file.h"

#include <fstream>
#include <iomanip>
#include <sstream>

namespace vekbf::test {

std::string line_of(const Scene& scene, const SceneDigest& digest) {
  std::ostringstream line;
  const auto hexadecimal = [&](uint64_t value) {
    line << ' ' << std::hex << std::setw(16) << std::setfill('0') << value << std::dec;
  };
  line << scene.name << ' ' << scene.blocks;
  hexadecimal(digest.input);
  hexadecimal(digest.output);
  line << ' ' << digest.saturated;
  for (const uint64_t state : digest.states) hexadecimal(state);
  return line.str();
}

std::map<std::string, StoredScene> read_digests(const std::string& path) {
  std::map<std::string, StoredScene> stored;
  std::ifstream file(path);
  std::string line;
  while (std::getline(file, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream words(line);
    std::string name;
    StoredScene scene;
    SceneDigest& digest = scene.digest;
    words >> name >> scene.blocks >> std::hex >> digest.input >> digest.output >> std::dec >>
        digest.saturated >> std::hex;
    if (!words) return {};
    for (uint64_t state; words >> state;) digest.states.push_back(state);
    if (!words.eof() || !stored.emplace(name, scene).second) return {};
  }
  return stored;
}

}  // namespace vekbf::test
