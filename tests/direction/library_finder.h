// SPDX-License-Identifier: MIT
//
// The library as a finder under test.
#pragma once

#include <vector>

#include "direction/scene.h"

namespace vekbf::test {

class LibraryFinder : public DirectionEngine {
 public:
  bool start(const VekBfInit& array) override {
    memory_.assign(VekDir_GetBufferSize() / sizeof(uint64_t), 0xd3d3d3d3d3d3d3d3u);
    return restart(array);
  }
  // In the same memory, with whatever is in it.
  bool restart(const VekBfInit& array) {
    handle_ = VekDir_Init(memory_.data(), &array);
    return handle_ != nullptr;
  }
  void configure(const VekDirConfig& config) override {
    EXPECT_EQ(VekDir_SetConfig(handle_, &config), VEK_DIR_OK);
  }
  void pause(bool on) override { EXPECT_EQ(VekDir_Pause(handle_, on ? 1 : 0), VEK_DIR_OK); }
  VekDirState run(const int16_t* in) override {
    VekDirState state;
    EXPECT_EQ(VekDir_Run(handle_, in, &state), VEK_DIR_OK);
    return state;
  }
  void map(float* out) override { EXPECT_EQ(VekDir_GetMap(handle_, out), VEK_DIR_OK); }

 private:
  std::vector<uint64_t> memory_;
  VekDirHandle handle_ = nullptr;
};

}  // namespace vekbf::test
