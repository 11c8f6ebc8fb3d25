// SPDX-License-Identifier: MIT
#include "turn.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "failure.h"
#include "text.h"

namespace vekbf_tool {

namespace {

// The node of the installed PipeWire configuration that takes controls.
constexpr const char* kNode = "vekbf.microphones";

struct Said {
  bool done;  // it ended with status 0
  std::string text;
};

// A program that hangs with its daemon is ended. `command` holds no word of a user.
Said ask(const std::string& command) {
  Said said{false, ""};
  std::FILE* const pipe = ::popen(("exec timeout 5 " + command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return said;
  char part[4096];
  std::size_t got = 0;
  while ((got = std::fread(part, 1, sizeof part, pipe)) > 0) said.text.append(part, got);
  const int status = ::pclose(pipe);
  said.done = status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return said;
}

std::string angle_text(const TurnSetup& setup) {
  return setup.degrees ? std::to_string(*setup.degrees) : "auto";
}

// False where there is no beam of PipeWire in this session.
bool turn_pipewire(const TurnSetup& setup) {
  const std::string name = std::string("node.name = \"") + kNode + "\"";
  if (ask("pw-cli ls Node").text.find(name) == std::string::npos) return false;
  const std::string controls =
      setup.degrees ? "\"beam:Follow\" 0.0 \"beam:Angle\" " + std::to_string(*setup.degrees) + ".0"
                    : "\"beam:Follow\" 1.0";
  const Said said =
      ask(std::string("pw-cli set-param ") + kNode + " Props '{ params = [ " + controls + " ] }'");
  if (!said.done || said.text.find("Error") != std::string::npos) {
    throw RunError("PipeWire does not turn " + std::string(kNode) + ": " + printable(said.text));
  }
  print(std::string(kNode) + ": " + angle_text(setup) + "\n");
  return true;
}

// In place and with one call, so that a reader finds the former angle or the new one; what is left
// of a longer text is behind the line's end, where no reader looks, until it is cut off.
bool write_angle(int file, const std::string& line) {
  const auto size = static_cast<ssize_t>(line.size());
  return ::pwrite(file, line.data(), line.size(), 0) == size && ::ftruncate(file, size) == 0;
}

// False where there is no such file and none was asked for.
bool turn_file(const TurnSetup& setup) {
  const std::string path = setup.angleFile.empty() ? kAngleFile : setup.angleFile;
  const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (file < 0 && errno == ENOENT && setup.angleFile.empty()) return false;
  if (file < 0) throw RunError(path + ": cannot be opened: " + std::strerror(errno));
  const bool written = write_angle(file, angle_text(setup) + "\n");
  const int error = errno;
  ::close(file);
  if (!written) throw RunError(path + ": cannot be written: " + std::strerror(error));
  print(path + ": " + angle_text(setup) + "\n");
  return true;
}

}  // namespace

void turn(const TurnSetup& setup) {
  const bool byPipewire = setup.angleFile.empty() && turn_pipewire(setup);
  const bool byFile = turn_file(setup);
  if (byPipewire || byFile) return;
  throw RunError(std::string("no beam runs here: this session has no PipeWire node ") + kNode +
                 ", and there is no angle file " + kAngleFile + " (--angle-file names another)");
}

}  // namespace vekbf_tool
