// SPDX-License-Identifier: MIT
//
// direction_runner ARRAY RATE SIGNAL BLOCKS: runs so many blocks through a direction finder, with a
// system call before and after each that an instruction counter takes for a mark (sched_yield,
// which the library never makes). SIGNAL may be the path of a file of raw interleaved 16-bit
// samples. With no arguments it lists arrays and signals.
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "direction_source.h"

int main(int argc, char** argv) {
  using namespace vekbf::bench;
  if (argc != 5) {
    std::puts("direction_runner ARRAY RATE SIGNAL BLOCKS");
    std::printf("arrays: %s\nsignals: %s, or a file\n", kDirectionArrays, kDirectionSignals);
    return argc == 1 ? 0 : 2;
  }
  VekBfInit array;
  if (!direction_array(argv[1], static_cast<uint32_t>(std::atoi(argv[2])), array)) return 2;
  DirectionSource source(argv[3], array.micNum);
  static uint64_t memory[128 * 1024 / sizeof(uint64_t)];
  const VekDirHandle finder = VekDir_Init(memory, &array);
  if (finder == nullptr) return 1;
  VekDirState state;
  for (int b = 0; b < std::atoi(argv[4]); ++b) {
    const int16_t* block = source.next();
    syscall(SYS_sched_yield);
    VekDir_Run(finder, block, &state);
    syscall(SYS_sched_yield);
  }
  std::printf("%d\n", state.angle);
  return 0;
}
