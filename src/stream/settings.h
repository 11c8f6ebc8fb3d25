// SPDX-License-Identifier: MIT
//
// Settings that a host owns: values, the layers they came in, and the line about the last fault.
#pragma once

#include <cstdint>

#include "stream/keys.h"
#include "stream/message.h"
#include "stream/values.h"
#include "vek_direction.h"
#include "vek_stream.h"

struct VekStreamSettings {
  vekbf::stream::Values values;
  // A file is a layer; so are the settings between two files. Layers count from 1.
  uint32_t layer;
  uint32_t setIn[vekbf::stream::kKeyCount];  // the layer in which a key was set last; 0 for none
  vekbf::stream::Message message;
};

namespace vekbf::stream {

// A set of changes to settings: all of them are taken, or none.
class Changes {
 public:
  Changes(VekStreamSettings& settings, bool isFile);
  ~Changes();
  Changes(const Changes&) = delete;
  Changes& operator=(const Changes&) = delete;

  // False after a fault, of which `message` tells.
  bool set(Key key, Text value, Message& message);
  bool ready() const { return ready_; }
  void take();

 private:
  bool fits_the_file(Key key, Text value, Message& message) const;

  VekStreamSettings& settings_;
  bool isFile_;
  bool ready_;
  Values values_;
  uint32_t setIn_[kKeyCount];
};

// False after a fault, of which `message` tells.
bool check_array(const Values& values, Message& message);
// Whether `channels`, if set, has one number per microphone.
bool check_picks(const Values& values, Message& message);
// Both, and whether the array suits the rate and the host's channels where they are known (not 0).
bool check(const Values& values, uint32_t sampleRate, int32_t channels, Message& message);

VekBfInit array_of(const Values& values, uint32_t sampleRate);
VekBfConfig config_of(const Values& values);
VekDirConfig direction_of(const Values& values);
// The angle of the first block.
int32_t first_angle_of(const Values& values);

}  // namespace vekbf::stream
