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
#include "direction_lines.h"
#include "failure.h"
#include "input_output.h"
#include "interruption.h"
#include "part_file.h"
#include "progress.h"
#include "report.h"
#include "text.h"
#include "wrap_search.h"
#include "write_all.h"

namespace vekbf_tool {

namespace {

// A pipe cannot be read a second time.
bool can_be_read_again(const InputSetup& input) {
  return std::all_of(input.files.begin(), input.files.end(), [&](const std::string& file) {
    std::error_code error;
    return !input.readsRaw() && std::filesystem::is_regular_file(file, error);
  });
}

std::string what_helps_against_wraps(const RunSetup& run, const Report& report) {
  if (!can_be_read_again(run.input) || interrupted()) return "a lower --pre-gain may help";
  if (!run.findPreGain) return "a lower --pre-gain may help: --find-pre-gain looks for it";
  if (report.preGainWithoutWraps) {
    return "the first gain without wraps, in steps of 3 dB, is --pre-gain " +
           plain_number(*report.preGainWithoutWraps);
  }
  return run.settings.text("algorithm") == "adaptive"
             ? "no --pre-gain down to -24 dB helps: try --algorithm fixed"
             : "no --pre-gain down to -24 dB helps";
}

std::string number(std::uint64_t count) { return std::to_string(count); }

std::string counted(std::uint64_t count, const std::string& noun) {
  return vekbf_tool::counted(static_cast<long long>(count), noun);
}

void say_counts(const RunSetup& run, const Report& report) {
  const RunCounts& counts = report.counts;
  say(run.label + counted(counts.frames, "frame") + " at " + std::to_string(report.sampleRate) +
      " Hz in " + counted(counts.blocks, "block") + ", " + number(counts.zeroBlocks) +
      " of them zero; " + number(counts.clipped) + " input samples clipped, " +
      number(counts.notNumbers) + " not a number; " + counted(counts.wraps, "wrap"));
}

void say_notes(const RunSetup& run, const Report& report) {
  const RunCounts& counts = report.counts;
  if (run.verbose) say_counts(run, report);
  if (counts.zeroBlocks > 0 && !run.settings.is_on("keep-time")) {
    say(run.label + "the library dropped " + number(counts.zeroBlocks) + " of " +
        counted(counts.blocks, "block") +
        " as zero blocks; the last 384 samples before each such pause come out at its end, unless "
        "--keep-time is given");
  }
  if (counts.clipped > 0) {
    say(run.label + "clipped " + counted(counts.clipped, "input sample") +
        " beyond the 16-bit range; a lower --pre-gain avoids that");
  }
  if (counts.wraps > 0) {
    say(run.label + "the output seems to wrap around " + counted(counts.wraps, "time") + "; " +
        what_helps_against_wraps(run, report));
  }
}

Report run_and_keep(const RunSetup& run) {
  std::unique_ptr<Source> input = open_source(run.input, run.settings);
  // Notes on several files at a time would mix with the progress line.
  if (run.label.empty()) input = std::make_unique<ProgressSource>(std::move(input));
  Report report;
  report.sampleRate = input->sampleRate();
  const std::unique_ptr<Sink> sink = open_sink(run.output, *input);
  const auto start = std::chrono::steady_clock::now();
  std::string angles;
  DirectionLines lines(report.sampleRate, 0, false,
                       [&](const std::string& line) { angles += line; });
  const Listener listener = [&](long long frames, const VekDirState& state) {
    if (frames == 0) angles = "0 " + std::to_string(state.angle) + "  # until a talker is heard\n";
    if (frames > 0) lines.after_block(frames, state);
  };
  report.counts = run_beam(run.settings, *input, *sink, Until::end,
                           run.trackOutput.empty() ? Listener() : listener);
  if (report.counts.cutShort) {
    throw Interruption(run.label + "interrupted: what is done so far is in " +
                       sink->finish_interrupted());
  }
  sink->commit();
  if (!run.trackOutput.empty()) write_file(run.trackOutput, angles);
  report.elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return report;
}

void write_report(const RunSetup& run, const Report& report) {
  const bool audioGoesOut = run.output == "-";
  const std::string line = as_json(run, report) + "\n";
  if (!write_all(audioGoesOut ? STDERR_FILENO : STDOUT_FILENO, line.data(), line.size(),
                 audioGoesOut ? "standard error" : "standard output")) {
    throw Interruption(run.label + "interrupted when the result was complete");
  }
}

}  // namespace

void process(const RunSetup& run) {
  Report report = run_and_keep(run);
  if (run.findPreGain && report.counts.wraps > 0 && can_be_read_again(run.input)) {
    report.preGainWithoutWraps = find_gain_without_wraps(run);
  }
  say_notes(run, report);
  if (interrupted()) throw Interruption(run.label + "interrupted when the result was complete");
  if (run.json) write_report(run, report);
}

}  // namespace vekbf_tool
