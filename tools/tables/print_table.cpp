// SPDX-License-Identifier: MIT
//
// Prints the list of subcommands and options as JSON, for make_tables.py.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "options.h"

using namespace vekbf_tool;
using nlohmann::ordered_json;

int main() {
  ordered_json commands = ordered_json::array();
  for (const Command& command : command_table()) {
    commands.push_back(
        {{"name", command.name}, {"purpose", command.purpose}, {"files", command.takesFiles}});
  }
  ordered_json options = ordered_json::array();
  for (const Option& option : option_table()) {
    ordered_json of = ordered_json::array();
    for (const Command& command : command_table()) {
      if ((option.commands & command.bit) != 0) of.push_back(command.name);
    }
    options.push_back({{"name", option.name},
                       {"values", option.isSwitch() ? "" : option.values},
                       {"initial", option.isSwitch() ? "" : option.initial},
                       {"brief", option.brief},
                       {"help", option.help},
                       {"details", option.details},
                       {"repeats", option.repeats()},
                       {"commands", of}});
  }
  constexpr int kIndent = 1;
  std::puts(ordered_json({{"commands", commands}, {"options", options}}).dump(kIndent).c_str());
}
