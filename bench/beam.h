// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "base/instance.h"
#include "vek_bf.h"

namespace vekbf::bench {

enum class Side { kLibrary, kModel };

// A configured instance of the library or of the plain model. The lines that configuring prints are
// kept from standard output, which belongs to the benchmark's table.
class Beam {
 public:
  Beam(Side side, VekBfAlgorithm algorithm, VekBfGeometry geometry, int mics);
  ~Beam();
  Beam(const Beam&) = delete;
  Beam& operator=(const Beam&) = delete;

  void run(const int16_t* in, int16_t* out, int angle);
  Instance* instance() { return instance_; }

 private:
  Side side_;
  std::vector<uint64_t> buffer_;
  Instance* instance_;
};

// The array of the benchmarks: 35 mm spacing, or a radius of 35 mm.
VekBfInit bench_array(VekBfAlgorithm algorithm, VekBfGeometry geometry, int mics);

}  // namespace vekbf::bench
