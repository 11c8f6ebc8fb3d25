// SPDX-License-Identifier: MIT
//
// The values of all settings.
#pragma once

#include <cstdint>

#include "base/sizes.h"
#include "stream/angle_track.h"
#include "stream/message.h"
#include "vek_bf.h"

namespace vekbf::stream {

// In the order in which they are listed.
enum Key {
  kArray,
  kMic,
  kMics,
  kGeometry,
  kSoundSpeed,
  kForce,
  kChannels,
  kAlgorithm,
  kIntensity,
  kVadThreshold,
  kAngle,
  kAngleTrack,
  kAngleStart,
  kSector,
  kHold,
  kFocus,
  kPreGain,
  kKeepTime,
  kKeyCount
};

// A plain record: copies of it are made by copy_values alone.
struct Values {
  // Owned, ended by zeros; null where nothing was set. `mic` adds to the text of `mics`.
  char* text[kKeyCount];

  bool fromShape;  // the array is that of `array`, not of positions
  int32_t micCount;
  float mic[kMaxMics][2];  // metres
  VekBfGeometry shapeGeometry;
  VekBfGeometry geometry;  // of positions
  int32_t soundSpeed;      // metres per second
  bool force;

  int32_t pickCount;        // of `channels`; 0: not set
  int32_t picks[kMaxMics];  // the first channel is 1
  int32_t arrayPickCount;   // of the file that `array` names; `channels` wins
  int32_t arrayPicks[kMaxMics];
  bool describesArray;  // the settings are such a file

  VekBfAlgorithm algorithm;
  uint32_t intensity;
  double vadThreshold;

  int32_t angle;     // degrees
  bool findAngle;    // by the direction finder, instead
  AngleTrack track;  // owned
  bool hasAngleStart;
  int32_t angleStart;  // degrees, until a talker was heard
  int32_t sectorFrom;  // degrees, 0 to 360; equal: everywhere
  int32_t sectorTo;
  double hold;     // seconds
  int32_t focus;   // decibels
  double preGain;  // decibels
  bool keepTime;
};

// Every key at its default.
Values default_values();
// False if out of memory; `to` then needs no release.
bool copy_values(const Values& from, Values& to);
void release(Values& values);

VekBfGeometry geometry_of(const Values& values);

// The channels of the microphones. No count: every channel is a microphone.
struct Picks {
  int32_t count;
  const int32_t* channel;  // the first is 1
};
Picks picks_of(const Values& values);

}  // namespace vekbf::stream
