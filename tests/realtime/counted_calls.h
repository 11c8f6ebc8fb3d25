// SPDX-License-Identifier: MIT
//
// Counts of the calls of the heap and of locks, from anywhere in the process: their entry points
// are this program's own. To be included by one source file of a program that links
// ${CMAKE_DL_LIBS}.
#pragma once

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cstddef>

#include "realtime/build_kind.h"

inline std::atomic<int> heap_calls{0};
inline std::atomic<int> lock_calls{0};

#if !VEKBF_SANITIZED
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) {
  ++heap_calls;
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
  ++heap_calls;
  return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
  ++heap_calls;
  return __libc_realloc(block, size);
}
void free(void* block) {
  ++heap_calls;
  __libc_free(block);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  ++lock_calls;
  using Lock = int (*)(pthread_mutex_t*);
  static const auto next = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  return next(mutex);
}
int pthread_mutex_trylock(pthread_mutex_t* mutex) {
  ++lock_calls;
  using Lock = int (*)(pthread_mutex_t*);
  static const auto next = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_trylock"));
  return next(mutex);
}
int pthread_rwlock_rdlock(pthread_rwlock_t* lock) {
  ++lock_calls;
  using Lock = int (*)(pthread_rwlock_t*);
  static const auto next = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_rwlock_rdlock"));
  return next(lock);
}
int pthread_rwlock_wrlock(pthread_rwlock_t* lock) {
  ++lock_calls;
  using Lock = int (*)(pthread_rwlock_t*);
  static const auto next = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_rwlock_wrlock"));
  return next(lock);
}
}
#endif
