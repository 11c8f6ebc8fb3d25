// SPDX-License-Identifier: MIT
//
// What the library costs by the number of microphones, by the rate, and by the number of instances
// on one core and on two:
//
//   vekbf_scale > SCALE.json
//
// Each instance has a buffer of its own and each thread instances of its own; a thread gives every
// one of them a block, then the next block, as a server of many streams would.
#include <malloc.h>
#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <memory>
#include <thread>

#include "signals.h"
#include "timing.h"
#include "workload.h"

namespace vekbf::bench {
namespace {

inline constexpr int kSignalBlocks = 125;  // one second at 16 kHz
inline constexpr int kMostInstances = 1000;
inline constexpr int kBlockRuns = 300;  // of all instances together, in one measurement
inline constexpr int kRounds = 150;

constexpr const char* algorithm_name(VekBfAlgorithm algorithm) {
  return algorithm == VEK_FIXED_BF ? "fixed" : "adaptive";
}

Call next_block(VekBfAlgorithm algorithm, int mics, int rate, const std::vector<int16_t>& in) {
  const auto beam = std::make_shared<Beam>(kLibrary, algorithm, VEK_BF_UNIFORM_LINEAR_ARRAY, mics,
                                           static_cast<uint32_t>(rate));
  const auto length = static_cast<size_t>(mics * kHopSize);
  return [beam, length, &in, at = size_t{0}]() mutable {
    int16_t out[kHopSize];
    beam->run(&in[at], out, kBenchAngle);
    at = at + length == in.size() ? 0 : at + length;
  };
}

void time_microphones_and_rates(Report& report, VekBfAlgorithm algorithm) {
  std::vector<std::vector<int16_t>> signals;  // stay where they are
  signals.reserve(16);
  std::vector<Contestant> contestants;
  for (const int mics : {4, 3, 2, 1}) {
    const auto& in = signals.emplace_back(make_signal("speech", mics, kSignalBlocks));
    contestants.push_back({std::to_string(mics), next_block(algorithm, mics, 16000, in)});
  }
  report.row(std::string("microphones/") + algorithm_name(algorithm), contestants);
  contestants.clear();
  for (const int rate : {16000, 8000, 32000, 48000}) {
    const auto& in = signals.emplace_back(make_signal("speech", kMaxMics, kSignalBlocks, rate));
    contestants.push_back({std::to_string(rate), next_block(algorithm, kMaxMics, rate, in)});
  }
  report.row(std::string("block_by_rate/") + algorithm_name(algorithm), contestants);
}

void pin_to_core(int core) {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(core, &cores);
  pthread_setaffinity_np(pthread_self(), sizeof cores, &cores);
}

// Nanoseconds from the start of all threads to the end of the last, by block of an instance.
double time_instances(const std::vector<std::unique_ptr<Beam>>& beams, int instances, int threads,
                      int round, const std::vector<int16_t>& in) {
  const int blocks = std::max(1, kBlockRuns / instances);
  std::atomic<int> ready = 0;
  std::vector<double> starts(static_cast<size_t>(threads));
  std::vector<double> ends(static_cast<size_t>(threads));
  const auto work = [&](int thread) {
    pin_to_core(thread);
    const auto run_block = [&](int block) {
      int16_t out[kHopSize];
      for (int i = thread; i < instances; i += threads) {
        const int place = (round + block + i) % kSignalBlocks;
        beams[static_cast<size_t>(i)]->run(&in[static_cast<size_t>(place * kMaxMics * kHopSize)],
                                           out, kBenchAngle);
      }
    };
    run_block(0);
    ++ready;
    while (ready < threads) {
    }
    starts[static_cast<size_t>(thread)] = now();
    for (int block = 0; block < blocks; ++block) run_block(block);
    ends[static_cast<size_t>(thread)] = now();
  };
  std::vector<std::thread> workers;
  for (int thread = 0; thread < threads; ++thread) workers.emplace_back(work, thread);
  for (std::thread& worker : workers) worker.join();
  const double taken =
      *std::max_element(ends.begin(), ends.end()) - *std::min_element(starts.begin(), starts.end());
  return taken / (blocks * instances);
}

size_t allocated() {
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

// For each number of instances: how long a block takes on one core, as a multiple of that of a lone
// instance, and how many times as fast two cores are as one. All are measured in turn; the shortest
// time counts.
void time_scale(VekBfAlgorithm algorithm, const std::vector<int16_t>& in) {
  const size_t before = allocated();
  std::vector<std::unique_ptr<Beam>> beams;
  beams.reserve(kMostInstances);
  for (int i = 0; i < kMostInstances; ++i) {
    beams.push_back(
        std::make_unique<Beam>(kLibrary, algorithm, VEK_BF_UNIFORM_LINEAR_ARRAY, kMaxMics));
  }
  const size_t bytes = (allocated() - before) / kMostInstances;
  const int most_threads = std::thread::hardware_concurrency() > 1 ? 2 : 1;

  std::map<int, std::map<int, double>> times;  // by instances and threads
  for (int round = 0; round < kRounds; ++round) {
    for (const int instances : {1, 2, 4, 10, 30, 100, 300, kMostInstances}) {
      for (int threads = 1; threads <= std::min(most_threads, instances); ++threads) {
        const double time = time_instances(beams, instances, threads, round, in);
        double& least = times[instances].try_emplace(threads, time).first->second;
        least = std::min(least, time);
      }
    }
  }
  std::printf(",\n  \"instances/%s\": {\"bytes\": %zu", algorithm_name(algorithm), bytes);
  for (const auto& [instances, by_threads] : times) {
    std::printf(", \"%d\": {\"one_core\": %.4f", instances, by_threads.at(1) / times[1][1]);
    if (by_threads.count(2) != 0) {
      std::printf(", \"gain\": %.3f", by_threads.at(1) / by_threads.at(2));
    }
    std::printf("}");
  }
  std::printf("}");
  std::fflush(stdout);
}

}  // namespace
}  // namespace vekbf::bench

int main() {
  using namespace vekbf::bench;
  Report report;
  for (const auto algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    time_microphones_and_rates(report, algorithm);
  }
  const std::vector<int16_t> in = make_signal("speech", vekbf::kMaxMics, kSignalBlocks);
  for (const auto algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) time_scale(algorithm, in);
}
