// SPDX-License-Identifier: MIT
//
// Memory that touches a protected page: one byte beyond it ends the program.
#pragma once

#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace vekbf::test {

enum class Guard { kBefore, kBehind };

// `size` bytes whose first byte follows a protected page, or whose last byte precedes one. Filled
// with a pattern that is no valid record.
class Guarded {
 public:
  Guarded(size_t size, Guard guard) : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    const size_t inner = (size + page_ - 1) / page_ * page_;
    length_ = inner + 2 * page_;
    void* mapped =
        mmap(nullptr, length_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) std::abort();
    base_ = static_cast<uint8_t*>(mapped);
    first_ = base_ + page_ + (guard == Guard::kBefore ? 0 : inner - size);
    for (size_t i = 0; i < inner; ++i) base_[page_ + i] = 0xd3;
    if (mprotect(base_, page_, PROT_NONE) != 0) std::abort();
    if (mprotect(base_ + page_ + inner, page_, PROT_NONE) != 0) std::abort();
  }
  ~Guarded() { munmap(base_, length_); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  template <class T>
  T* as() {
    return reinterpret_cast<T*>(first_);
  }
  // Lets the inner pages be read only.
  void forbid_writing() { mprotect(base_ + page_, length_ - 2 * page_, PROT_READ); }

 private:
  size_t page_;
  size_t length_;
  uint8_t* base_;
  uint8_t* first_;
};

inline sigjmp_buf after_fault;

// Whether the access runs into a protected page. (Without a fork, which emulators make dear.)
template <class Access>
bool faults(Access&& access) {
  struct sigaction handler {};
  handler.sa_handler = [](int) { siglongjmp(after_fault, 1); };
  struct sigaction segment_before, bus_before;
  sigaction(SIGSEGV, &handler, &segment_before);
  sigaction(SIGBUS, &handler, &bus_before);
  volatile bool fault = true;
  if (sigsetjmp(after_fault, 1) == 0) {
    access();
    fault = false;
  }
  sigaction(SIGSEGV, &segment_before, nullptr);
  sigaction(SIGBUS, &bus_before, nullptr);
  return fault;
}

}  // namespace vekbf::test
