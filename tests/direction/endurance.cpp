// SPDX-License-Identifier: MIT
//
// A day of sound, or the part of one that the argument gives in seconds: the finder goes on to hear
// what it heard on the first minute, and its memory is the caller's buffer from beginning to end.
//
//   direction_endurance [SECONDS]
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "direction/plane_wave.h"
#include "direction/scene.h"

namespace {

using namespace vekbf::test;

constexpr uint32_t kRate = 16000;
constexpr int kMics = 4;
constexpr int kMinute = 60;  // seconds
constexpr size_t kBlock = kMics * VEK_BF_BLOCK_FRAMES;
constexpr int32_t kTalker = 70;

long most_kilobytes() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

int fail(const char* what, long minute) {
  std::printf("minute %ld: %s\n", minute, what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const long seconds = argc > 1 ? std::atol(argv[1]) : 10 * kMinute;
  const VekBfInit array = square_array(kRate, kMics, 0.05f);
  // A minute in which a talker speaks, with noise, a little of everything else, and silence.
  std::vector<int16_t> minute = heard_by(array,
                                         {{kTalker, voice_samples(3, 50 * kRate, kRate, 6000)},
                                          {200, noise_samples(4, 50 * kRate, 200)}},
                                         30, 1);
  for (int kind = 0; kind < kSignalKinds; ++kind) {
    Signal signal(static_cast<SignalKind>(kind), 7, kMics);
    std::vector<int16_t> block(kBlock);
    for (int b = 0; b < 40; ++b) {
      signal.block(block.data());
      minute.insert(minute.begin(), block.begin(), block.end());
    }
  }
  minute.resize(minute.size() / kBlock * kBlock);
  std::vector<uint64_t> memory(VekDir_GetBufferSize() / sizeof(uint64_t));
  const VekDirHandle finder = VekDir_Init(memory.data(), &array);
  long before = 0;
  long heard_first = 0;
  for (long m = 0; m * kMinute < seconds; ++m) {
    VekDirState state = {};
    long heard = 0;
    for (size_t i = 0; i < minute.size(); i += kBlock) {
      if (VekDir_Run(finder, &minute[i], &state) != VEK_DIR_OK) return fail("refused", m);
      if (state.angle < -1 || state.angle > 359) return fail("no angle", m);
      if (!(state.confidence >= 0.0f && state.confidence <= 1.0f)) return fail("no confidence", m);
      heard += state.heard;
    }
    if (degrees_between(state.angle, kTalker) > 4) return fail("the talker is lost", m);
    if (m == 1) {
      before = most_kilobytes();
      heard_first = heard;
    }
    if (m > 1 && most_kilobytes() > before + 64) return fail("memory grows", m);
    if (m > 1 && (heard < heard_first * 9 / 10 || heard > heard_first * 11 / 10)) {
      return fail("another part of the talker is heard than on the first minute", m);
    }
  }
  std::printf("%ld s: the talker stays found, %ld blocks heard a minute, %ld KB\n", seconds,
              heard_first, most_kilobytes());
  return heard_first > 1000 ? 0 : fail("hardly anything is heard", 1);
}
