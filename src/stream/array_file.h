// SPDX-License-Identifier: MIT
//
// Arrays that stand in files: one that a path names, and the installed ones, by their names.
#pragma once

#include "stream/message.h"
#include "stream/text.h"
#include "stream/values.h"

namespace vekbf::stream {

// Where the installed arrays are, fixed when the library is built.
const char* arrays_folder();

// Takes the microphones, and the channels if the file gives them, of the array that `text` names:
// a path, which has a slash or ends with .conf, or NAME for the file FOLDER/NAME.conf. False after
// a fault; the message stays empty if `text` cannot name a file.
bool take_array_file(Text text, const char* folder, Values& values, Message& message);

}  // namespace vekbf::stream
