// SPDX-License-Identifier: MIT
#include "wrap_search.h"

#include "beam_run.h"
#include "input_output.h"

namespace vekbf_tool {

namespace {

class NoSink : public Sink {
 public:
  void write(const std::int16_t*, std::size_t) override {}
  void commit() override {}
  std::string abandon() override { return "nowhere"; }
};

}  // namespace

std::optional<double> find_gain_without_wraps(const Arguments& arguments) {
  constexpr double kStep = 3.0;
  constexpr double kLowest = -24.0;
  for (double gain = arguments.preGain - kStep; gain >= kLowest; gain -= kStep) {
    const std::unique_ptr<Source> input = open_source(arguments);
    NoSink nowhere;
    const RunCounts counts = run_beam(arguments, gain, *input, nowhere);
    if (counts.cutShort) return std::nullopt;
    if (counts.wraps == 0) return gain;
  }
  return std::nullopt;
}

}  // namespace vekbf_tool
