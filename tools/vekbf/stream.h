// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace vekbf_tool {

// Where samples come from. Every member throws RunError.
class Source {
 public:
  virtual ~Source() = default;
  virtual int channels() const = 0;
  virtual int sampleRate() const = 0;
  // Frames in all; empty where only the end will tell.
  virtual std::optional<long long> frames() const = 0;
  // What a message calls it.
  virtual std::string name() const = 0;
  // Interleaved samples, 1.0 being full scale; fewer frames than asked for only at the end.
  virtual std::size_t read(double* samples, std::size_t frames) = 0;
};

// Where the mono result goes. Every member throws RunError.
class Sink {
 public:
  virtual ~Sink() = default;
  virtual void write(const std::int16_t* samples, std::size_t count) = 0;
  // Completes the result. Without this call a file is removed again.
  virtual void commit() = 0;
  // After an interruption: keeps what was written and returns where it is.
  virtual std::string finish_interrupted() = 0;
};

}  // namespace vekbf_tool
