// SPDX-License-Identifier: MIT
//
// Streams of audio and angles through the library and the plain model side by side: every sample
// and every field of the state after every block.
#include "fuzz/twin.h"
#include "noise/mcra2.h"
#include "noise/vad.h"

namespace {

using namespace vekbf::fuzz;

constexpr int kMaxBlocks = 200;

// What is missing is refused by the detector too.
void refusals() {
  float power = 1.0f;
  expect(mcra2_init(nullptr) == nullptr, "not refused", "mcra2_init");
  mcra2_run(nullptr, &power);
  mcra2_free(nullptr);
  expect(vad_init(nullptr) == nullptr, "not refused", "vad_init");
  expect(vad_run(nullptr, &power) == -1.0f, "not refused", "vad_run");
  vad_free(nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  tally("streams");
  Twin twin(read_init(input, false));
  twin.configure(read_config(input, false));
  // The transform and the detector exist or do not: a refused configuration gives silence.
  int32_t angle = 90;
  for (int b = 0; b < kMaxBlocks && !input.empty(); ++b) {
    const uint8_t what = input.byte();
    if (what % 8 == 1) angle = input.number();
    if (what % 8 >= 2) angle = angle % 100000 + what / 8 - 16;
    if (what == 254) twin.smooth_detectors(static_cast<float>(input.byte()) / 256.0f);
    if (what == 255) twin.configure(read_config(input, false));
    twin.run(read_block(input, twin.values()), angle);
  }
  refusals();
  return 0;
}
