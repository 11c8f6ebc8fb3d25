// SPDX-License-Identifier: MIT
#include "report.h"

#include <cstdio>

namespace vekbf_tool {

namespace {

std::string quoted(const std::string& text) {
  std::string json(1, '"');
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      json += escape;
      continue;
    }
    if (c == '"' || c == '\\') json += '\\';
    json += c;
  }
  return json + '"';
}

std::string number_or_null(bool known, double number) {
  if (!known) return "null";
  char text[40];
  std::snprintf(text, sizeof text, "%.6f", number);
  return text;
}

}  // namespace

std::string as_json(const Arguments& arguments, const Report& report) {
  const RunCounts& counts = report.counts;
  const double duration = static_cast<double>(counts.frames) / report.sampleRate;
  std::string inputs;
  for (const std::string& input : arguments.inputs) {
    inputs += (inputs.empty() ? "" : ", ") + quoted(input);
  }
  std::string json = "{\"inputs\": [" + inputs + "], \"output\": " + quoted(arguments.output);
  json += ", \"duration_s\": " + number_or_null(true, duration);
  json += ", \"real_time_factor\": " + number_or_null(duration > 0, report.elapsed / duration);
  json += ", \"blocks\": " + std::to_string(counts.blocks);
  json += ", \"zero_blocks\": " + std::to_string(counts.zeroBlocks);
  json += ", \"clipped_samples\": " + std::to_string(counts.clipped);
  json += ", \"wraps\": " + std::to_string(counts.wraps);
  json +=
      ", \"pre_gain_without_wraps_db\": " + number_or_null(report.preGainWithoutWraps.has_value(),
                                                           report.preGainWithoutWraps.value_or(0));
  return json + "}";
}

}  // namespace vekbf_tool
