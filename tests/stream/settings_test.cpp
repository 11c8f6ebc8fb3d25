// SPDX-License-Identifier: MIT
//
// What a person writes, what it means, and what is said where it means nothing.
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include "stream/streams.h"

namespace vekbf::test {
namespace {

// One line without control characters that holds all the words.
void expect_line(const std::string& line, const std::vector<std::string>& words) {
  EXPECT_FALSE(line.empty());
  for (const char c : line) {
    EXPECT_FALSE((c >= 0 && c < ' ') || c == 0x7f) << "a control character in: " << line;
  }
  for (const std::string& word : words) {
    EXPECT_NE(line.find(word), std::string::npos) << "no '" << word << "' in: " << line;
  }
}

std::string set(const Settings& settings, const char* key, const std::string& value) {
  return said(VekStream_Set(settings.get(), key, value.c_str()));
}

std::string quoted(const std::string& value) {
  return std::string(1, '\'').append(value).append("'");
}

VekBfInit array_of(const Settings& settings) {
  VekBfInit array{};
  EXPECT_EQ(said(VekStream_GetArray(settings.get(), 16000, &array)), "");
  return array;
}

// The positions as text, "0,0 0.04,0".
std::string positions(const VekBfInit& array) {
  std::string text;
  for (int m = 0; m < array.micNum; m++) {
    char one[64];
    std::snprintf(one, sizeof one, "%s%.9g,%.9g", m == 0 ? "" : " ",
                  static_cast<double>(array.micCoordinate[m][0]),
                  static_cast<double>(array.micCoordinate[m][1]));
    text += one;
  }
  return text;
}

std::string text_of(const Settings& settings, const char* key) {
  const char* text = VekStream_Get(settings.get(), key);
  return text == nullptr ? "nothing" : text;
}

TEST(StreamSettings, DefaultsAreThoseThatTheKeysState) {
  const Settings settings(VekStream_NewSettings());
  std::set<std::string> names;
  for (size_t i = 0; const VekStreamKey* key = VekStream_Key(i); i++) {
    SCOPED_TRACE(key->name);
    names.insert(key->name);
    EXPECT_EQ(text_of(settings, key->name), key->initial == nullptr ? "nothing" : key->initial);
    EXPECT_NE(std::string(key->values), "");
    EXPECT_GT(std::strlen(key->help), 10u);
    // The default means what it says: setting it changes nothing.
    if (key->initial == nullptr) continue;
    const double before = VekStream_GetNumber(settings.get(), key->name);
    EXPECT_EQ(set(settings, key->name, key->initial), "");
    const double after = VekStream_GetNumber(settings.get(), key->name);
    EXPECT_TRUE(before == after || (std::isnan(before) && std::isnan(after)));
  }
  EXPECT_EQ(names, (std::set<std::string>{"array", "mic", "mics", "geometry", "sound-speed",
                                          "force", "channels", "algorithm", "intensity",
                                          "vad-threshold", "angle", "angle-track", "angle-start",
                                          "sector", "hold", "focus", "pre-gain", "keep-time"}));
  VekBfConfig config{};
  VekStream_GetConfig(settings.get(), &config);
  EXPECT_EQ(config.vadThreshold, 0.5f);
  EXPECT_EQ(config.intensity, 3u);
  EXPECT_EQ(VekStream_GetNumber(settings.get(), "angle"), 90);
  EXPECT_EQ(VekStream_GetNumber(settings.get(), "sound-speed"), 343);
  EXPECT_EQ(VekStream_GetNumber(settings.get(), "keep-time"), 1);
  EXPECT_EQ(VekStream_GetNumber(settings.get(), "force"), 0);
  EXPECT_TRUE(std::isnan(VekStream_GetNumber(settings.get(), "array")));
}

TEST(StreamSettings, ShapesAndPositionsAreSpelledInManyWays) {
  const struct {
    const char* key;
    const char* value;
    VekBfGeometry geometry;
    const char* positions;
  } kSpellings[] = {
      {"array", "line:4:35mm", VEK_BF_UNIFORM_LINEAR_ARRAY,
       "0,0 0.0350000001,0 0.0700000003,0 0.104999997,0"},
      {"array", "line:2:3.5cm", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0 0.0350000001,0"},
      {"array", "line:2:0.035m", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0 0.0350000001,0"},
      {"array", "line:2:.5m", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0 0.5,0"},
      {"array", "line:2:50.cm", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0 0.5,0"},
      {"array", "line:2:5e-1m", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0 0.5,0"},
      {"array", "line:2:+0.5m", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0 0.5,0"},
      {"array", "line:2:100m", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0 100,0"},
      {"array", " line:1:1m\t", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0"},
      {"array", "square:64mm", VEK_BF_UNIFORM_TRIANGLE_ARRAY,
       "0.045254834,0 0,0.045254834 -0.045254834,0 0,-0.045254834"},
      {"mics", "0,0", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0"},
      {"mics", "0,0; 0.05,0", VEK_BF_UNIFORM_LINEAR_ARRAY, "0,0 0.0500000007,0"},
      {"mics", "0 , 0;0.05, -.25 ;+1e-1,2.", VEK_BF_UNIFORM_LINEAR_ARRAY,
       "0,0 0.0500000007,-0.25 0.100000001,2"},
      {"mic", "0.05, 1", VEK_BF_UNIFORM_LINEAR_ARRAY, "0.0500000007,1"},
      // Halfway between two floats but for the last digit: rounded once, from the decimal number.
      {"mic", "1.000000059604644775390626,0", VEK_BF_UNIFORM_LINEAR_ARRAY, "1.00000012,0"},
      {"mic", "1.000000059604644775390625,0", VEK_BF_UNIFORM_LINEAR_ARRAY, "1,0"},
  };
  for (const auto& spelling : kSpellings) {
    SCOPED_TRACE(spelling.value);
    const Settings settings = settings_of({{spelling.key, spelling.value}});
    const VekBfInit array = array_of(settings);
    EXPECT_EQ(positions(array), spelling.positions);
    EXPECT_EQ(array.geometry, spelling.geometry);
  }
}

TEST(StreamSettings, EveryFaultNamesKeyAndValueAndWhatWouldBeRight) {
  const struct {
    const char* key;
    std::vector<std::string> values;
    const char* right;
  } kFaults[] = {
      {"array",
       {"",           "line",        "line:4",       "line:5:35mm",  "line:0:35mm",  "line:4:35",
        "line:4:0mm", "line:4:-3mm", "line:4:nanmm", "line:4:infm",  "line:4:35 mm", "line:44:35mm",
        "square:",    "square:64in", "square:101m",  "circle:64mm",  "line:4:1e99m", "line::3mm",
        "Line:4:3mm", "line:4:0x1m", "line:4:3mm:",  "square:64mmm", "line:4:mm"},
       "line:4:35mm"},
      {"mic",
       {"", "0", "0;0", "a,b", "0,0,0", "nan,0", "0,inf", ",", "0x1,0", "0,0; 1,0", "1 2,0"},
       "x,y"},
      {"mics", {"", ";", "0,0;", "0,0;;1,0", "0,0; 1", "0,0 1,0", "0,0;0,0;0,0;0,0;0,0"}, ""},
      {"geometry", {"", "spiral", "Linear", "line"}, "linear or triangle"},
      {"channels",
       {"", "0", "0,1", "1,1", "-1,2", "a,b", "1,2,", ",1,2", "1;2", "65", "1,2,3,4,5"},
       "different numbers from 1"},
      {"algorithm", {"", "fix", "1", "Fixed"}, "fixed or adaptive"},
      {"angle", {"", "north", "60.5", "1e2", "2147483648", "-2147483649", "0x10", "9 0"}, "60"},
      {"intensity", {"", "11", "-1", "3.5", "strong"}, "0 to 10"},
      {"vad-threshold", {"", "-0.01", "1.01", "nan", "inf", "high"}, "0 to 1"},
      {"sound-speed", {"", "0", "-343", "343.2", "2147483648", "fast"}, "at least 1"},
      {"pre-gain", {"", "-61", "61", "60.1", "nan", "-inf", "loud"}, "-60 to 60"},
      {"keep-time", {"", "maybe", "2", "Yes"}, "yes or no"},
      {"force", {"", "maybe"}, "yes or no"},
      {"angle-track", {"", "/nonexistent/track.txt", "/"}, ""},
  };
  for (const auto& fault : kFaults) {
    for (const std::string& value : fault.values) {
      SCOPED_TRACE(std::string(fault.key) + " = " + value);
      const Settings settings = settings_of({{"array", "line:2:40mm"}, {"geometry", "linear"}});
      const std::string before = text_of(settings, fault.key);
      expect_line(set(settings, fault.key, value), {fault.key, quoted(value), fault.right});
      EXPECT_EQ(text_of(settings, fault.key), before);
      EXPECT_EQ(positions(array_of(settings)), "0,0 0.0399999991,0");
    }
  }
}

TEST(StreamSettings, FaultsOfTheCommonKindReadLikeThis) {
  const Settings settings(VekStream_NewSettings());
  EXPECT_EQ(
      set(settings, "array", "line:5:35mm"),
      "array is line:N:SPACING (1 to 4 microphones, such as line:4:35mm) or square:SIDE (such "
      "as square:64mm), not 'line:5:35mm'");
  EXPECT_EQ(set(settings, "angle", "north"),
            "angle is a whole number of degrees, such as 60, or auto, not 'north'");
  EXPECT_EQ(set(settings, "mics", "0,0;0,0;0,0;0,0;0,0"),
            "mics is at most 4 positions, not '0,0;0,0;0,0;0,0;0,0'");
  expect_line(set(settings, "colour", "red"), {"'colour'", "array", "keep-time"});
  expect_line(set(settings, "", "red"), {"''", "array"});
  expect_line(said(VekStream_Set(settings.get(), nullptr, "1")), {"name"});
  expect_line(said(VekStream_Set(settings.get(), "angle", nullptr)), {"angle", "missing"});
}

TEST(StreamSettings, AnyBytesGiveOneLineOfUtf8) {
  const Settings settings(VekStream_NewSettings());
  expect_line(set(settings, "angle", "a\nb\rc\x1b[2J\x7f"), {"'a?b?c?[2J?'"});
  expect_line(set(settings, "angle", "gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x8e\xa4"),
              {"gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x8e\xa4"});
  // Broken, overlong, surrogate, beyond the last, C1 control, cut off.
  expect_line(
      set(settings, "angle", "\xff \xc0\xaf \xed\xa0\x80 \xf4\x90\x80\x80 \xc2\x9b \xe2\x82"),
      {"'? ?? ??? ???? ?? ?"
       "?'"});
  // No second byte, and overlong with a first byte that is allowed.
  expect_line(set(settings, "angle", "\xc3( \xe0\x80\xaf"), {"'?( ??"});
  const std::string longest(100000, 'x');
  const std::string line = set(settings, "angle", longest);
  expect_line(line, {"angle", "xxx...'"});
  EXPECT_LT(line.size(), 1000u);
  expect_line(set(settings, longest.c_str(), "1"), {"xxx"});
}

TEST(StreamSettings, WhatDescribesTheArrayReplacesWhatDidBefore) {
  const Settings settings =
      settings_of({{"mic", "0,0"}, {"mic", "0.1,0"}, {"geometry", "triangle"}});
  EXPECT_EQ(positions(array_of(settings)), "0,0 0.100000001,0");
  EXPECT_EQ(text_of(settings, "mics"), "0,0; 0.1,0");
  EXPECT_EQ(text_of(settings, "geometry"), "triangle");
  EXPECT_EQ(set(settings, "array", "line:1:1m"), "");
  EXPECT_EQ(text_of(settings, "mics"), "nothing");
  EXPECT_EQ(text_of(settings, "geometry"), "linear");
  EXPECT_EQ(set(settings, "mic", "0.5,0"), "");
  EXPECT_EQ(positions(array_of(settings)), "0.5,0");
  EXPECT_EQ(set(settings, "array", "square:1m"), "");
  EXPECT_EQ(text_of(settings, "geometry"), "triangle");
  // A shape has a geometry.
  EXPECT_EQ(set(settings, "geometry", "triangle"), "");
  expect_line(set(settings, "geometry", "linear"), {"geometry", "'linear'", "'square:1m'", "mics"});
  EXPECT_EQ(set(settings, "mics", "0.5,0; 0,0.5"), "");
  EXPECT_EQ(text_of(settings, "array"), "nothing");
  EXPECT_EQ(positions(array_of(settings)), "0.5,0 0,0.5");
  EXPECT_EQ(set(settings, "mic", "0.25,0.25"), "");
  EXPECT_EQ(array_of(settings).micNum, 3);
  EXPECT_EQ(set(settings, "mic", "0.25,0.25"), "");
  expect_line(set(settings, "mic", "0.25,0.75"), {"mic", "at most 4", "'0.25,0.75'"});
  EXPECT_EQ(array_of(settings).micNum, 4);
}

TEST(StreamSettings, ACopyIsOnItsOwn) {
  const Settings settings = settings_of({{"array", "line:2:40mm"}, {"angle", "7"}});
  const Settings copy(VekStream_CopySettings(settings.get()));
  EXPECT_EQ(set(settings, "angle", "8"), "");
  EXPECT_EQ(text_of(copy, "angle"), "7");
  EXPECT_EQ(text_of(copy, "array"), "line:2:40mm");
  EXPECT_EQ(set(copy, "mic", "0,0"), "");
  EXPECT_EQ(text_of(settings, "array"), "line:2:40mm");
}

TEST(StreamSettings, WhatCannotBeOpenedIsToldBefore) {
  const auto check = [](const Pairs& pairs, uint32_t rate, int32_t channels) {
    const Settings settings = settings_of(pairs);
    const std::string fault = said(VekStream_Check(settings.get(), rate, channels));
    // 0 is not yet known to a check, and wrong to open.
    VekStream* opened = nullptr;
    const std::string refused = said(VekStream_Open(settings.get(), rate, channels, &opened));
    if (rate != 0 && channels != 0) {
      EXPECT_EQ(refused, fault);
    }
    EXPECT_EQ(opened == nullptr, !refused.empty());
    VekStream_Close(opened);
    return fault;
  };
  const Pairs line = {{"array", "line:2:40mm"}};
  EXPECT_EQ(check(line, 16000, 2), "");
  EXPECT_EQ(check(line, 0, 0), "");
  EXPECT_EQ(check(line, 8000, 2), "");
  EXPECT_EQ(check(line, 48000, 2), "");
  expect_line(check({}, 16000, 2), {"array", "missing", "line:4:35mm"});
  expect_line(check(line, 7999, 2), {"rate", "7999", "8000 to 48000"});
  expect_line(check(line, 96000, 2), {"rate", "96000", "8000 to 48000"});
  expect_line(check(line, 16000, 6),
              {"array", "'line:2:40mm'", "2 microphones", "6 channels", "channels"});
  expect_line(check({{"mics", "0,0"}}, 16000, 2), {"mics", "'0,0'", "1 microphone,", "2 channels"});
  expect_line(check(line, 16000, 65), {"1 to 64", "65"});
  expect_line(check(line, 16000, -1), {"1 to 64", "-1"});
  const Pairs picks = {{"array", "line:2:40mm"}, {"channels", "3, 1"}};
  EXPECT_EQ(check(picks, 16000, 3), "");
  EXPECT_EQ(check(picks, 16000, 64), "");
  expect_line(check(picks, 16000, 2), {"channels", "'3, 1'", "up to 2"});
  expect_line(check({{"array", "line:2:40mm"}, {"channels", "1,2,3"}}, 16000, 4),
              {"channels", "'1,2,3'", "one number per microphone: 2, not 3"});
  for (const char* geometry : {"rectangle", "circular"}) {
    const std::string word = quoted(geometry);
    expect_line(check({{"mics", "0,0; 1,1"}, {"geometry", geometry}}, 16000, 2),
                {"geometry", word, "silence", "triangle", "force"});
    EXPECT_EQ(check({{"mics", "0,0; 1,1"}, {"geometry", geometry}, {"force", "yes"}}, 16000, 2),
              "");
  }

  const Settings settings = settings_of(line);
  VekStream* stream = nullptr;
  expect_line(said(VekStream_Open(settings.get(), 0, 2, &stream)), {"rate", "not 0"});
  expect_line(said(VekStream_Open(settings.get(), 16000, 0, &stream)), {"channels", "not 0"});
  expect_line(said(VekStream_Open(settings.get(), 16000, 2, nullptr)), {"null"});
  int32_t picked[VEK_BF_MAX_MICS] = {};
  EXPECT_EQ(VekStream_GetPicks(settings.get(), picked), 0);
  EXPECT_EQ(VekStream_GetPicks(settings_of(picks).get(), picked), 2);
  EXPECT_EQ(picked[0], 3);
  EXPECT_EQ(picked[1], 1);
}

TEST(StreamSettings, NumbersAreDecimalWithOrWithoutAnExponent) {
  const Settings settings(VekStream_NewSettings());
  const std::pair<const char*, double> kNumbers[] = {
      {"1e1", 10.0}, {"2.5E+1", 25.0}, {"-25e-1", -2.5}, {".5", 0.5}, {"5.", 5.0}, {"+3", 3.0}};
  for (const auto& [text, value] : kNumbers) {
    EXPECT_EQ(set(settings, "pre-gain", text), "");
    EXPECT_EQ(VekStream_GetNumber(settings.get(), "pre-gain"), value) << text;
  }
  for (const std::string& text :
       {std::string(), std::string("."), std::string("-."), std::string("e1"), std::string("1e"),
        std::string("1E+"), std::string("1e-x"), std::string("1 e1"), std::string("1e999"),
        std::string("0x1"), std::string("nan"), std::string("inf"),
        std::string(200, '0').append("1")}) {
    expect_line(set(settings, "pre-gain", text), {"pre-gain", text.substr(0, 100)});
    EXPECT_EQ(VekStream_GetNumber(settings.get(), "pre-gain"), 3.0) << text;
  }
  expect_line(set(settings, "mics", "0,0; 1e39,0"), {"mics", "1e39"});
}

TEST(StreamSettings, WhatWasNotSetOrAskedForIsTold) {
  const Settings settings(VekStream_NewSettings());
  VekBfInit array{};
  expect_line(said(VekStream_GetArray(settings.get(), 16000, &array)), {"array"});
  EXPECT_EQ(array.micNum, 0);
  EXPECT_EQ(set(settings, "array", "line:2:40mm"), "");
  EXPECT_EQ(said(VekStream_GetArray(settings.get(), 16000, nullptr)), "");
  for (const char* name : {static_cast<const char*>(nullptr), "nonsense"}) {
    EXPECT_EQ(VekStream_Get(settings.get(), name), nullptr);
    EXPECT_TRUE(std::isnan(VekStream_GetNumber(settings.get(), name)));
  }
  EXPECT_TRUE(std::isnan(VekStream_GetNumber(settings.get(), "angle-start")));
  EXPECT_EQ(set(settings, "angle-start", "20"), "");
  EXPECT_EQ(VekStream_GetNumber(settings.get(), "angle-start"), 20.0);
  VekStream_GetConfig(settings.get(), nullptr);
  EXPECT_EQ(VekStream_GetPicks(settings.get(), nullptr), 0);
  // Neither the rate nor the channels are known yet.
  EXPECT_EQ(set(settings, "angle", "auto"), "");
  EXPECT_EQ(said(VekStream_Check(settings.get(), 0, 0)), "");
  expect_line(said(VekStream_Check(settings.get(), 16000, 1)),
              {"2 microphones, the sound 1 channel:"});
}

TEST(StreamSettings, NoSettingsAreToldLikeAnyFault) {
  VekStream* stream = nullptr;
  expect_line(said(VekStream_Set(nullptr, "angle", "1")), {"memory"});
  expect_line(said(VekStream_ReadFile(nullptr, "x")), {"memory"});
  expect_line(said(VekStream_Check(nullptr, 16000, 1)), {"memory"});
  expect_line(said(VekStream_Open(nullptr, 16000, 1, &stream)), {"memory"});
  expect_line(said(VekStream_GetArray(nullptr, 16000, nullptr)), {"memory"});
  EXPECT_EQ(VekStream_Get(nullptr, "angle"), nullptr);
  EXPECT_TRUE(std::isnan(VekStream_GetNumber(nullptr, "angle")));
  VekStream_GetConfig(nullptr, nullptr);
  EXPECT_EQ(VekStream_GetPicks(nullptr, nullptr), 0);
  EXPECT_EQ(VekStream_CopySettings(nullptr), nullptr);
  VekStream_FreeSettings(nullptr);
}

TEST(StreamSettings, TheHostsLocaleDoesNotCount) {
  // Made here: which ones a machine has is its own business.
  const std::string folder = testing::TempDir() + "vekbf_locales";
  const std::string locale = folder + "/de_DE.UTF-8";
  const std::string make = "[ -d " + locale + " ] || { mkdir -p " + folder +
                           " && localedef -i de_DE -f UTF-8 " + locale + " 2>/dev/null; }";
  const bool made = std::system(make.c_str()) == 0;
  setenv("LOCPATH", folder.c_str(), 1);
  if (!made || setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) {
    GTEST_SKIP() << "no locale with a decimal comma (Debian package locales)";
  }
  if (std::strtod("3,5", nullptr) != 3.5) {
    setlocale(LC_ALL, "C");
    GTEST_SKIP() << "a C library without decimal commas";
  }
  const Settings settings = settings_of({{"array", "line:2:3.5cm"}, {"pre-gain", "-1.5"}});
  setlocale(LC_ALL, "C");
  EXPECT_EQ(positions(array_of(settings)), "0,0 0.0350000001,0");
  EXPECT_EQ(VekStream_GetNumber(settings.get(), "pre-gain"), -1.5);
}

}  // namespace
}  // namespace vekbf::test
