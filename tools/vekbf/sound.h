// SPDX-License-Identifier: MIT
#pragma once

#include <sndfile.h>

#include <memory>
#include <string>

namespace vekbf_tool {

struct CloseSound {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
using Sound = std::unique_ptr<SNDFILE, CloseSound>;

// Both may be called by several threads at a time. `failure`, "cannot read ..." say, begins the
// text of the RunError that is thrown where libsndfile does not open the file.
//
// The file may be a pipe that delivers nothing yet; an interruption then ends the wait, with
// Interruption.
Sound open_to_read(const std::string& path, SF_INFO& info, const std::string& failure);
// Takes the descriptor over.
Sound open_to_write(int descriptor, SF_INFO& info, const std::string& failure);

}  // namespace vekbf_tool
