// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "stream.h"

namespace vekbf_tool {

class NoSink : public Sink {
 public:
  void write(const std::int16_t*, std::size_t) override {}
  void commit() override {}
  std::string finish_interrupted() override { return "nowhere"; }
};

}  // namespace vekbf_tool
