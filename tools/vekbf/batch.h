// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "run_setup.h"

namespace vekbf_tool {

// A run like `pattern` for each of its input files, several at a time: the result goes into the
// folder under the name of the input. None of the files in `filesRead` is written over. All are
// tried; throws RunError in the end if one failed.
void process_batch(const RunSetup& pattern, const std::string& folder,
                   const std::vector<std::string>& filesRead);

}  // namespace vekbf_tool
