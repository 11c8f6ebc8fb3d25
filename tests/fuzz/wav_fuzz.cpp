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

#include "angle_track.h"
#include "arguments.h"
#include "array.h"
#include "input_file.h"
#include "conversion.h"
#include "failure.h"
#include "fuzz/target.h"
#include "geometry.h"

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

// Without a gain a sample of a 16-bit file keeps its value; any other becomes the nearest that
// fits.
void convert(const std::vector<double>& samples) {
  Conversion conversion(0);
  long long clipped = 0;
  for (const double sample : samples) {
    const int16_t value = conversion(sample);
    const double exact = sample * 32768.0;
    if (std::isnan(exact)) {
      expect(value == 0, "not-a-number is not silent");
    } else if (exact > 32767.5 || exact < -32768.5) {
      ++clipped;
      expect(value == (exact < 0 ? INT16_MIN : INT16_MAX), "not clipped");
    } else {
      expect(std::fabs(value - exact) <= 0.5 || exact > 32767.0, "not the nearest");
    }
  }
  // 32767.5 itself is rounded up, and clipped, too.
  expect(conversion.clipped() >= clipped, "clipped samples are not counted");
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
    convert(samples);
  } catch (const RunError& refusal) {
    expect(!plain, "a plain file is refused:", refusal.what());
    expect(refusal.what()[0] != '\0', "refused without a word");
  }
}

// The coordinates of the positions, read by the rules of a number alone.
void check_positions(const std::vector<std::string>& words, const MicArray& array) {
  size_t next = 0;
  for (size_t i = 0; i < words.size(); ++i) {
    std::string text;
    // CLI11 takes the next word where nothing stands behind the sign.
    if ((words[i] == "--mic" || words[i] == "--mic=") && i + 1 < words.size())
      text = words[++i];
    else if (words[i].rfind("--mic=", 0) == 0)
      text = words[i].substr(6);
    else
      continue;
    if (next >= array.mics.size()) fail("a position is lost");
    char* end = nullptr;
    const float x = std::strtof(text.c_str(), &end);
    expect(*end == ',' && x == array.mics[next].x, "another x:", text.c_str());
    const float y = std::strtof(end + 1, &end);
    expect(*end == '\0' && y == array.mics[next].y, "another y:", text.c_str());
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
    const auto mics = done->array.mics.size();
    expect(mics >= 1 && mics <= VEK_BF_MAX_MICS, "another number of microphones");
    for (const Position& mic : done->array.mics) {
      expect(std::isfinite(mic.x) && std::isfinite(mic.y), "a coordinate is not a number");
    }
    expect(done->array.force || done->array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ||
               done->array.geometry == VEK_BF_UNIFORM_TRIANGLE_ARRAY,
           "a geometry without steering");
    expect(done->array.soundSpeed >= 1, "no sound speed");
    expect(done->config.vadThreshold >= 0.0f && done->config.vadThreshold <= 1.0f, "threshold");
    expect(done->config.intensity <= 10, "intensity");
    expect(done->algorithm == VEK_FIXED_BF || done->algorithm == VEK_ADAPTIVE_BF, "algorithm");
    tally("accepted arguments");
    check_positions(words, done->array);
    array_note(done->array);
    check_plan(describe_geometry(*done));
  } catch (const UsageError& refusal) {
    expect(refusal.what()[0] != '\0', "refused without a word");
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

// Whatever stands in a track, an angle holds at any time, and before its first line the given one.
void angle_track(const uint8_t* bytes, size_t size) {
  tally("angle tracks");
  const MemoryFile memory(bytes, size);
  constexpr int32_t kBefore = -77;
  expect(AngleTrack(kBefore).at(0) == kBefore, "another angle without a track");
  try {
    const AngleTrack track(kBefore, memory.path());
    expect(track.at(-HUGE_VAL) == kBefore, "an angle before the first time");
    // The last angle stands in the text as it is.
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    const std::string digits = std::to_string(std::abs(static_cast<long long>(track.at(HUGE_VAL))));
    expect(text.find(digits) != std::string::npos, "an angle nobody wrote:", digits.c_str());
    tally("accepted tracks");
  } catch (const RunError& refusal) {
    expect(refusal.what()[0] != '\0', "refused without a word");
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
