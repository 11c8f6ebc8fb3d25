// SPDX-License-Identifier: MIT
//
// A heap whose blocks each lie against a protected page: one byte beyond a block, or before it,
// ends the program. For programs linked with
//   --wrap=malloc --wrap=calloc --wrap=free
// (see CMakeLists.txt); to be included by one source file of a program.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <utility>

#include "realtime/guarded.h"

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void __real_free(void* block);
}

namespace vekbf::test {

// Guards what is taken from its construction to its end; the blocks may be released later.
class GuardedHeap {
 public:
  explicit GuardedHeap(Guard guard) {
    on() = true;
    side() = guard;
    most() = 0;
  }
  ~GuardedHeap() { on() = false; }
  GuardedHeap(const GuardedHeap&) = delete;
  GuardedHeap& operator=(const GuardedHeap&) = delete;

  static bool& on() {
    static bool value = false;
    return value;
  }
  static Guard& side() {
    static Guard value = Guard::kBefore;
    return value;
  }
  // Blocks there were at a time.
  static size_t& most() {
    static size_t value = 0;
    return value;
  }
  static std::map<void*, std::unique_ptr<Guarded>>& blocks() {
    static std::map<void*, std::unique_ptr<Guarded>> value;
    return value;
  }
  // Behind a block that lies against its end there are less than `alignment` bytes.
  static void* take(size_t size, size_t alignment) {
    const size_t rounded = (size + alignment - 1) / alignment * alignment;
    auto block = std::make_unique<Guarded>(rounded, side());
    void* first = block->as<void>();
    blocks()[first] = std::move(block);
    most() = std::max(most(), blocks().size());
    return first;
  }
};

}  // namespace vekbf::test

extern "C" {
inline __attribute__((used)) void* __wrap_malloc(size_t size) {
  using vekbf::test::GuardedHeap;
  if (!GuardedHeap::on()) return __real_malloc(size);
  return GuardedHeap::take(size, alignof(std::max_align_t));
}
inline __attribute__((used)) void* __wrap_calloc(size_t count, size_t size) {
  using vekbf::test::GuardedHeap;
  if (!GuardedHeap::on()) return __real_calloc(count, size);
  // The library's arrays are of floats: no byte is left over.
  void* block = GuardedHeap::take(count * size, alignof(float));
  return std::memset(block, 0, count * size);
}
inline __attribute__((used)) void __wrap_free(void* block) {
  using vekbf::test::GuardedHeap;
  if (GuardedHeap::blocks().erase(block) == 0) __real_free(block);
}
}
