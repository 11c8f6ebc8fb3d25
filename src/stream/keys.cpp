// SPDX-License-Identifier: MIT
#include "stream/keys.h"

#include <stdlib.h>

#include <initializer_list>

#include "stream/array_file.h"
#include "stream/array_text.h"
#include "vek_direction.h"

namespace vekbf::stream {

namespace {

constexpr double kLongestHold = VEK_DIR_MAX_HOLD_MS / 1000.0;

bool take_array(Text value, Values& values, Message& message) {
  values.arrayPickCount = 0;
  if (!parse_shape(value, values) && !take_array_file(value, arrays_folder(), values, message)) {
    return false;
  }
  values.fromShape = true;
  values.geometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
  for (const Key other : {kMics, kGeometry}) {
    free(values.text[other]);
    values.text[other] = nullptr;
  }
  return true;
}

bool add_position(Text value, Values& values) {
  if (!parse_position(value, values.mic[values.micCount])) return false;
  values.micCount++;
  return true;
}

// Writes "FORMER; ADDED" into the text of `mics`.
bool append_mics_text(Text added, Values& values) {
  const char* former = values.text[kMics];
  const Text head = former != nullptr ? text_of(former) : Text{"", 0};
  char* joined = static_cast<char*>(malloc(head.size + 2 + added.size + 1));
  if (joined == nullptr) return false;
  size_t size = 0;
  const auto put = [&](Text text) {
    for (size_t i = 0; i < text.size; i++) joined[size++] = text.begin[i];
  };
  put(head);
  if (head.size > 0) put(text_of("; "));
  put(added);
  joined[size] = '\0';
  free(values.text[kMics]);
  values.text[kMics] = joined;
  return true;
}

bool take_mic(Text value, Values& values, Message& message) {
  if (values.fromShape) forget_array(values);
  if (values.micCount == kMaxMics) {
    message << "mic is given at most " << int64_t{kMaxMics} << " times, once per microphone: "
            << "there is no room for ";
    message.quote(value);
    return false;
  }
  if (!add_position(value, values)) return false;
  if (append_mics_text(value, values)) return true;
  message << kNoMemory;
  return false;
}

bool take_mics(Text value, Values& values, Message& message) {
  forget_array(values);
  Parts parts = parts_of(value);
  Text position{};
  while (next_part(parts, ';', position)) {
    if (values.micCount == kMaxMics) {
      message << "mics is at most " << int64_t{kMaxMics} << " positions, not ";
      message.quote(value);
      return false;
    }
    if (add_position(trimmed(position), values)) continue;
    message << "mics is positions x,y in metres with ; between them, such as 0,0; 0.05,0, not ";
    message.quote(value);
    return false;
  }
  return values.micCount > 0;
}

bool take_geometry(Text value, Values& values, Message& message) {
  VekBfGeometry geometry{};
  if (!parse_geometry(value, geometry)) return false;
  if (values.fromShape && geometry != values.shapeGeometry) {
    message << "geometry is " << geometry_word(values.shapeGeometry) << " for array ";
    message.quote(text_of(values.text[kArray]))
        << ": leave it out, or give mics instead of array, not ";
    message.quote(value);
    return false;
  }
  values.geometry = geometry;
  return true;
}

bool in_range(Text value, int32_t lowest, int32_t highest, int32_t& number) {
  int32_t read = 0;
  if (!parse_number(value, read) || read < lowest || read > highest) return false;
  number = read;
  return true;
}

bool in_range(Text value, double lowest, double highest, double& number) {
  double read = 0;
  if (!parse_number(value, read) || read < lowest || read > highest) return false;
  number = read;
  return true;
}

bool parse_switch(Text value, bool& on) {
  for (const char* word : {"yes", "true", "on", "1"}) {
    if (equal(value, word)) return on = true;
  }
  for (const char* word : {"no", "false", "off", "0"}) {
    if (equal(value, word)) return !(on = false);
  }
  return false;
}

bool take_channels(Text value, Values& values, Message&) {
  values.pickCount = 0;
  Parts parts = parts_of(value);
  Text part{};
  while (next_part(parts, ',', part)) {
    int32_t channel = 0;
    const bool room = values.pickCount < kMaxMics;
    if (!room || !in_range(trimmed(part), 1, VEK_STREAM_MAX_CHANNELS, channel)) return false;
    for (int32_t p = 0; p < values.pickCount; p++) {
      if (values.picks[p] == channel) return false;
    }
    values.picks[values.pickCount++] = channel;
  }
  return values.pickCount > 0;
}

bool take_algorithm(Text value, Values& values, Message&) {
  if (!equal(value, "fixed") && !equal(value, "adaptive")) return false;
  values.algorithm = equal(value, "fixed") ? VEK_FIXED_BF : VEK_ADAPTIVE_BF;
  return true;
}

bool take_angle_track(Text value, Values& values, Message& message) {
  if (value.size == 0) return false;
  char* path = copy_text(value);
  if (path == nullptr) {
    message << kNoMemory;
    return false;
  }
  message << "angle-track ";
  message.quote(value) << ": ";
  AngleTrack track{};
  const bool read = read_track(path, track, message);
  free(path);
  if (!read) return false;
  release(values.track);
  values.track = track;
  return true;
}

bool take_angle(Text value, Values& values, Message&) {
  values.findAngle = equal(value, "auto");
  return values.findAngle || in_range(value, INT32_MIN, INT32_MAX, values.angle);
}

bool take_angle_start(Text value, Values& values, Message&) {
  return values.hasAngleStart = in_range(value, INT32_MIN, INT32_MAX, values.angleStart);
}

bool take_sector(Text value, Values& values, Message&) {
  constexpr int32_t kTurn = 360;
  const size_t comma = find(value, ',');
  if (comma == value.size) return false;
  return in_range(trimmed(first_of(value, comma)), -kTurn, kTurn, values.sectorFrom) &&
         in_range(trimmed(without_first(value, comma + 1)), -kTurn, kTurn, values.sectorTo);
}

bool take_intensity(Text value, Values& values, Message&) {
  int32_t intensity = 0;
  if (!in_range(value, 0, 10, intensity)) return false;
  values.intensity = static_cast<uint32_t>(intensity);
  return true;
}

}  // namespace

const Setting kSettings[kKeyCount] = {
    {{"array", "SHAPE", nullptr,
      "line:N:SPACING from microphone 0 towards +x, or square:SIDE with microphones at 0, 90, 180, "
      "270 degrees; lengths in mm, cm or m; or the name or the file of an array"},
     "line:N:SPACING (1 to 4 microphones, such as line:4:35mm) or square:SIDE (such as "
     "square:64mm)",
     take_array},
    {{"mic", "X,Y", nullptr,
      "Position of a microphone in metres; once per channel, in channel order"},
     "two coordinates in metres, x,y (such as 0.05,0)",
     take_mic},
    {{"mics", "X,Y;...", nullptr, "Positions of all microphones in metres, in channel order"},
     "positions x,y in metres with ; between them, such as 0,0; 0.05,0",
     take_mics},
    {{"geometry", "linear|triangle", "linear",
      "linear: on the x axis; triangle: at 0, 90, 180, 270 degrees on a circle of radius |x| of "
      "the first microphone"},
     "linear or triangle",
     take_geometry},
    {{"sound-speed", "NUMBER", "343", "Speed of sound in metres per second, a whole number"},
     "a whole number of metres per second, at least 1",
     [](Text value, Values& values, Message&) {
       return in_range(value, 1, INT32_MAX, values.soundSpeed);
     }},
    {{"force", "yes|no", "no",
      "Accept a rectangle or a circle, for which the library has no steering"},
     "yes or no",
     [](Text value, Values& values, Message&) { return parse_switch(value, values.force); }},
    {{"channels", "N,...", nullptr,
      "Channels of the recording to take, in microphone order; the first is 1"},
     "at most 4 different numbers from 1 to 64, such as 1,3,5,7",
     take_channels},
    {{"algorithm", "fixed|adaptive", "fixed",
      "fixed: delay-and-sum; adaptive: also cancels steady noise, at some cost to the talker"},
     "fixed or adaptive",
     take_algorithm},
    {{"intensity", "NUMBER", "3", "Strength of the adaptive beamformer's gate, 0 to 10"},
     "a whole number from 0 to 10",
     take_intensity},
    {{"vad-threshold", "NUMBER", "0.5", "Detector threshold, 0 to 1"},
     "a number from 0 to 1",
     [](Text value, Values& values, Message&) {
       return in_range(value, 0.0, 1.0, values.vadThreshold);
     }},
    {{"angle", "DEGREES|auto", "90",
      "Direction of the talker in degrees, from +x towards +y; a line hears 0 to 180, 90 is "
      "broadside; auto finds and follows him"},
     "a whole number of degrees, such as 60, or auto",
     take_angle},
    {{"angle-track", "FILE", nullptr,
      "File of lines SECONDS DEGREES: from each time on that angle holds"},
     "a file of lines SECONDS DEGREES",
     take_angle_track},
    {{"angle-start", "DEGREES", nullptr,
      "With angle auto: the direction until a talker is heard; else the middle of the sector, or "
      "90"},
     "a whole number of degrees, such as 60",
     take_angle_start},
    {{"sector", "FROM,TO", nullptr,
      "With angle auto: degrees between which a talker is followed, counter-clockwise"},
     "two whole numbers of degrees from -360 to 360, such as 30,150",
     take_sector},
    {{"hold", "SECONDS", "0.13",
      "With angle auto: how long a talker elsewhere must sound to be followed, 0 to 10"},
     "a number of seconds from 0 to 10",
     [](Text value, Values& values, Message&) {
       return in_range(value, 0.0, kLongestHold, values.hold);
     }},
    {{"focus", "DECIBELS", "15",
      "With angle auto: sound more than this below the recent loudest is not followed, 1 to 96"},
     "a whole number of decibels from 1 to 96",
     [](Text value, Values& values, Message&) {
       return in_range(value, 1, static_cast<int32_t>(VEK_DIR_MAX_FOCUS_DB), values.focus);
     }},
    {{"pre-gain", "DECIBELS", "0",
      "Gain in dB before the samples are rounded to 16 bits, -60 to 60"},
     "a number of decibels from -60 to 60",
     [](Text value, Values& values, Message&) {
       return in_range(value, -60.0, 60.0, values.preGain);
     }},
    {{"keep-time", "yes|no", "yes",
      "Keep time through digital silence; without it the library drops silent blocks"},
     "yes or no",
     [](Text value, Values& values, Message&) { return parse_switch(value, values.keepTime); }},
};

void forget_array(Values& values) {
  values.fromShape = false;
  values.micCount = 0;
  values.arrayPickCount = 0;
  for (const Key key : {kArray, kMics}) {
    free(values.text[key]);
    values.text[key] = nullptr;
  }
}

Key find_key(Text name) {
  int key = 0;
  while (key < kKeyCount && !equal(name, kSettings[key].key.name)) key++;
  return static_cast<Key>(key);
}

void refuse_key(Text name, Message& message) {
  message.quote(name) << " is not a setting: there are ";
  for (int key = 0; key < kKeyCount; key++) {
    message << (key == 0 ? "" : ", ") << kSettings[key].key.name;
  }
}

bool take_value(Key key, Text value, Values& values, Message& message) {
  const Setting& setting = kSettings[key];
  Message detail;
  if (!setting.take(value, values, detail)) {
    if (detail.empty()) {
      detail << setting.key.name << " is " << setting.right << ", not ";
      detail.quote(value);
    }
    message << detail.line();
    return false;
  }
  if (key == kMic) return true;
  char* text = copy_text(value);
  if (text == nullptr) {
    message << kNoMemory;
    return false;
  }
  free(values.text[key]);
  values.text[key] = text;
  return true;
}

}  // namespace vekbf::stream
