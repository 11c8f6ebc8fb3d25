// SPDX-License-Identifier: MIT
#include "stream/listener.h"

#include <stdlib.h>

#include <cstring>

namespace vekbf::stream {

static_assert(sizeof(VekDirState) == 4 * sizeof(uint32_t));

void PublishedState::publish(const VekDirState& state) {
  const uint32_t next = newest_.load(std::memory_order_relaxed) + 1;
  uint32_t words[4];
  std::memcpy(words, &state, sizeof words);
  Slot& slot = slots_[next % kSlots];
  // A thread that reads a word of this state also sees that the states before it are complete.
  std::atomic_thread_fence(std::memory_order_release);
  for (int i = 0; i < 4; i++) slot.words[i].store(words[i], std::memory_order_relaxed);
  newest_.store(next, std::memory_order_release);
}

VekDirState PublishedState::read() const {
  for (;;) {
    const uint32_t newest = newest_.load(std::memory_order_acquire);
    uint32_t words[4];
    for (int i = 0; i < 4; i++) {
      words[i] = slots_[newest % kSlots].words[i].load(std::memory_order_relaxed);
    }
    std::atomic_thread_fence(std::memory_order_acquire);
    // The writer may already be writing the slot after its newest one.
    // GCOVR_EXCL_BR_START: needs a writer that is that quick
    if (newest_.load(std::memory_order_relaxed) - newest >= kSlots - 1) continue;
    // GCOVR_EXCL_BR_STOP
    VekDirState state;
    std::memcpy(&state, words, sizeof state);
    return state;
  }
}

bool open_listener(Listener& listener) {
  listener.buffer = malloc(VekDir_GetBufferSize());
  return listener.buffer != nullptr;
}

void close_listener(Listener& listener) {
  free(listener.buffer);
  listener.buffer = nullptr;
}

void start_listener(Listener& listener, const VekBfInit& array) {
  listener.state.publish(kNothingHeard);
  if (!is_open(listener)) return;
  // The array has been checked.
  listener.finder = VekDir_Init(listener.buffer, &array);
  VekDir_SetConfig(listener.finder, &listener.config);
  listener.isPaused = false;
}

void listen(Listener& listener, const int16_t* block) {
  if (!is_open(listener)) return;
  const bool pause = listener.pause.load(std::memory_order_relaxed) != 0;
  if (pause != listener.isPaused) VekDir_Pause(listener.finder, pause ? 1 : 0);
  listener.isPaused = pause;
  VekDirState state = kNothingHeard;
  VekDir_Run(listener.finder, block, &state);
  listener.state.publish(state);
}

int32_t found_angle(const Listener& listener) {
  const int32_t angle = listener.state.read().angle;
  return angle < 0 ? listener.firstAngle : angle;
}

}  // namespace vekbf::stream
