// SPDX-License-Identifier: MIT
#include "arguments.h"

#include <CLI/CLI.hpp>
#include <fstream>
#include <sstream>

#include "failure.h"
#include "process_options.h"
#include "text.h"

namespace vekbf_tool {

namespace {

CLI::App* add_process(CLI::App& app, RawProcess& raw) {
  CLI::App* process =
      app.add_subcommand("process", "Turn a multichannel recording into one beamformed signal");
  process->footer(
      "Example: vekbf process meeting.wav clean.wav --mic 0,0 --mic 0.05,0 --mic 0.1,0 --mic "
      "0.15,0 --angle 60");
  declare_process(*process, raw);
  return process;
}

CLI::App* add_geometry(CLI::App& app, RawProcess& raw) {
  CLI::App* geometry = app.add_subcommand(
      "geometry", "Draw an array, its angles, and what the library makes of the coordinates");
  geometry->footer("Example: vekbf geometry --array line:4:35mm --angle 60");
  declare_config(*geometry, raw.configFile);
  declare_array(*geometry, raw.array);
  declare_angle(*geometry, raw.done.angle);
  return geometry;
}

// One file suits both subcommands: it may hold every option of `process`. The command line wins.
void read_config(CLI::App& process, CLI::App& parsed, const std::string& path) {
  std::ifstream file(path);
  if (!file || file.peek() == std::ifstream::traits_type::eof()) {
    throw UsageError("cannot read the options in '" + path + "'");
  }
  process.allow_config_extras(CLI::config_extras_mode::error);
  process.parse_from_stream(file);
  if (&parsed == &process) return;
  for (CLI::Option* option : parsed.get_options()) {
    if (option->count() > 0) option->run_callback();
  }
}

}  // namespace

std::optional<Arguments> parse_arguments(int argc, char** argv) {
  CLI::App app("Microphone-array beamforming of recorded files", "vekbf");
  app.set_version_flag("--version", "vekbf " VEKBF_VERSION);
  app.require_subcommand(1);
  RawProcess raw;
  CLI::App* process = add_process(app, raw);
  CLI::App* geometry = add_geometry(app, raw);
  try {
    app.parse(argc, argv);
    if (!raw.configFile.empty()) {
      read_config(*process, geometry->parsed() ? *geometry : *process, raw.configFile);
    }
  } catch (const CLI::Success& request) {
    std::ostringstream text;
    app.exit(request, text, text);
    print(text.str());
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  if (!geometry->parsed()) return give_process_meaning(raw);
  raw.done.subcommand = Subcommand::geometry;
  raw.done.array = give_array_meaning(raw.array);
  check_array(raw.done.array);
  return raw.done;
}

}  // namespace vekbf_tool
