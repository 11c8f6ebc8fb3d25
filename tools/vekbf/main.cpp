// SPDX-License-Identifier: MIT
#include <csignal>
#include <exception>
#include <optional>
#include <string>

#include "arguments.h"
#include "array.h"
#include "batch.h"
#include "failure.h"
#include "file_identity.h"
#include "geometry.h"
#include "interruption.h"
#include "process.h"
#include "standard_descriptors.h"
#include "text.h"
#include "vek_stream.h"

using namespace vekbf_tool;

namespace {

// As they would stand in a file of options.
void say_settings(const Settings& settings) {
  for (std::size_t i = 0; const VekStreamKey* key = VekStream_Key(i); i++) {
    const std::string value = settings.text(key->name);
    if (!value.empty()) say(std::string(key->name) + " = " + value);
  }
}

void run_process(const Arguments& arguments) {
  const RunSetup& run = arguments.run;
  if (run.verbose) say_settings(run.settings);
  if (const std::string note = array_note(run.settings.array()); !note.empty()) say(note);
  watch_for_interruption();
  if (!arguments.outDir.empty()) {
    process_batch(run, arguments.outDir, arguments.filesRead);
    return;
  }
  check_overwriting(arguments.filesRead, {run.output});
  process(run);
}

void run(const Arguments& arguments) {
  const Settings& settings = arguments.run.settings;
  switch (arguments.subcommand) {
    case Subcommand::process:
      return run_process(arguments);
    case Subcommand::geometry:
      const auto angle = static_cast<int>(settings.number("angle"));
      return print(describe_geometry(settings.array(), angle));
  }
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that went away is a failed write with a sentence, not a silent end.
  std::signal(SIGPIPE, SIG_IGN);
  occupy_standard_descriptors();
  try {
    if (const std::optional<Arguments> arguments = parse_arguments(argc, argv)) run(*arguments);
    return 0;
  } catch (const Interruption& stop) {
    say(stop.what());
    return kExitInterrupted;
  } catch (const UsageError& error) {
    say(error.what());
    return kExitUsage;
  } catch (const std::exception& error) {
    say(error.what());
    return kExitRun;
  }
}
