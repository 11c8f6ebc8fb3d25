// SPDX-License-Identifier: MIT
#include "beam.h"

#include <cstdio>
#include <string>

#include "failure.h"

namespace vekbf_tool {

namespace {

VekBfInit describe(const Arguments& arguments, int sampleRate) {
  VekBfInit init{};
  init.sampleRate = static_cast<std::uint32_t>(sampleRate);
  init.bitWidth = 16;
  init.micNum = static_cast<std::int32_t>(arguments.array.mics.size());
  init.soundSpeed = arguments.array.soundSpeed;
  init.algorithm = arguments.algorithm;
  init.geometry = arguments.array.geometry;
  std::size_t m = 0;
  for (const Position& mic : arguments.array.mics) {
    init.micCoordinate[m][0] = mic.x;
    init.micCoordinate[m][1] = mic.y;
    m++;
  }
  return init;
}

void expect_ok(std::uint32_t code, const char* call) {
  if (code == VEK_BF_OK) return;
  char text[64];
  std::snprintf(text, sizeof text, "%s failed with code 0x%08x", call, code);
  throw RunError(text);
}

}  // namespace

Beam::Beam(const Arguments& arguments, int sampleRate)
    : buffer_(std::make_unique<std::byte[]>(VekBf_GetBufferSize())) {
  const VekBfInit init = describe(arguments, sampleRate);
  handle_ = VekBf_Init(buffer_.get(), &init);
  const std::uint32_t code = VekBf_SetConfig(handle_, &arguments.config);
  if (code != VEK_BF_OK) {
    VekBf_Free(handle_);
    expect_ok(code, "VekBf_SetConfig");
  }
  if (arguments.verbose) VekBf_GetConfig(handle_);
}

Beam::~Beam() { VekBf_Free(handle_); }

void Beam::run(const std::int16_t* in, std::int16_t* out, std::int32_t angle) {
  expect_ok(VekBf_Run(handle_, in, out, angle), "VekBf_Run");
}

}  // namespace vekbf_tool
