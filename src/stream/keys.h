// SPDX-License-Identifier: MIT
//
// The settings by name: what a user writes, and what it means.
#pragma once

#include "stream/message.h"
#include "stream/values.h"
#include "vek_stream.h"

namespace vekbf::stream {

struct Setting {
  VekStreamKey key;
  // Ends the sentence "KEY is ...".
  const char* right;
  // Takes a value. False if it is none; the message is then written by the caller, or says more
  // already. `values` may be left half changed.
  bool (*take)(Text value, Values& values, Message& message);
};

extern const Setting kSettings[kKeyCount];

// No microphones any more, however they were described.
void forget_array(Values& values);

// The place of `name` in kSettings, or kKeyCount.
Key find_key(Text name);

// The fault of a name that is no setting.
void refuse_key(Text name, Message& message);

// Takes a value and its text. False after a fault, of which `message` tells; `values` may be left
// half changed.
bool take_value(Key key, Text value, Values& values, Message& message);

}  // namespace vekbf::stream
