// SPDX-License-Identifier: MIT
//
// The plain model as a finder under test.
#pragma once

#include <algorithm>
#include <memory>

#include "direction/scene.h"
#include "reference/direction.h"

namespace vekbf::test {

class ModelFinder : public DirectionEngine {
 public:
  bool start(const VekBfInit& array) override {
    model_ = std::make_unique<reference::Direction>();
    return model_->init(array);
  }
  void configure(const VekDirConfig& config) override {
    model_->configure({config.sectorFrom, config.sectorTo, config.holdMs, config.focusDb});
  }
  void pause(bool on) override { model_->pause(on); }
  VekDirState run(const int16_t* in) override {
    const reference::DirectionState state = model_->run(in);
    return {state.angle, state.heard, state.confidence, state.age};
  }
  void map(float* out) override {
    const auto map = model_->map();
    std::copy(map.begin(), map.end(), out);
  }

 private:
  std::unique_ptr<reference::Direction> model_;
};

}  // namespace vekbf::test
