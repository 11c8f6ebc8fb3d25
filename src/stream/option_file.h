// SPDX-License-Identifier: MIT
#pragma once

#include "stream/settings.h"

namespace vekbf::stream {

// Takes the settings that stand in `text`, which came from `path`, and hands further keys to
// `other` if there is one. False after a fault, of which `message` tells; `changes` may be left
// half made.
bool read_options(Text text, const char* path, Changes& changes, VekStreamOther* other, void* user,
                  Message& message);

// "FILE" at the head of a message about a file.
void name_file(const char* path, Message& message);

}  // namespace vekbf::stream
