// SPDX-License-Identifier: MIT
#include "wrap_search.h"

#include "beam_run.h"
#include "input_output.h"
#include "progress.h"
#include "text.h"
#include "wraps.h"

namespace vekbf_tool {

namespace {

struct Wrapped {};

// Takes nothing, and ends the run at the first wrap.
class UpToFirstWrap : public Sink {
 public:
  void write(const std::int16_t* samples, std::size_t count) override {
    if (wraps_.count(samples, count) > 0) throw Wrapped();
  }
  void commit() override {}
  std::string finish_interrupted() override { return "nowhere"; }

 private:
  WrapCount wraps_;
};

enum class Outcome { clean, wraps, interrupted };

Outcome attempt(const Arguments& arguments, double gain) {
  std::unique_ptr<Source> input = open_source(arguments);
  if (arguments.label.empty()) {
    input = std::make_unique<ProgressSource>(std::move(input),
                                             "trying " + plain_number(gain) + " dB, ");
  }
  UpToFirstWrap sink;
  try {
    return run_beam(arguments, gain, *input, sink).cutShort ? Outcome::interrupted : Outcome::clean;
  } catch (const Wrapped&) {
    return Outcome::wraps;
  }
}

}  // namespace

std::optional<double> find_gain_without_wraps(const Arguments& arguments) {
  constexpr double kStep = 3.0;
  constexpr double kLowest = -24.0;
  for (double gain = arguments.preGain - kStep; gain >= kLowest; gain -= kStep) {
    switch (attempt(arguments, gain)) {
      case Outcome::clean:
        return gain;
      case Outcome::interrupted:
        return std::nullopt;
      case Outcome::wraps:
        break;
    }
  }
  return std::nullopt;
}

}  // namespace vekbf_tool
