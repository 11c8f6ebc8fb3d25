// SPDX-License-Identifier: MIT
//
// The per-bin arrays of the estimator and the detector: heap blocks of their own, named by a list
// of members so that taking and releasing them are one loop each.
#pragma once

#include <stdlib.h>
#include <string.h>

#include <cstddef>
#include <cstdint>

namespace vekbf {

// Null arrays are allowed: those that were not yet allocated when memory ran out.
template <class State, size_t Count>
void free_arrays(State* state, float* State::*const (&arrays)[Count]) {
  for (float* State::*array : arrays) {
    free(state->*array);
    state->*array = nullptr;
  }
}

// Fills each array with `count` zeros (none for a negative count). Returns false, with nothing
// taken, when memory runs out.
template <class State, size_t Count>
bool allocate_arrays(State* state, float* State::*const (&arrays)[Count], int32_t count) {
  const size_t length = count > 0 ? static_cast<size_t>(count) : 0;
  for (float* State::*array : arrays) state->*array = nullptr;
  for (float* State::*array : arrays) {
    state->*array = static_cast<float*>(calloc(length, sizeof(float)));
    if (state->*array == nullptr && length > 0) {
      free_arrays(state, arrays);
      return false;
    }
  }
  return true;
}

// The same in memory that the caller gives, one array behind the other.
template <class State, size_t Count>
uint64_t arrays_bytes(float* State::*const (&)[Count], int32_t count) {
  return count > 0 ? Count * sizeof(float) * static_cast<uint64_t>(count) : 0;
}

template <class State, size_t Count>
void lay_out_arrays(State* state, float* State::*const (&arrays)[Count], int32_t count,
                    float* memory) {
  memset(memory, 0, static_cast<size_t>(arrays_bytes(arrays, count)));
  for (float* State::*array : arrays) {
    state->*array = memory;
    if (count > 0) memory += count;
  }
}

}  // namespace vekbf
