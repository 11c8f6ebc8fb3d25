// SPDX-License-Identifier: MIT
#include "beam.h"

#include <stdio.h>
#include <unistd.h>

#include "support/quiet.h"

namespace vekbf::bench {

constexpr Engine kLibrary = {VekBf_Init, VekBf_SetConfig, VekBf_Run, VekBf_Free};

VekBfInit bench_array(VekBfAlgorithm algorithm, VekBfGeometry geometry, int mics, uint32_t rate) {
  VekBfInit array = {};
  array.sampleRate = rate;
  array.bitWidth = 16;
  array.micNum = mics;
  array.soundSpeed = 343;
  array.algorithm = algorithm;
  array.geometry = geometry;
  for (int m = 0; m < mics; ++m) {
    array.micCoordinate[m][0] =
        geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? 0.035f * static_cast<float>(m) : 0.035f;
  }
  return array;
}

Beam::Beam(const Engine& engine, VekBfAlgorithm algorithm, VekBfGeometry geometry, int mics,
           uint32_t rate)
    : engine_(engine), buffer_((kWorkBufferSize + 7) / 8) {
  const test::Quiet quiet;
  const VekBfInit array = bench_array(algorithm, geometry, mics, rate);
  const VekBfConfig config = {0.5f, 5};
  instance_ = engine_.init(buffer_.data(), &array);
  const uint32_t error = engine_.set_config(instance_, &config);
  if (error != VEK_BF_OK) {
    fprintf(stderr, "configuration failed: 0x%x\n", error);
    _exit(1);
  }
}

Beam::~Beam() { engine_.free(instance_); }

void Beam::run(const int16_t* in, int16_t* out, int angle) {
  engine_.run(instance_, in, out, angle);
}

}  // namespace vekbf::bench
