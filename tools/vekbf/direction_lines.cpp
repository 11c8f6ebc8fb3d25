// SPDX-License-Identifier: MIT
#include "direction_lines.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace vekbf_tool {

namespace {

constexpr long long kMicros = 1000000;

std::string text_line(long long micros, const VekDirState& state) {
  char line[96];
  std::snprintf(line, sizeof line, "%lld.%06lld %d  # confidence %.2f\n", micros / kMicros,
                micros % kMicros, state.angle, static_cast<double>(state.confidence));
  return line;
}

std::string json_line(long long micros, const VekDirState& state) {
  const nlohmann::ordered_json line = {
      {"seconds", static_cast<double>(micros) / kMicros},
      {"degrees", state.angle},
      {"confidence", state.confidence},
      {"heard", state.heard != 0},
  };
  return line.dump() + "\n";
}

}  // namespace

bool DirectionLines::is_due(long long frames, const VekDirState& state) {
  if (every_ == 0) return state.angle != angle_;
  const auto steps = static_cast<long long>(static_cast<double>(frames) / rate_ / every_);
  const bool due = steps > steps_;
  steps_ = steps;
  return due;
}

void DirectionLines::after_block(long long frames, const VekDirState& state) {
  const bool due = is_due(frames, state);
  if (state.angle < 0) return;
  angle_ = state.angle;
  if (!due) return;
  const long long micros = frames * kMicros / rate_;
  write_(json_ ? json_line(micros, state) : text_line(micros, state));
}

}  // namespace vekbf_tool
