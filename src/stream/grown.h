// SPDX-License-Identifier: MIT
#pragma once

#include <stdlib.h>

#include <cstring>

namespace vekbf::stream {

// Copies a block into a larger one and releases it. Null if out of memory; the block then stays.
template <class Element>
Element* grown(Element* block, size_t used, size_t room) {
  auto* larger = static_cast<Element*>(malloc(room * sizeof(Element)));
  if (larger == nullptr) return nullptr;
  if (used > 0) std::memcpy(larger, block, used * sizeof(Element));
  free(block);
  return larger;
}

}  // namespace vekbf::stream
