// SPDX-License-Identifier: MIT
//
// Streams of audio and angles through the library and the plain model side by side: every sample
// and every field of the state after every block.
#include "fuzz/twin.h"

namespace {

constexpr int kMaxBlocks = 200;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vekbf::fuzz;
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
    if (what == 255) twin.configure(read_config(input, false));
    twin.run(read_block(input, twin.values()), angle);
  }
  return 0;
}
