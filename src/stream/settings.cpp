// SPDX-License-Identifier: MIT
#include "stream/settings.h"

#include <cmath>
#include <cstring>
#include <initializer_list>

#include "stream/array_text.h"

namespace vekbf::stream {

namespace {

constexpr uint32_t kLowestRate = 8000;
constexpr uint32_t kHighestRate = 48000;
constexpr uint32_t kUsualRate = 16000;  // where none is known yet
constexpr int32_t kStraightAhead = 90;  // degrees

bool describes_array(Key key) { return key == kArray || key == kMic || key == kMics; }

// Whether the file of an array may have the word.
bool belongs_to_array(Key key) {
  return describes_array(key) || key == kGeometry || key == kChannels;
}

const char* array_key(const Values& values) { return values.fromShape ? "array" : "mics"; }

Text array_text(const Values& values) {
  return text_of(values.text[values.fromShape ? kArray : kMics]);
}

}  // namespace

Changes::Changes(VekStreamSettings& settings, bool isFile)
    : settings_(settings), isFile_(isFile), ready_(copy_values(settings.values, values_)) {
  std::memcpy(setIn_, settings.setIn, sizeof setIn_);
}

Changes::~Changes() {
  if (ready_) release(values_);
}

bool Changes::fits_the_file(Key key, Text value, Message& message) const {
  if (values_.describesArray && !belongs_to_array(key)) {
    message << "the file of an array says array, mic, mics, geometry and channels, not "
            << kSettings[key].key.name;
    return false;
  }
  const uint32_t layer = settings_.layer;
  for (const Key other : {kArray, kMic, kMics}) {
    if (!describes_array(key) || other == key || setIn_[other] != layer) continue;
    message << kSettings[key].key.name << " and " << kSettings[other].key.name
            << " exclude each other: leave one out, or ";
    message.quote(value);
    return false;
  }
  if (key != kMic && setIn_[key] == layer) {
    message << kSettings[key].key.name << " is given once, not a second time as ";
    message.quote(value);
    return false;
  }
  return true;
}

bool Changes::set(Key key, Text value, Message& message) {
  if (isFile_ && !fits_the_file(key, value, message)) return false;
  const uint32_t layer = settings_.layer;
  const VekBfGeometry geometry = values_.geometry;
  const bool geometryInFile = isFile_ && setIn_[kGeometry] == layer;
  if (key == kMic && setIn_[kMic] != layer && setIn_[kMics] != layer) forget_array(values_);
  if (!take_value(key, value, values_, message)) return false;
  if (key == kArray && geometryInFile && geometry != values_.shapeGeometry) {
    message << "array ";
    message.quote(value) << " is " << geometry_word(values_.shapeGeometry)
                         << ": leave geometry out, not '" << geometry_word(geometry) << "'";
    return false;
  }
  setIn_[key] = layer;
  return true;
}

void Changes::take() {
  release(settings_.values);
  settings_.values = values_;
  std::memcpy(settings_.setIn, setIn_, sizeof setIn_);
  ready_ = false;  // the strings now belong to the settings
}

bool check_array(const Values& values, Message& message) {
  const VekBfGeometry geometry = geometry_of(values);
  if (values.micCount == 0) {
    message << "array is missing: line:N:SPACING, such as line:4:35mm, or square:SIDE, such as "
               "square:64mm; or mics gives the positions";
    return false;
  }
  if (!values.force && geometry != VEK_BF_UNIFORM_LINEAR_ARRAY &&
      geometry != VEK_BF_UNIFORM_TRIANGLE_ARRAY) {
    message << "geometry is linear or triangle, not '" << geometry_word(geometry)
            << "': the library has no steering for a rectangle or a circle and would give "
               "silence; use triangle for microphones at 0, 90, 180 and 270 degrees on a circle, "
               "or linear for those of one side; force accepts it anyway";
    return false;
  }
  return true;
}

bool check_picks(const Values& values, Message& message) {
  if (values.pickCount == 0 || values.pickCount == values.micCount) return true;
  message << "channels is one number per microphone: " << int64_t{values.micCount} << ", not "
          << int64_t{values.pickCount} << " as in ";
  message.quote(text_of(values.text[kChannels]));
  return false;
}

namespace {

// Whether the direction finder, where it is asked for, takes the array.
bool check_direction(const Values& values, uint32_t sampleRate, Message& message) {
  if (!values.findAngle) return true;
  if (values.track.count > 0) {
    message << "angle is a whole number of degrees where angle-track ";
    message.quote(text_of(values.text[kAngleTrack]))
        << " gives the angles, or angle-track is left out, not 'auto'";
    return false;
  }
  const VekBfInit array = array_of(values, sampleRate != 0 ? sampleRate : kUsualRate);
  const uint32_t fault = VekDir_CheckArray(&array);
  if (fault == VEK_DIR_OK) return true;
  message << "angle is a whole number of degrees, such as 60, not 'auto': the direction finder ";
  if (fault == VEK_DIR_ERR_MIC_NUM) {
    message << "takes 2 to 4 microphones";
  } else if (fault == VEK_DIR_ERR_GEOMETRY) {
    message << "takes a line or the corners of a square";
  } else {
    message << "tells no directions apart with these positions and this speed of sound";
  }
  return false;
}

// The fault of microphones that are in channels which the sound does not have.
void refuse_picks(const Values& values, int32_t channels, const Picks& picks, Message& message) {
  if (values.pickCount > 0) {
    message << "channels is numbers up to " << int64_t{channels}
            << ", the channels that the sound has, not ";
    message.quote(text_of(values.text[kChannels]));
    return;
  }
  message << "array ";
  message.quote(array_text(values)) << " has its microphones in the channels ";
  for (int32_t p = 0; p < picks.count; p++) {
    message << (p == 0 ? "" : ",") << int64_t{picks.channel[p]};
  }
  message << " of its device, the sound has " << int64_t{channels}
          << (channels == 1 ? " channel" : " channels")
          << ": record all of them, or channels says where the microphones are";
}

}  // namespace

bool check(const Values& values, uint32_t sampleRate, int32_t channels, Message& message) {
  if (!check_array(values, message) || !check_picks(values, message)) return false;
  if (sampleRate != 0 && (sampleRate < kLowestRate || sampleRate > kHighestRate)) {
    message << "the sample rate is " << int64_t{kLowestRate} << " to " << int64_t{kHighestRate}
            << " Hz, not " << int64_t{sampleRate};
    return false;
  }
  if (!check_direction(values, sampleRate, message)) return false;
  if (channels == 0) return true;
  if (channels < 1 || channels > VEK_STREAM_MAX_CHANNELS) {
    message << "the sound has 1 to " << int64_t{VEK_STREAM_MAX_CHANNELS} << " channels, not "
            << int64_t{channels};
    return false;
  }
  const Picks picks = picks_of(values);
  for (int32_t p = 0; p < picks.count; p++) {
    if (picks.channel[p] <= channels) continue;
    refuse_picks(values, channels, picks, message);
    return false;
  }
  if (picks.count == 0 && channels != values.micCount) {
    message << array_key(values) << " ";
    message.quote(array_text(values))
        << " has " << int64_t{values.micCount}
        << (values.micCount == 1 ? " microphone" : " microphones") << ", the sound "
        << int64_t{channels} << (channels == 1 ? " channel" : " channels")
        << ": describe every microphone, or name the channels to take with channels";
    return false;
  }
  return true;
}

VekBfInit array_of(const Values& values, uint32_t sampleRate) {
  VekBfInit array{};
  array.sampleRate = sampleRate;
  array.bitWidth = 16;
  array.micNum = values.micCount;
  array.soundSpeed = values.soundSpeed;
  array.algorithm = values.algorithm;
  array.geometry = geometry_of(values);
  for (int32_t m = 0; m < values.micCount; m++) {
    array.micCoordinate[m][0] = values.mic[m][0];
    array.micCoordinate[m][1] = values.mic[m][1];
  }
  return array;
}

VekDirConfig direction_of(const Values& values) {
  const auto holdMs = static_cast<uint32_t>(std::lround(values.hold * 1000.0));
  // 0 would be the finder's default, and less than an update's time is none.
  return {values.sectorFrom, values.sectorTo, holdMs == 0 ? 1 : holdMs,
          static_cast<uint32_t>(values.focus)};
}

int32_t first_angle_of(const Values& values) {
  if (!values.findAngle) return values.angle;
  if (values.hasAngleStart) return values.angleStart;
  constexpr int32_t kTurn = 360;
  const int32_t width = (values.sectorTo - values.sectorFrom + 2 * kTurn) % kTurn;
  return width == 0 ? kStraightAhead : (values.sectorFrom + width / 2 + kTurn) % kTurn;
}

VekBfConfig config_of(const Values& values) {
  return {static_cast<float>(values.vadThreshold), values.intensity};
}

}  // namespace vekbf::stream
