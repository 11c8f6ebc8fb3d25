// SPDX-License-Identifier: MIT
//
// States of the plain model that release themselves.
#pragma once

#include <gtest/gtest.h>

#include <stdlib.h>

#include <cstdint>
#include <memory>

#include "reference/model.h"

namespace vekbf::test {

struct ModelRelease {
  void operator()(RealFftPlan* plan) const { free(plan); }
  void operator()(FftState* state) const { reference::fft_free(state); }
  void operator()(Mcra2State* state) const { reference::mcra2_free(state); }
  void operator()(VadState* state) const { reference::vad_free(state); }
};
template <class T>
using ModelOwned = std::unique_ptr<T, ModelRelease>;

inline ModelOwned<RealFftPlan> plan_of(int32_t size) {
  return ModelOwned<RealFftPlan>(reference::fft_plan_alloc(size));
}

inline ModelOwned<FftState> front_end(int32_t type, int32_t size = kFrameSize,
                                      int32_t symmetric = 0) {
  const FftInitParams params = {symmetric, size, 0, type};
  return ModelOwned<FftState>(reference::fft_init(&params));
}

inline ModelOwned<Mcra2State> estimator(int32_t rate, int32_t bins) {
  const Mcra2InitParams params = {rate, bins};
  return ModelOwned<Mcra2State>(reference::mcra2_init(&params));
}

inline ModelOwned<VadState> detector(int32_t rate, int32_t bins, float threshold) {
  const VadInitParams params = {rate, kFrameSize, bins, threshold};
  return ModelOwned<VadState>(reference::vad_init(&params));
}

// A configured instance of the model: 16 kHz, microphones on the x axis.
class ModelBeam {
 public:
  ModelBeam(int32_t mics, VekBfAlgorithm algorithm, float spacing = 0.05f, uint32_t intensity = 0,
            VekBfGeometry geometry = VEK_BF_UNIFORM_LINEAR_ARRAY)
      : buffer_(std::make_unique<Buffer>()) {
    VekBfInit array = {};
    array.sampleRate = 16000;
    array.bitWidth = 16;
    array.micNum = mics;
    array.soundSpeed = 343;
    array.algorithm = algorithm;
    array.geometry = geometry;
    for (int m = 0; m < 4; ++m) array.micCoordinate[m][0] = spacing * static_cast<float>(m + 1);
    handle_ = reference::init(buffer_->bytes, &array);
    const VekBfConfig config = {0.5f, intensity};
    EXPECT_EQ(VEK_BF_OK, reference::set_config(handle_, &config));
  }
  ~ModelBeam() { reference::free_instance(handle_); }
  ModelBeam(const ModelBeam&) = delete;
  ModelBeam& operator=(const ModelBeam&) = delete;
  Instance* operator->() { return handle_; }
  Instance* get() { return handle_; }

 private:
  struct Buffer {
    alignas(16) unsigned char bytes[vekbf::kWorkBufferSize];
  };
  std::unique_ptr<Buffer> buffer_;
  VekBfHandle handle_ = nullptr;
};

}  // namespace vekbf::test
