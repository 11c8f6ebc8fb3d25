// SPDX-License-Identifier: MIT
#include "process.h"

#include "beam_run.h"
#include "input_output.h"
#include "text.h"
#include "wrap_search.h"

namespace vekbf_tool {

namespace {

std::string what_helps_against_wraps(const ProcessArguments& arguments) {
  if (arguments.readsRaw()) return "a lower --pre-gain may help";
  if (const auto gain = find_gain_without_wraps(arguments)) {
    return "the first without, in steps of 3 dB, is --pre-gain " + plain_number(*gain);
  }
  return arguments.algorithm == VEK_ADAPTIVE_BF
             ? "no --pre-gain down to -24 dB helps: try --algorithm fixed"
             : "no --pre-gain down to -24 dB helps";
}

void say_notes(const ProcessArguments& arguments, const RunCounts& counts) {
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
        "; " + what_helps_against_wraps(arguments));
  }
}

}  // namespace

void process(const ProcessArguments& arguments, int standardOutput) {
  const std::unique_ptr<Source> input = open_source(arguments);
  const std::unique_ptr<Sink> sink = open_sink(arguments, input->sampleRate(), standardOutput);
  const RunCounts counts = run_beam(arguments, arguments.preGain, *input, *sink);
  sink->commit();
  say_notes(arguments, counts);
}

}  // namespace vekbf_tool
