// SPDX-License-Identifier: MIT
#include "process.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "beam_run.h"
#include "failure.h"
#include "input_output.h"
#include "interruption.h"
#include "progress.h"
#include "report.h"
#include "text.h"
#include "wrap_search.h"
#include "write_all.h"

namespace vekbf_tool {

namespace {

// What came out of a pipe is gone.
bool can_be_read_again(const Arguments& arguments) {
  return std::all_of(
      arguments.inputs.begin(), arguments.inputs.end(), [&](const std::string& input) {
        std::error_code error;
        return !arguments.readsRaw() && std::filesystem::is_regular_file(input, error);
      });
}

std::string what_helps_against_wraps(const Arguments& arguments, const Report& report) {
  if (!can_be_read_again(arguments) || interrupted()) return "a lower --pre-gain may help";
  if (!arguments.findPreGain) return "a lower --pre-gain may help: --find-pre-gain looks for it";
  if (report.preGainWithoutWraps) {
    return "the first without, in steps of 3 dB, is --pre-gain " +
           plain_number(*report.preGainWithoutWraps);
  }
  return arguments.algorithm == VEK_ADAPTIVE_BF
             ? "no --pre-gain down to -24 dB helps: try --algorithm fixed"
             : "no --pre-gain down to -24 dB helps";
}

void say_notes(const Arguments& arguments, const Report& report) {
  const RunCounts& counts = report.counts;
  if (counts.zeroBlocks > 0) {
    say(arguments.label + "the library dropped " + std::to_string(counts.zeroBlocks) + " of " +
        counted(counts.blocks, "block") +
        " as zero blocks; the last 384 samples before each such pause come out at its end");
  }
  if (counts.clipped > 0) {
    say(arguments.label + "clipped " + counted(counts.clipped, "input sample") +
        " beyond the 16-bit range; a lower --pre-gain leaves them whole");
  }
  if (counts.wraps > 0) {
    say(arguments.label + "the output seems to wrap around " + counted(counts.wraps, "time") +
        "; " + what_helps_against_wraps(arguments, report));
  }
}

Report run_and_keep(const Arguments& arguments, int standardOutput) {
  // The notes on several files at a time would run into the line that shows the progress.
  std::unique_ptr<Source> input = open_source(arguments);
  if (arguments.label.empty()) input = std::make_unique<ProgressSource>(std::move(input));
  Report report;
  report.sampleRate = input->sampleRate();
  const std::unique_ptr<Sink> sink = open_sink(arguments, *input, standardOutput);
  const auto start = std::chrono::steady_clock::now();
  report.counts = run_beam(arguments, arguments.preGain, *input, *sink);
  if (report.counts.cutShort) {
    throw Interruption(arguments.label + "interrupted: what is done so far is in " +
                       sink->finish_interrupted());
  }
  sink->commit();
  report.elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return report;
}

}  // namespace

void process(const Arguments& arguments, int standardOutput) {
  Report report = run_and_keep(arguments, standardOutput);
  if (arguments.findPreGain && report.counts.wraps > 0 && can_be_read_again(arguments)) {
    report.preGainWithoutWraps = find_gain_without_wraps(arguments);
  }
  say_notes(arguments, report);
  const auto stop = [&] {
    throw Interruption(arguments.label + "interrupted when the result was complete");
  };
  if (interrupted()) stop();
  if (!arguments.json) return;
  const int target = arguments.output == "-" ? STDERR_FILENO : standardOutput;
  const std::string line = as_json(arguments, report) + "\n";
  const char* const name = target == STDERR_FILENO ? "standard error" : "standard output";
  if (!write_all(target, line.data(), line.size(), name)) stop();
}

}  // namespace vekbf_tool
