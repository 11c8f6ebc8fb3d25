// SPDX-License-Identifier: MIT
//
// Timing of several things in turn, in one process, and the table of what came out.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "module.h"

namespace vekbf::bench {

using Call = std::function<void()>;

// Nanoseconds of one call: of the shortest of the chunks.
double shortest(const Call& call, int per_chunk, int chunks);

double now();  // nanoseconds
double median(std::vector<double> values);

struct Contestant {
  std::string name;
  Call call;
};

// Rows of results on standard output, as JSON. The contestants of a row are timed in turn, 15
// times; a time is the median, a ratio the median of the ratios to the first contestant.
class Report {
 public:
  Report();
  ~Report();
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  static constexpr int kRounds = 15;

  // Calls in chunks of about 25 microseconds, of which the shortest of a round counts: whatever
  // else the machine does only adds time.
  void row(const std::string& name, const std::vector<Contestant>& contestants);

  // Each contestant works through the same stretch in `steps` calls and then begins again. The time
  // is that of the whole stretch, and of each step the shortest time of a round counts.
  void stretch_row(const std::string& name, const std::vector<Contestant>& contestants, int steps);

 private:
  void print(const std::string& name, const std::vector<Contestant>& contestants,
             const std::vector<std::function<double()>>& times);
  bool first_ = true;
};

struct Build {
  std::string name;
  Module module;
};

// The module of a shared object; ends the program where there is none. `argument` is NAME=OBJECT.
Build load(const std::string& name, const char* path);
Build load(const char* argument);

}  // namespace vekbf::bench
