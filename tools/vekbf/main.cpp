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
#include "library_lines.h"
#include "process.h"
#include "text.h"

using namespace vekbf_tool;

namespace {

void run(const Arguments& arguments) {
  if (arguments.subcommand == Subcommand::geometry) {
    print(describe_geometry(arguments));
    return;
  }
  const LibraryLines lines(arguments.verbose);
  if (const std::string note = array_note(arguments.array); !note.empty()) say(note);
  watch_for_interruption();
  if (!arguments.outDir.empty()) {
    process_batch(arguments, lines.originalStdout());
    return;
  }
  check_overwriting(arguments.filesRead(), {arguments.output});
  process(arguments, lines.originalStdout());
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that went away is a failed write with a sentence, not a silent end.
  std::signal(SIGPIPE, SIG_IGN);
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
