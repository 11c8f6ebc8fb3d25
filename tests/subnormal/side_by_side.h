// SPDX-License-Identifier: MIT
//
// Streams through implementations side by side, and how their states differ.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "subnormal/small_streams.h"
#include "vectors/player.h"

namespace vekbf::test {

// What was seen of a field that was not the same on both sides.
struct FieldDifference {
  int64_t blocks = 0;
  int64_t first = 0;    // block of the stream
  bool beyond = false;  // more than a subnormal against a zero
  float one = 0.0f;     // an example
  float other = 0.0f;
};
using Differences = std::map<std::string, FieldDifference>;

// Adds what differs in the two states after the block of that number.
void compare_states(const Instance& one, const Instance& other, int64_t block, Differences& found);

class Running {
 public:
  Running(const Engine& engine, const VekBfInit& init, const VekBfConfig& config);
  ~Running();
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  const std::vector<int16_t>& run(const std::vector<int16_t>& in, int32_t angle);
  Instance& record() { return *handle_; }

 private:
  const Engine& engine_;
  std::vector<uint64_t> memory_;
  VekBfHandle handle_ = nullptr;
  std::vector<int16_t> out_;
};

}  // namespace vekbf::test
