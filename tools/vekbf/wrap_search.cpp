// SPDX-License-Identifier: MIT
#include "wrap_search.h"

#include "beam_run.h"
#include "input_output.h"
#include "no_sink.h"
#include "progress.h"
#include "text.h"

namespace vekbf_tool {

namespace {

RunCounts attempt(const RunSetup& run, const std::string& gain) {
  Settings settings = run.settings;
  settings.set("pre-gain", gain);
  std::unique_ptr<Source> input = open_source(run.input, settings);
  if (run.label.empty()) {
    input = std::make_unique<ProgressSource>(std::move(input), "trying " + gain + " dB, ");
  }
  NoSink nowhere;
  return run_beam(settings, *input, nowhere, Until::firstWrap);
}

}  // namespace

std::optional<double> find_gain_without_wraps(const RunSetup& run) {
  constexpr double kStep = 3.0;
  constexpr double kLowest = -24.0;
  for (double gain = run.settings.number("pre-gain") - kStep; gain >= kLowest; gain -= kStep) {
    const RunCounts counts = attempt(run, plain_number(gain));
    if (counts.cutShort) return std::nullopt;
    if (counts.wraps == 0) return gain;
  }
  return std::nullopt;
}

}  // namespace vekbf_tool
