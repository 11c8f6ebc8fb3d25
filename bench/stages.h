// SPDX-License-Identifier: MIT
//
// The stages of a block by name, for the timing benchmark and for the instruction counts alike.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace vekbf::bench {

// What the stages work on: an adaptive four-microphone instance of the library that has run over
// speech in noise, and copies of its signals that a stage may spoil.
struct Workload;

struct WorkloadDeleter {
  void operator()(Workload* workload) const;
};
using WorkloadPointer = std::unique_ptr<Workload, WorkloadDeleter>;

WorkloadPointer make_workload();

struct Stage {
  const char* name;
  void (*library)(Workload&);
  void (*model)(Workload&);  // null where the plain model has no operation of its own for it
};

// Transforms, steering, and the parts of the adaptive frame.
std::span<const Stage> stages();

}  // namespace vekbf::bench
