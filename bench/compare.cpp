// SPDX-License-Identifier: MIT
//
// Times builds of the library, the plain model and FFTW3f beside each other in one process:
//
//   vekbf_bench FROZEN.so NAME=MODULE.so... > TIMES.json
//
// Each row is timed by all of them in turn, in chunks of about 25 microseconds; of a round the
// shortest chunk counts, because whatever else the machine does only adds time, and of the rounds
// the median. A ratio is the median of the rounds' ratios to the frozen build.
#include <dlfcn.h>
#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "base/sizes.h"
#include "direction_source.h"
#include "model_side.h"
#include "module.h"
#include "signals.h"
#include "workload.h"

namespace vekbf::bench {
namespace {

inline constexpr int kRounds = 15;
inline constexpr int kChunks = 60;
inline constexpr double kChunkNanoseconds = 25000.0;
inline constexpr int kPlans = 5;
inline constexpr int kBlocks = 500;

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

using Call = std::function<void()>;

// Nanoseconds of one call: of the shortest of the chunks.
double shortest(const Call& call, int per_chunk, int chunks) {
  double least = std::numeric_limits<double>::infinity();
  for (int c = 0; c < chunks; ++c) {
    const double start = now();
    for (int i = 0; i < per_chunk; ++i) call();
    least = std::min(least, (now() - start) / per_chunk);
  }
  return least;
}

struct Contestant {
  std::string name;
  Call call;
};

struct Result {
  std::string name;
  double time;   // nanoseconds
  double ratio;  // to the first contestant
};

std::vector<Result> compare(const std::vector<Contestant>& contestants) {
  std::vector<int> per_chunk;
  for (const Contestant& c : contestants) {
    const double one = shortest(c.call, 1, 20);
    per_chunk.push_back(std::max(1, static_cast<int>(kChunkNanoseconds / one)));
  }
  std::vector<std::vector<double>> times(contestants.size());
  std::vector<std::vector<double>> ratios(contestants.size());
  for (int round = 0; round < kRounds; ++round) {
    for (size_t i = 0; i < contestants.size(); ++i) {
      times[i].push_back(shortest(contestants[i].call, per_chunk[i], kChunks));
      ratios[i].push_back(times[i].back() / times[0].back());
    }
  }
  std::vector<Result> results;
  for (size_t i = 0; i < contestants.size(); ++i) {
    results.push_back({contestants[i].name, median(times[i]), median(ratios[i])});
  }
  return results;
}

class Report {
 public:
  Report() { std::printf("{"); }
  ~Report() { std::printf("\n}\n"); }
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  void row(const std::string& name, const std::vector<Contestant>& contestants) {
    std::printf("%s\n  \"%s\": {", first_ ? "" : ",", name.c_str());
    first_ = false;
    const char* separator = "";
    for (const Result& r : compare(contestants)) {
      std::printf("%s\"%s\": {\"ns\": %.1f, \"ratio\": %.4f}", separator, r.name.c_str(), r.time,
                  r.ratio);
      separator = ", ";
    }
    std::printf("}");
    std::fflush(stdout);
  }

 private:
  bool first_ = true;
};

struct Build {
  std::string name;
  Module module;
};

Build load(const std::string& name, const char* path) {
  void* object = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  const auto* module =
      object == nullptr ? nullptr : static_cast<const Module*>(dlsym(object, kModuleSymbol));
  if (module == nullptr) {
    std::fprintf(stderr, "vekbf_bench: %s\n", dlerror());
    std::exit(2);
  }
  return {name, *module};
}

// A patient plan of a 512-point real transform. How good it is hangs on the planner's luck: the
// best of several counts.
struct Yardstick {
  float* in = fftwf_alloc_real(kFrameSize);
  fftwf_complex* out = fftwf_alloc_complex(kBinCount);
  fftwf_plan plan = nullptr;
  float frame[kFrameSize];
  float window[kFrameSize];

  Yardstick() {
    for (int i = 0; i < kFrameSize; ++i) {
      const float phase = 6.2831853f * static_cast<float>(i) / kFrameSize;
      window[i] = 0.54f - 0.46f * std::cos(phase);
      frame[i] = 1000.0f * std::sin(17.3f * phase) + 300.0f * std::sin(91.7f * phase);
    }
    double best = std::numeric_limits<double>::infinity();
    for (int i = 0; i < kPlans; ++i) {
      fftwf_forget_wisdom();
      fftwf_plan next = fftwf_plan_dft_r2c_1d(kFrameSize, in, out, FFTW_PATIENT);
      std::memcpy(in, frame, sizeof frame);
      const double time = shortest([&] { fftwf_execute(next); }, 64, 400);
      if (time < best) {
        best = time;
        std::swap(plan, next);
      }
      if (next != nullptr) fftwf_destroy_plan(next);
    }
  }

  void bare() { fftwf_execute(plan); }
  void windowed() {
    for (int i = 0; i < kFrameSize; ++i) in[i] = frame[i] * window[i];
    fftwf_execute(plan);
  }
};

void time_blocks(Report& report, const std::vector<Build>& builds, VekBfAlgorithm algorithm,
                 VekBfGeometry geometry, int mics, const std::string& kind) {
  const std::vector<int16_t> in = make_signal(kind, mics, kBlocks);
  std::vector<Contestant> contestants;
  for (const Build& build : builds) {
    const auto beam = std::make_shared<Beam>(*build.module.engine, algorithm, geometry, mics);
    contestants.push_back({build.name, [&in, beam, mics, block = 0]() mutable {
                             int16_t out[kHopSize];
                             beam->run(&in[static_cast<size_t>(block * mics * kHopSize)], out,
                                       kBenchAngle);
                             block = block + 1 == kBlocks ? 0 : block + 1;
                           }});
  }
  report.row(std::string("block/") + (algorithm == VEK_FIXED_BF ? "fixed" : "adaptive") +
                 (geometry == VEK_BF_UNIFORM_LINEAR_ARRAY ? "/linear/" : "/triangle/") +
                 std::to_string(mics) + "/" + kind,
             contestants);
}

void time_stages(Report& report, const std::vector<Build>& builds) {
  std::vector<Workload*> workloads;
  for (const Build& build : builds) workloads.push_back(build.module.make_workload());
  for (const Stage& stage : builds[0].module.stages) {
    std::vector<Contestant> contestants;
    for (size_t b = 0; b < builds.size(); ++b) {
      for (const Stage& own : builds[b].module.stages) {
        if (std::strcmp(own.name, stage.name) == 0) {
          contestants.push_back(
              {builds[b].name, [run = own.run, workload = workloads[b]] { run(*workload); }});
        }
      }
    }
    report.row(std::string("stage/") + stage.name, contestants);
  }
  std::vector<Contestant> contestants;
  for (const Build& build : builds) {
    contestants.push_back({build.name, [engine = build.module.engine] {
                             const Beam beam(*engine, VEK_ADAPTIVE_BF, VEK_BF_UNIFORM_LINEAR_ARRAY,
                                             kMaxMics);
                           }});
  }
  report.row("setup", contestants);
}

// Time per block of the direction finder, at 16 kHz.
void time_direction(Report& report, const std::string& name, const std::string& kind) {
  constexpr uint32_t kRate = 16000;
  VekBfInit array;
  direction_array(name, kRate, array);
  DirectionSource source(kind, array.micNum);
  const auto length = static_cast<size_t>(array.micNum * VEK_BF_BLOCK_FRAMES);
  std::vector<int16_t> in;
  for (int b = 0; b < kBlocks; ++b) {
    const int16_t* block = source.next();
    in.insert(in.end(), block, block + length);
  }
  std::vector<uint64_t> memory(VekDir_GetBufferSize() / sizeof(uint64_t));
  const VekDirHandle finder = VekDir_Init(memory.data(), &array);
  size_t block = 0;
  report.row("direction/" + name + "/" + kind, {{"library", [&] {
                                                   VekDirState talker;
                                                   VekDir_Run(finder, &in[block * length], &talker);
                                                   block = block + 1 == kBlocks ? 0 : block + 1;
                                                 }}});
}

}  // namespace
}  // namespace vekbf::bench

int main(int count, char** arguments) {
  using namespace vekbf::bench;
  if (count < 2) {
    std::fprintf(stderr, "usage: vekbf_bench FROZEN.so NAME=MODULE.so... > TIMES.json\n");
    return 2;
  }
  std::vector<Build> builds = {load("frozen", arguments[1])};
  for (int i = 2; i < count; ++i) {
    const char* equals = std::strchr(arguments[i], '=');
    if (equals == nullptr) return 2;
    builds.push_back(load({arguments[i], static_cast<size_t>(equals - arguments[i])}, equals + 1));
  }
  builds.push_back({"model", {&kModel, model_stages(), [] { return make_workload().release(); }}});

  Report report;
  Yardstick yardstick;
  report.row("fftw",
             {{"bare", [&] { yardstick.bare(); }}, {"windowed", [&] { yardstick.windowed(); }}});
  for (const auto algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (const auto geometry : {VEK_BF_UNIFORM_LINEAR_ARRAY, VEK_BF_UNIFORM_TRIANGLE_ARRAY}) {
      for (int mics = 1; mics <= vekbf::kMaxMics; ++mics) {
        time_blocks(report, builds, algorithm, geometry, mics, "speech");
      }
      for (const char* kind : {"noise", "onebit", "loud"}) {
        time_blocks(report, builds, algorithm, geometry, vekbf::kMaxMics, kind);
      }
    }
  }
  time_stages(report, builds);
  for (const char* array : {"line2", "line3", "line4", "unequal4", "dear4", "square"}) {
    for (const char* kind : {"speech", "bursts"}) time_direction(report, array, kind);
  }
}
