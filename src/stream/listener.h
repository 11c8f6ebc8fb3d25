// SPDX-License-Identifier: MIT
//
// The direction finder of a stream, and what it has heard, for any thread to read.
#pragma once

#include <atomic>
#include <cstdint>

#include "vek_direction.h"

namespace vekbf::stream {

// A state that one thread writes and any number of threads read, without a lock. The writer fills
// the slots of a ring in turn; a reader copies the slot that was completed last. If the writer has
// come round the ring meanwhile, the reader notices and reads again.
class PublishedState {
 public:
  void publish(const VekDirState& state);
  VekDirState read() const;

 private:
  static constexpr uint32_t kSlots = 16;
  static_assert(std::atomic<uint32_t>::is_always_lock_free);

  struct Slot {
    std::atomic<uint32_t> words[4];
  };
  Slot slots_[kSlots];
  std::atomic<uint32_t> newest_;  // number of states published, modulo 2^32
};

inline constexpr VekDirState kNothingHeard = {-1, 0, 0.0f, 0};

struct Listener {
  void* buffer;  // owned; null where a stream looks for no direction
  VekDirHandle finder;
  VekDirConfig config;
  int32_t firstAngle;  // until something was heard, degrees
  bool isPaused;       // as the finder knows it

  std::atomic<int32_t> pause;  // set by any thread
  PublishedState state;
};

// Takes the memory of the finder. False if out of memory.
bool open_listener(Listener& listener);
void close_listener(Listener& listener);
inline bool is_open(const Listener& listener) { return listener.buffer != nullptr; }

// Begins a new signal.
void start_listener(Listener& listener, const VekBfInit& array);
// Passes one block to the finder.
void listen(Listener& listener, const int16_t* block);
// The angle of the next block.
int32_t found_angle(const Listener& listener);

}  // namespace vekbf::stream
