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

std::optional<double> parse_seconds(const std::string& text) {
  constexpr double kShortest = 0.001;
  constexpr double kLongest = 3600;
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  // Written so that not-a-number fails too.
  if (error != std::errc() || stop != end || !(number >= kShortest && number <= kLongest))
    return {};
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
  if (name == "every") {
    return take(words.every, parse_seconds(value))
               ? ""
               : refusal(name, "a number of seconds from 0.001 to 3600", value);
  }
  struct Place {
    const char* name;
    const char* what;
    std::string& target;
  };
  for (const Place& each :
       {Place{"out-dir", "a folder", words.outDir}, Place{"picture", "a file", words.picture},
        Place{"angle-track-out", "a file", words.trackOutput},
        Place{"angle-file", "a file", words.angleFile}}) {
    if (name != each.name) continue;
    each.target = value;
    return value.empty() ? refusal(name, each.what, value) : "";
  }
  return "'" + name + "' is not an option";
}

}  // namespace vekbf_tool
