// SPDX-License-Identifier: MIT
//
// Runs an instance for a day of audio at 16 kHz and looks at it after every block.
//
//   endurance [gsc|das] [MICROPHONES] [BLOCKS] [library|model] [EXPECTED-DIGEST]
//
// Prints a line per simulated hour and the digest of all output samples, which every build must
// agree on and the plain model gives too. The result is 1 if anything is wrong.
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "endurance/day.h"
#include "endurance/health.h"
#include "support/digest.h"
#include "support/quiet.h"
#include "support/serialise.h"
#include "vectors/library_engine.h"
#include "vectors/model_engine.h"

namespace vekbf::test {
namespace {

constexpr int64_t kBlocksPerHour = 3600 * 125;  // 128 samples at 16 kHz are 8 ms
constexpr int64_t kDay = 24 * kBlocksPerHour;
constexpr float kWeightLimit = 1e9f;

struct Options {
  bool adaptive = true;
  int mics = 4;
  int64_t blocks = kDay;
  bool model = false;
  std::string expected;
};

// What happened between two lines of the report.
struct Period {
  float weight = 0.0f;
  int64_t silent = 0;  // zero blocks
};

class Endurance {
 public:
  explicit Endurance(const Options& options)
      : options_(options),
        engine_(options.model ? kModel : kLibrary),
        memory_(kWorkBufferSize / sizeof(uint64_t)),
        in_(static_cast<size_t>(kHopSize * options.mics)),
        day_(2024, options.mics) {}

  int run() {
    VekBfInit init{};
    init.sampleRate = 16000;
    init.bitWidth = 16;
    init.micNum = options_.mics;
    init.soundSpeed = 343;
    init.algorithm = options_.adaptive ? VEK_ADAPTIVE_BF : VEK_FIXED_BF;
    for (int m = 0; m < VEK_BF_MAX_MICS; ++m) {
      init.micCoordinate[m][0] = static_cast<float>(m) / 32.0f;
    }
    const VekBfConfig config{0.5f, 4};
    {
      const Quiet quiet;
      handle_ = engine_.init(memory_.data(), &init);
      engine_.setConfig(handle_, &config);
    }
    const auto begin = std::chrono::steady_clock::now();
    for (int64_t done = 0; done < options_.blocks && faults_ == 0;) {
      const int64_t count = std::min(kBlocksPerHour, options_.blocks - done);
      const Period period = run_period(done, count);
      done += count;
      hours_.push_back(period.weight);
      memory_use_.push_back(resident_kilobytes());
      std::printf("hour %2d: largest weight %.3g, %" PRId64 " zero blocks, %" PRId64
                  " kB resident, samples %016" PRIx64 "\n",
                  static_cast<int>(hours_.size()), static_cast<double>(period.weight),
                  period.silent, memory_use_.back(), output_.value());
      std::fflush(stdout);
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    judge(seconds);
    engine_.freeInstance(handle_);
    return faults_ == 0 ? 0 : 1;
  }

 private:
  Period run_period(int64_t first, int64_t count) {
    const Quiet quiet;
    Period period;
    for (int64_t b = 0; b < count; ++b) {
      day_.block(in_.data());
      const int32_t counter = handle_->blockCounter;
      engine_.run(handle_, in_.data(), out_, day_.angle());
      output_.samples(out_, kHopSize);
      period.silent += handle_->blockCounter == counter;
      if (const char* region = first_unsound_region(*handle_)) {
        fault("not finite: " + std::string(region) + " after block " +
              std::to_string(first + b + 1));
        return period;
      }
      period.weight = std::max(period.weight, largest_weight(*handle_));
    }
    return period;
  }

  void judge(double seconds) {
    const std::vector<uint8_t> state = serialise(*handle_);
    output_.bytes(state.data(), state.size());
    char digest[20];
    std::snprintf(digest, sizeof digest, "%016" PRIx64, output_.value());
    const double audio = static_cast<double>(options_.blocks) * 0.008;
    std::printf("%.0f s of audio in %.1f s, %.0f times real time\ndigest %s\n", audio, seconds,
                audio / seconds, digest);

    if (!options_.expected.empty() && options_.expected != digest) {
      fault("digest " + options_.expected + " was expected");
    }
    if (*std::max_element(hours_.begin(), hours_.end()) >= kWeightLimit) {
      fault("a weight passed the limit");
    }
    // The last quarter against all before it: what grows without bound is largest at the end.
    const size_t earlier = hours_.size() - hours_.size() / 4;
    if (hours_.size() >= 8) {
      const float before = *std::max_element(hours_.begin(), hours_.begin() + as_offset(earlier));
      const float after = *std::max_element(hours_.begin() + as_offset(earlier), hours_.end());
      if (after > 1.2f * before) fault("the weights are still growing");
      if (memory_use_.back() > memory_use_[1] + 64) fault("resident memory has grown");
    }
    if (audio < seconds && options_.blocks >= kBlocksPerHour) fault("slower than real time");
  }

  static std::ptrdiff_t as_offset(size_t index) { return static_cast<std::ptrdiff_t>(index); }

  void fault(const std::string& text) {
    ++faults_;
    std::fprintf(stderr, "FAULT: %s\n", text.c_str());
  }

  Options options_;
  const Engine& engine_;
  std::vector<uint64_t> memory_;
  VekBfHandle handle_ = nullptr;
  std::vector<int16_t> in_;
  int16_t out_[kHopSize];
  Day day_;
  Digest output_;
  std::vector<float> hours_;         // largest weight of each
  std::vector<int64_t> memory_use_;  // kilobytes at the end of each
  int faults_ = 0;
};

}  // namespace
}  // namespace vekbf::test

int main(int count, char** arguments) {
  vekbf::test::Options options;
  if (count > 1) options.adaptive = std::strcmp(arguments[1], "das") != 0;
  if (count > 2) options.mics = std::atoi(arguments[2]);
  if (count > 3) options.blocks = std::atoll(arguments[3]);
  if (count > 4) options.model = std::strcmp(arguments[4], "model") == 0;
  if (count > 5) options.expected = arguments[5];
  if (options.mics < 1 || options.mics > VEK_BF_MAX_MICS || options.blocks < 1) {
    std::fprintf(stderr, "usage: %s [gsc|das] [1-4] [BLOCKS] [library|model] [DIGEST]\n",
                 arguments[0]);
    return 2;
  }
  return vekbf::test::Endurance(options).run();
}
