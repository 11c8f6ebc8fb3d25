// SPDX-License-Identifier: MIT
#include "timing.h"

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numeric>

namespace vekbf::bench {

namespace {

inline constexpr double kChunkNanoseconds = 25000.0;

inline constexpr int kChunks = 60;
inline constexpr int kPasses = 3;  // over a stretch, in a round

}  // namespace

double now() {
  return std::chrono::duration<double, std::nano>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double shortest(const Call& call, int per_chunk, int chunks) {
  double least = std::numeric_limits<double>::infinity();
  for (int c = 0; c < chunks; ++c) {
    const double start = now();
    for (int i = 0; i < per_chunk; ++i) call();
    least = std::min(least, (now() - start) / per_chunk);
  }
  return least;
}

Report::Report() { std::printf("{"); }
Report::~Report() { std::printf("\n}\n"); }

void Report::print(const std::string& name, const std::vector<Contestant>& contestants,
                   const std::vector<std::function<double()>>& times) {
  std::vector<std::vector<double>> nanoseconds(contestants.size());
  std::vector<std::vector<double>> ratios(contestants.size());
  for (int round = 0; round < kRounds; ++round) {
    for (size_t i = 0; i < contestants.size(); ++i) {
      nanoseconds[i].push_back(times[i]());
      ratios[i].push_back(nanoseconds[i].back() / nanoseconds[0].back());
    }
  }
  std::printf("%s\n  \"%s\": {", first_ ? "" : ",", name.c_str());
  first_ = false;
  for (size_t i = 0; i < contestants.size(); ++i) {
    std::printf("%s\"%s\": {\"ns\": %.1f, \"ratio\": %.4f}", i == 0 ? "" : ", ",
                contestants[i].name.c_str(), median(nanoseconds[i]), median(ratios[i]));
  }
  std::printf("}");
  std::fflush(stdout);
}

void Report::row(const std::string& name, const std::vector<Contestant>& contestants) {
  std::vector<std::function<double()>> times;
  for (const Contestant& c : contestants) {
    const double one = shortest(c.call, 1, 20);
    const int per_chunk = std::max(1, static_cast<int>(kChunkNanoseconds / one));
    times.emplace_back([&c, per_chunk] { return shortest(c.call, per_chunk, kChunks); });
  }
  print(name, contestants, times);
}

void Report::stretch_row(const std::string& name, const std::vector<Contestant>& contestants,
                         int steps) {
  std::vector<std::function<double()>> times;
  for (const Contestant& c : contestants) {
    times.emplace_back([&c, steps] {
      std::vector<double> least(static_cast<size_t>(steps),
                                std::numeric_limits<double>::infinity());
      for (int p = 0; p < kPasses; ++p) {
        for (double& step : least) step = std::min(step, shortest(c.call, 1, 1));
      }
      return std::accumulate(least.begin(), least.end(), 0.0);
    });
  }
  print(name, contestants, times);
}

Build load(const std::string& name, const char* path) {
  void* object = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  const auto* module =
      object == nullptr ? nullptr : static_cast<const Module*>(dlsym(object, kModuleSymbol));
  if (module == nullptr) {
    std::fprintf(stderr, "%s: %s\n", name.c_str(), dlerror());
    std::exit(2);
  }
  return {name, *module};
}

Build load(const char* argument) {
  const char* equals = std::strchr(argument, '=');
  if (equals == nullptr) {
    std::fprintf(stderr, "%s: not NAME=MODULE.so\n", argument);
    std::exit(2);
  }
  return load({argument, static_cast<size_t>(equals - argument)}, equals + 1);
}

}  // namespace vekbf::bench
