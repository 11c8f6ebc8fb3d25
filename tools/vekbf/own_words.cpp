// SPDX-License-Identifier: MIT
#include "own_words.h"

#include <charconv>
#include <optional>

namespace vekbf_tool {

namespace {

constexpr int kLowestRate = 8000;
constexpr int kHighestRate = 48000;
constexpr int kMostChannels = 64;

std::optional<bool> parse_switch(const std::string& text) {
  for (const char* const yes : {"yes", "true", "on", "1"}) {
    if (text == yes) return true;
  }
  for (const char* const no : {"no", "false", "off", "0"}) {
    if (text == no) return false;
  }
  return std::nullopt;
}

std::optional<int> parse_number(const std::string& text, int lowest, int highest) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < lowest || number > highest) return {};
  return number;
}

template <class Value>
bool take(Value& target, const std::optional<Value>& value) {
  if (value) target = *value;
  return value.has_value();
}

std::string refusal(const std::string& name, const std::string& right, const std::string& value) {
  return name + " is " + right + ", not '" + value + "'";
}

}  // namespace

std::string take_word(OwnWords& words, const std::string& name, const std::string& value) {
  struct Switch {
    const char* name;
    bool& target;
  };
  for (const Switch& each :
       {Switch{"join", words.join}, Switch{"json", words.json}, Switch{"verbose", words.verbose},
        Switch{"find-pre-gain", words.findPreGain}}) {
    if (name != each.name) continue;
    return take(each.target, parse_switch(value)) ? "" : refusal(name, "yes or no", value);
  }
  if (name == "rate") {
    return take(words.rate, parse_number(value, kLowestRate, kHighestRate))
               ? ""
               : refusal(name, "a sample rate of 8000 to 48000 Hz", value);
  }
  if (name == "raw-channels") {
    return take(words.rawChannels, parse_number(value, 1, kMostChannels))
               ? ""
               : refusal(name, "a number of channels from 1 to 64", value);
  }
  if (name == "out-dir") {
    words.outDir = value;
    return value.empty() ? refusal(name, "a folder", value) : "";
  }
  return "'" + name + "' is no option";
}

}  // namespace vekbf_tool
