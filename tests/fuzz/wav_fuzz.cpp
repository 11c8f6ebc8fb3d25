// SPDX-License-Identifier: MIT
//
// The tool's reading of its arguments, of option files, angle tracks and sound files. Whatever it
// gets it either refuses with one of its own two errors or gives a result that keeps its promises;
// a plain file with a header of 44 bytes must be accepted, with exactly the samples that stand in
// it.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "arguments.h"
#include "array.h"
#include "input_file.h"
#include "failure.h"
#include "fuzz/target.h"
#include "geometry.h"
#include "settings.h"

namespace {

using namespace vekbf::fuzz;
using namespace vekbf_tool;

constexpr long long kMostFrames = 100000;

// A file in memory with a name.
class MemoryFile {
 public:
  MemoryFile(const uint8_t* bytes, size_t size) : descriptor_(memfd_create("sound", MFD_CLOEXEC)) {
    expect(descriptor_ >= 0, "no memory file");
    expect(write(descriptor_, bytes, size) == static_cast<ssize_t>(size), "no memory file");
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

uint32_t little(const uint8_t* bytes, int count) {
  uint32_t value = 0;
  for (int i = count - 1; i >= 0; --i) value = value << 8 | bytes[i];
  return value;
}

// The simplest file there is, complete and with sensible numbers.
bool is_plain(const uint8_t* file, size_t size) {
  if (size <= 44 || std::memcmp(file, "RIFF", 4) != 0 || std::memcmp(file + 8, "WAVEfmt ", 8) != 0)
    return false;
  if (std::memcmp(file + 36, "data", 4) != 0 || little(file + 4, 4) != size - 8) return false;
  const uint32_t channels = little(file + 22, 2);
  const uint32_t rate = little(file + 24, 4);
  const uint32_t audio = little(file + 40, 4);
  return little(file + 16, 4) == 16 && little(file + 20, 2) == 1 && channels >= 1 &&
         channels <= 4 && rate >= 8000 && rate <= 48000 &&
         little(file + 28, 4) == rate * channels * 2 && little(file + 32, 2) == channels * 2 &&
         little(file + 34, 2) == 16 && audio == size - 44 && audio % (channels * 2) == 0;
}

void sound(const uint8_t* bytes, size_t size) {
  const MemoryFile memory(bytes, size);
  const bool plain = is_plain(bytes, size);
  tally("sound files");
  try {
    InputFile file(memory.path());
    // Not a literal plus a temporary: gcc 12 fears that its copies overlap.
    const std::string path = memory.path();
    expect(file.name() == std::string("'").append(path).append("'"), "another name");
    const long long frames = file.frames().value_or(0);
    expect(file.channels() >= 1 && frames >= 1, "accepted without audio");
    const auto channels = static_cast<size_t>(file.channels());
    // A header may promise years of silence, and hundreds of channels.
    if (frames > kMostFrames / file.channels()) return;
    const auto count = static_cast<size_t>(frames);
    if (plain) {
      expect(channels == little(bytes + 22, 2), "another number of channels");
      expect(file.sampleRate() == static_cast<int>(little(bytes + 24, 4)), "another rate");
      expect(count == (size - 44) / 2 / channels, "another length");
    }
    std::vector<double> samples(count * channels);
    expect(file.read(samples.data(), count) == count, "it ends too soon");
    tally("sound files read to their end");
    if (kPlanted && channels > 1) samples.back() = -samples.back();
    for (size_t i = 0; plain && i < samples.size(); ++i) {
      const auto value = static_cast<int16_t>(little(bytes + 44 + 2 * i, 2));
      expect(samples[i] == value / 32768.0, "another sample");
    }
  } catch (const RunError& refusal) {
    expect(!plain, "a plain file is refused:", refusal.what());
    expect(refusal.what()[0] != '\0', "refused without a word");
  }
}

// The coordinates of the positions, read by the rules of a number alone.
void check_positions(const std::vector<std::string>& words, const VekBfInit& array) {
  int32_t next = 0;
  for (size_t i = 0; i < words.size(); ++i) {
    std::string text;
    // CLI11 takes the next word where nothing stands behind the sign.
    if ((words[i] == "--mic" || words[i] == "--mic=") && i + 1 < words.size())
      text = words[++i];
    else if (words[i].rfind("--mic=", 0) == 0)
      text = words[i].substr(6);
    else
      continue;
    if (next >= array.micNum) fail("a position is lost");
    char* end = nullptr;
    const float x = std::strtof(text.c_str(), &end);
    end += std::strspn(end, " \t");
    expect(*end == ',' && x == array.micCoordinate[next][0], "another x:", text.c_str());
    const float y = std::strtof(end + 1, &end);
    expect(end[std::strspn(end, " \t")] == '\0' && y == array.micCoordinate[next][1],
           "another y:", text.c_str());
    ++next;
  }
}

// Any array is drawn, in characters that every terminal has.
void check_plan(const std::string& plan) {
  size_t column = 0;
  for (const char c : plan) {
    expect(c == '\n' || (c >= ' ' && c <= '~'), "a plan with other characters");
    column = c == '\n' ? 0 : column + 1;
    expect(column <= 80, "a plan wider than a page");
  }
}

void parse(std::vector<std::string> words) {
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  try {
    const auto done = parse_arguments(static_cast<int>(words.size()), argv.data());
    if (!done) return;  // help or version
    const Settings& settings = done->run.settings;
    const VekBfInit array = settings.array();
    expect(array.micNum >= 1 && array.micNum <= VEK_BF_MAX_MICS, "another number of microphones");
    for (const Position& mic : given_positions(array)) {
      expect(std::isfinite(mic.x) && std::isfinite(mic.y), "a coordinate is not a number");
    }
    expect(settings.is_on("force") || has_steering(array), "a geometry without steering");
    expect(array.soundSpeed >= 1, "no sound speed");
    const double threshold = settings.number("vad-threshold");
    expect(threshold >= 0 && threshold <= 1, "threshold");
    expect(settings.number("intensity") >= 0 && settings.number("intensity") <= 10, "intensity");
    expect(array.algorithm == VEK_FIXED_BF || array.algorithm == VEK_ADAPTIVE_BF, "algorithm");
    tally("accepted arguments");
    check_positions(words, array);
    array_note(array);
    const double angle = settings.number("angle");  // not a number: auto
    check_plan(describe_geometry(array, std::isfinite(angle) ? static_cast<int>(angle) : 90));
  } catch (const UsageError& refusal) {
    expect(refusal.what()[0] != '\0', "refused without a word");
  } catch (const RunError& refusal) {
    expect(std::strstr(refusal.what(), "angle-track") != nullptr, "refused:", refusal.what());
  }
}

// One word per line.
void command_line(Input& input) {
  tally("command lines");
  std::vector<std::string> words = {"vekbf"};
  if (input.below(4) != 0) words.insert(words.end(), {"process", "in.wav", "out.wav"});
  const std::string text(reinterpret_cast<const char*>(input.rest()), input.left());
  for (size_t from = 0; from < text.size() && words.size() < 40;) {
    const size_t to = std::min(text.find('\n', from), text.size());
    words.push_back(text.substr(from, to - from).c_str());  // up to a zero byte
    from = to + 1;
  }
  parse(words);
}

void options_file(const uint8_t* bytes, size_t size) {
  tally("option files");
  const MemoryFile memory(bytes, size);
  parse({"vekbf", "process", "in.wav", "out.wav", "--config", memory.path()});
  parse({"vekbf", "geometry", "--config", memory.path()});
}

// A track is taken or refused in a line that names it.
void angle_track(const uint8_t* bytes, size_t size) {
  tally("angle tracks");
  const MemoryFile memory(bytes, size);
  Settings settings;
  try {
    settings.set("angle-track", memory.path());
    expect(settings.text("angle-track") == memory.path(), "another track");
    tally("accepted tracks");
  } catch (const UsageError& refusal) {
    expect(std::strstr(refusal.what(), memory.path().c_str()) != nullptr, "refused without a name");
  }
}

}  // namespace

// The first byte says which of them: a sound file begins with 'R', as its own files do.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const uint8_t what = size == 0 ? 0 : data[0];
  if (what == '-') {
    Input input(data + 1, size - 1);
    command_line(input);
  } else if (what == '=') {
    options_file(data + 1, size - 1);
  } else if (what == '@') {
    angle_track(data + 1, size - 1);
  } else {
    sound(data, size);
  }
  return 0;
}
