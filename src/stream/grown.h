// SPDX-License-Identifier: MIT
#pragma once

#include <stdlib.h>

#include <cstring>

namespace vekbf::stream {

// A larger copy of a block, which is released. Null if memory is out; the block is then as it was.
template <class Element>
Element* grown(Element* block, size_t used, size_t room) {
  auto* larger = static_cast<Element*>(malloc(room * sizeof(Element)));
  if (larger == nullptr) return nullptr;
  if (used > 0) std::memcpy(larger, block, used * sizeof(Element));
  free(block);
  return larger;
}

}  // namespace vekbf::stream
