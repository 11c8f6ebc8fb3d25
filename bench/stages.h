// SPDX-License-Identifier: MIT
//
// The stages of a block by name, for the timing benchmark and for the instruction counts alike.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace vekbf::bench {

struct Workload;

struct WorkloadDeleter {
  void operator()(Workload* workload) const;
};
using WorkloadPointer = std::unique_ptr<Workload, WorkloadDeleter>;

WorkloadPointer make_workload();

struct Stage {
  const char* name;
  void (*run)(Workload&);
};

// Transforms, steering, and the parts of the adaptive frame.
std::span<const Stage> stages();

}  // namespace vekbf::bench
