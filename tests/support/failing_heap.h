// SPDX-License-Identifier: MIT
//
// A heap that runs out on demand. For programs linked with
//   --wrap=malloc --wrap=calloc --wrap=free
// (see tests/CMakeLists.txt); to be included by one source file of a program.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void __real_free(void* block);
}

namespace vekbf::test {

struct Heap {
  bool watching = false;
  int allocations = 0;       // since the watch began, successful or not
  int live = 0;              // blocks taken and not released since the watch began
  int failing = 0;           // number of the allocation that fails; 0 for none
  bool for_good = false;     // so do all after it
  size_t largest = 1 << 30;  // bytes; larger requests always fail

  bool refuses(size_t bytes) {
    ++allocations;
    const bool later = for_good && failing > 0 && allocations > failing;
    return allocations == failing || later || bytes > largest;
  }
};
inline Heap heap;

// Watches the heap from its construction to its end.
class HeapWatch {
 public:
  explicit HeapWatch(int failing = 0) {
    heap = Heap{};
    heap.failing = failing;
    heap.watching = true;
  }
  ~HeapWatch() { heap.watching = false; }
  HeapWatch(const HeapWatch&) = delete;
  HeapWatch& operator=(const HeapWatch&) = delete;
  int allocations() const { return heap.allocations; }
  int live() const { return heap.live; }
};

}  // namespace vekbf::test

extern "C" {
inline __attribute__((used)) void* __wrap_malloc(size_t size) {
  using vekbf::test::heap;
  if (!heap.watching) return __real_malloc(size);
  if (heap.refuses(size)) return nullptr;
  void* block = __real_malloc(size);
  heap.live += block != nullptr ? 1 : 0;
  return block;
}
inline __attribute__((used)) void* __wrap_calloc(size_t count, size_t size) {
  using vekbf::test::heap;
  if (!heap.watching) return __real_calloc(count, size);
  const bool overflows = size != 0 && count > SIZE_MAX / size;
  if (heap.refuses(overflows ? SIZE_MAX : count * size)) return nullptr;
  void* block = __real_calloc(count, size);
  heap.live += block != nullptr ? 1 : 0;
  return block;
}
inline __attribute__((used)) void __wrap_free(void* block) {
  using vekbf::test::heap;
  if (heap.watching && block != nullptr) --heap.live;
  __real_free(block);
}
}
