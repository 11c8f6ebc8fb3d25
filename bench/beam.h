// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

#include "base/instance.h"
#include "vek_bf.h"

namespace vekbf::bench {

// Who computes: the library of this program, another build of it, or the plain model.
struct Engine {
  VekBfHandle (*init)(void* buffer, const VekBfInit* array);
  uint32_t (*set_config)(VekBfHandle handle, const VekBfConfig* config);
  uint32_t (*run)(VekBfHandle handle, const int16_t* in, int16_t* out, int32_t angle);
  uint32_t (*free)(VekBfHandle handle);
};
extern const Engine kLibrary;

// A configured instance. The lines that configuring prints are kept from standard output, which
// belongs to the benchmark's table.
class Beam {
 public:
  Beam(const Engine& engine, VekBfAlgorithm algorithm, VekBfGeometry geometry, int mics,
       uint32_t rate = 16000);
  ~Beam();
  Beam(const Beam&) = delete;
  Beam& operator=(const Beam&) = delete;

  void run(const int16_t* in, int16_t* out, int angle);
  Instance* instance() { return instance_; }

 private:
  const Engine& engine_;
  std::vector<uint64_t> buffer_;
  Instance* instance_;
};

// The array of the benchmarks: 35 mm spacing, or a radius of 35 mm.
VekBfInit bench_array(VekBfAlgorithm algorithm, VekBfGeometry geometry, int mics,
                      uint32_t rate = 16000);

}  // namespace vekbf::bench
