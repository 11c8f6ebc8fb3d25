// SPDX-License-Identifier: MIT
#include "report.h"

#include <nlohmann/json.hpp>

namespace vekbf_tool {

std::string as_json(const RunSetup& run, const Report& report) {
  const RunCounts& counts = report.counts;
  const double duration = static_cast<double>(counts.frames) / report.sampleRate;
  nlohmann::ordered_json line = {
      {"inputs", run.input.files},
      {"output", run.output},
      {"duration_s", duration},
      {"real_time_factor", nullptr},
      {"blocks", counts.blocks},
      {"zero_blocks", counts.zeroBlocks},
      {"clipped_samples", counts.clipped},
      {"wraps", counts.wraps},
      {"pre_gain_without_wraps_db", nullptr},
  };
  if (duration > 0) line["real_time_factor"] = report.elapsed / duration;
  if (report.preGainWithoutWraps) {
    line["pre_gain_without_wraps_db"] = *report.preGainWithoutWraps;
  }
  // A file name is any bytes, JSON is UTF-8: what is no UTF-8 becomes U+FFFD.
  constexpr int kOneLine = -1;
  return line.dump(kOneLine, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace vekbf_tool
