// SPDX-License-Identifier: MIT
//
// The table of settings: name, default, help, and the function that reads a value.
#pragma once

#include "stream/message.h"
#include "stream/values.h"
#include "vek_stream.h"

namespace vekbf::stream {

struct Setting {
  VekStreamKey key;
  // Ends the sentence "KEY is ...".
  const char* right;
  // Takes a value. False if the text is not a value; the caller then writes the message, unless
  // this function has written a more precise one. `values` may be left half changed.
  bool (*take)(Text value, Values& values, Message& message);
};

extern const Setting kSettings[kKeyCount];

// Removes all microphones, whether they were given as a shape or as positions.
void forget_array(Values& values);

// The place of `name` in kSettings, or kKeyCount.
Key find_key(Text name);

// The fault of a name that is not a setting.
void refuse_key(Text name, Message& message);

// Takes a value and its text. False after a fault, of which `message` tells; `values` may be left
// half changed.
bool take_value(Key key, Text value, Values& values, Message& message);

}  // namespace vekbf::stream
