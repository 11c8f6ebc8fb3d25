// SPDX-License-Identifier: MIT
//
// Any bytes as settings, by key and value or as a file: what is taken means the same when it is
// taken again, what is refused is told in one line and changes nothing.
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/target.h"
#include "stream/option_file.h"
#include "stream/settings.h"
#include "vek_stream.h"

using namespace vekbf::fuzz;

namespace {

struct FreeSettings {
  void operator()(VekStreamSettings* settings) const { VekStream_FreeSettings(settings); }
};
using Settings = std::unique_ptr<VekStreamSettings, FreeSettings>;

// A line of printable UTF-8: the decoder is another one than the library's.
bool is_line(const char* text) {
  const auto* byte = reinterpret_cast<const unsigned char*>(text);
  if (*byte == 0) return false;
  while (*byte != 0) {
    int more = 0;
    uint32_t code = *byte++;
    if (code >= 0xf0) {
      more = 3;
      code &= 7;
    } else if (code >= 0xe0) {
      more = 2;
      code &= 15;
    } else if (code >= 0xc0) {
      more = 1;
      code &= 31;
    } else if (code >= 0x80) {
      return false;
    }
    const int bits = more == 0 ? 0 : more == 1 ? 7 : 5 * more + 1;
    for (int i = 0; i < more; i++) {
      if (*byte >> 6 != 2) return false;
      code = code << 6 | (*byte++ & 63u);
    }
    if (bits > 0 && code >> bits == 0) return false;  // could be shorter
    if (code < 0x20 || (code >= 0x7f && code < 0xa0)) return false;
    if ((code >= 0xd800 && code < 0xe000) || code > 0x10ffff) return false;
  }
  return true;
}

struct Meaning {
  std::vector<double> numbers;
  std::vector<int32_t> picks;
  VekBfInit array{};
  VekBfConfig config{};
  bool has_array;
};

Meaning meaning_of(const Settings& settings) {
  Meaning meaning;
  for (size_t i = 0; const VekStreamKey* key = VekStream_Key(i); i++) {
    meaning.numbers.push_back(VekStream_GetNumber(settings.get(), key->name));
  }
  int32_t picks[VEK_BF_MAX_MICS] = {};
  meaning.picks.push_back(VekStream_GetPicks(settings.get(), picks));
  meaning.picks.insert(meaning.picks.end(), picks, picks + VEK_BF_MAX_MICS);
  meaning.has_array = VekStream_GetArray(settings.get(), 16000, &meaning.array) == nullptr;
  VekStream_GetConfig(settings.get(), &meaning.config);
  return meaning;
}

bool same(const Meaning& a, const Meaning& b) {
  for (size_t i = 0; i < a.numbers.size(); i++) {
    const bool none = std::isnan(a.numbers[i]) && std::isnan(b.numbers[i]);
    if (!none && a.numbers[i] != b.numbers[i]) return false;
  }
  return a.picks == b.picks && a.has_array == b.has_array &&
         std::memcmp(&a.array, &b.array, sizeof a.array) == 0 &&
         std::memcmp(&a.config, &b.config, sizeof a.config) == 0;
}

// New settings from what Get says of others.
Settings taken_again(const Settings& settings) {
  Settings again(VekStream_NewSettings());
  for (size_t i = 0; const VekStreamKey* key = VekStream_Key(i); i++) {
    const char* value = VekStream_Get(settings.get(), key->name);
    if (value == nullptr) continue;
    expect(VekStream_Set(again.get(), key->name, value) == nullptr, "refused again", key->name);
  }
  return again;
}

bool read_file(const Settings& settings, vekbf::stream::Text text) {
  settings->message.clear();
  settings->layer++;
  vekbf::stream::Changes changes(*settings, true);
  const bool read =
      vekbf::stream::read_options(text, "desk.ini", changes, nullptr, nullptr, settings->message);
  if (read) changes.take();
  settings->layer++;
  expect(read || is_line(settings->message.line()), "no line", settings->message.line());
  return read;
}

bool set_value(const Settings& settings, const std::string& text) {
  const size_t end = std::min(text.find('='), text.size());
  const std::string value = end < text.size() ? text.substr(end + 1) : "";
  const char* fault = VekStream_Set(settings.get(), text.substr(0, end).c_str(), value.c_str());
  expect(fault == nullptr || is_line(fault), "no line", fault == nullptr ? "" : fault);
  return fault == nullptr;
}

void open(const Settings& settings, Input& input) {
  VekStream* stream = nullptr;
  const auto channels = static_cast<int32_t>(input.below(66));
  const char* fault = VekStream_Open(settings.get(), 16000, channels, &stream);
  expect((fault == nullptr) == (stream != nullptr), "neither stream nor fault");
  expect(fault == nullptr || is_line(fault), "no line", fault == nullptr ? "" : fault);
  tally(fault == nullptr ? "opened" : "not opened");
  VekStream_Close(stream);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A track would be any file of this machine.
  const std::string all(reinterpret_cast<const char*>(data), size);
  if (all.find("angle-track") != std::string::npos) return 0;
  Input input(data, size);
  const Settings settings(VekStream_NewSettings());
  VekStream_Set(settings.get(), "array", "line:2:4cm");
  const Meaning before = meaning_of(settings);
  const bool is_file = input.below(2) == 0;
  const std::string text(reinterpret_cast<const char*>(input.rest()), input.left());
  const bool taken =
      is_file ? read_file(settings, {text.data(), text.size()}) : set_value(settings, text);
  tally(taken ? "taken" : "refused");
  Meaning after = meaning_of(settings);
  if (kPlanted && taken) after.array.micNum++;
  expect(taken || same(before, after), "a refused value has changed something");
  expect(same(after, meaning_of(taken_again(settings))), "another meaning the second time");
  open(settings, input);
  return 0;
}
