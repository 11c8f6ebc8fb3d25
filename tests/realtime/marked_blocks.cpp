// SPDX-License-Identifier: MIT
//
// marked_blocks silent|speaking [planted]: plays the streams of the real-time tests with a system
// call before and after each block that the library never makes (sched_yield), so that a list of
// the process's system calls shows those in between. "planted" makes one more in the 7th block.
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "realtime/build_kind.h"
#include "realtime/streams.h"

namespace vekbf::test {
namespace {

constexpr int kBlocks = kEmulated ? 20 : 200;
constexpr int kPlantedBlock = 7;

void play(const Scene& scene, bool planted) {
  std::vector<uint64_t> memory(kWorkBufferSize / sizeof(uint64_t));
  const VekBfHandle handle = VekBf_Init(memory.data(), &scene.init);
  VekBf_SetConfig(handle, &scene.config);
  Signal signal(scene.signal, scene.seed, channels_of(scene));
  AnglePath path(scene);
  std::vector<int16_t> in(static_cast<size_t>(kHopSize * channels_of(scene)));
  int16_t out[kHopSize];
  for (int b = 1; b <= scene.blocks; ++b) {
    signal.block(in.data());
    const int32_t angle = path.next();
    syscall(SYS_sched_yield);
    VekBf_Run(handle, in.data(), out, angle);
    if (planted && b == kPlantedBlock) syscall(SYS_getppid);
    syscall(SYS_sched_yield);
  }
  VekBf_Free(handle);
}

}  // namespace
}  // namespace vekbf::test

int main(int argc, char** argv) {
  using namespace vekbf::test;
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // each line is written where it is printed
  const bool speaking = argc > 1 && std::strcmp(argv[1], "speaking") == 0;
  const bool planted = argc > 2 && std::strcmp(argv[2], "planted") == 0;
  for (const Scene& scene : speaking ? speaking_streams(kBlocks) : silent_streams(kBlocks)) {
    play(scene, planted);
  }
  return 0;
}
