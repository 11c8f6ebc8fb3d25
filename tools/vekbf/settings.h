// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vek_stream.h"

namespace vekbf_tool {

// The settings of a stream as a value. The defaults are the companion's, but for keep-time: the
// tool leaves zero blocks to the library unless told otherwise. Every member throws UsageError.
class Settings {
 public:
  Settings();
  Settings(const Settings& other);
  Settings(Settings&&) = default;
  Settings& operator=(const Settings& other);
  Settings& operator=(Settings&&) = default;
  ~Settings() = default;
  void set(const std::string& key, const std::string& value);
  void read_file(const std::string& path, VekStreamOther* other, void* user);
  // What can be told without a recording.
  void check() const;
  std::string text(const std::string& key) const;  // empty where there is none
  double number(const std::string& key) const;
  bool is_on(const std::string& key) const { return number(key) != 0; }
  VekBfInit array() const;
  int mics() const { return array().micNum; }
  // The channels of the microphones, the first being 1; none where every channel is one.
  std::vector<int> picks() const;
  VekStreamSettings* get() const { return handle_.get(); }

 private:
  struct Free {
    void operator()(VekStreamSettings* settings) const { VekStream_FreeSettings(settings); }
  };
  std::unique_ptr<VekStreamSettings, Free> handle_;
};

}  // namespace vekbf_tool
