// SPDX-License-Identifier: MIT
//
// Random streams through the library and the plain model side by side, without end: every sample
// and every field of the state after every block. Made for a release build, where ten million
// blocks take minutes.
//
//   stream_soak SEED BLOCKS [FIRST]
//
// plays streams until BLOCKS blocks have been processed (blocks of zeros do not count). A stream
// follows from SEED and its number; FIRST is the number to begin with.
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>

#include "fuzz/twin.h"
#include "support/random.h"
#include "support/signals.h"

namespace {

using namespace vekbf::fuzz;
using vekbf::test::Random;
using vekbf::test::Signal;
using vekbf::test::SignalKind;

bool one_in(Random& random, int count) { return random.below(count) == 0; }

float any_coordinate(Random& random) {
  if (one_in(random, 64)) return random.any_float();
  return static_cast<float>(random.below(4001) - 2000) / (one_in(random, 8) ? 100.0f : 10000.0f);
}

VekBfInit any_init(Random& random) {
  constexpr uint32_t kRates[] = {8000, 10240, 11025, 16000, 22050, 32000, 44100, 48000};
  VekBfInit init{};
  init.sampleRate = one_in(random, 3) ? static_cast<uint32_t>(8000 + random.below(40001))
                                      : kRates[random.below(8)];
  init.bitWidth = 16;
  init.micNum = 1 + random.below(4);
  if (one_in(random, 200)) init.micNum = -random.below(3);
  init.soundSpeed = 330 + random.below(20);
  if (one_in(random, 4)) init.soundSpeed = 1 + random.below(2000);
  if (one_in(random, 32)) init.soundSpeed = 1 + static_cast<int32_t>(random.next32() >> 2);
  init.algorithm = one_in(random, 3) ? VEK_FIXED_BF : VEK_ADAPTIVE_BF;
  if (one_in(random, 64)) init.algorithm = static_cast<VekBfAlgorithm>(random.next32());
  // The shapes that have steering vectors get most of the streams.
  init.geometry = static_cast<VekBfGeometry>(random.below(one_in(random, 8) ? 4 : 2));
  for (auto& pair : init.micCoordinate) {
    for (float& metres : pair) metres = any_coordinate(random);
  }
  return init;
}

VekBfConfig any_config(Random& random) {
  const auto intensity = static_cast<uint32_t>(random.below(11));
  if (one_in(random, 64)) return {std::numeric_limits<float>::quiet_NaN(), intensity};
  return {static_cast<float>(random.below(257)) / 256.0f, intensity};
}

// A signal of the tests, or blocks as the fuzz target reads them from arbitrary bytes.
class Audio {
 public:
  Audio(Random& random, size_t values) : values_(values), random_(random.next()) {
    const auto kind = static_cast<SignalKind>(random.below(vekbf::test::kSignalKinds));
    const int channels = static_cast<int>(values / vekbf::kHopSize);
    if (!one_in(random, 4)) signal_.emplace(kind, random.next(), channels);
  }
  std::vector<int16_t> block() {
    if (signal_) {
      std::vector<int16_t> samples(values_);
      signal_->block(samples.data());
      return samples;
    }
    for (uint8_t& byte : bytes_) byte = static_cast<uint8_t>(random_.next32() >> 24);
    Input input(bytes_.data(), bytes_.size());
    return read_block(input, values_);
  }

 private:
  size_t values_;
  Random random_;
  std::optional<Signal> signal_;
  std::vector<uint8_t> bytes_ = std::vector<uint8_t>(2 * values_ + 8);
};

// Degrees from block to block: none, a turn at some speed, now and then a jump, any number at all.
class Angles {
 public:
  explicit Angles(Random& random)
      : random_(random.next()),
        kind_(random.below(4)),
        angle_(random.below(721) - 360),
        step_(random.below(61) - 30) {}
  int32_t next() {
    if (kind_ == 1) angle_ = (angle_ + step_) % 3600;
    if (kind_ == 3 || (kind_ == 2 && one_in(random_, 20))) {
      angle_ = static_cast<int32_t>(random_.next32());
    }
    return angle_;
  }

 private:
  Random random_;
  int kind_;
  int32_t angle_;
  int32_t step_;
};

void play(uint64_t seed, uint64_t number) {
  Random random(seed ^ (number * 0xd1342543de82ef95u));
  Twin twin(any_init(random));
  twin.configure(any_config(random));
  Audio audio(random, twin.values());
  Angles angles(random);
  const int blocks = 1 << (4 + random.below(9));
  for (int b = 0; b < blocks; ++b) {
    if (one_in(random, 600)) twin.configure(any_config(random));
    twin.run(audio.block(), angles.next());
  }
  tally("streams");
}

uint64_t number_of(const char* text) { return std::strtoull(text, nullptr, 0); }

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::fprintf(stderr, "usage: stream_soak SEED BLOCKS [FIRST]\n");
    return 2;
  }
  const uint64_t seed = number_of(argv[1]);
  const uint64_t blocks = number_of(argv[2]);
  const std::string command = std::string("play it again with: ") + argv[0] + " " + argv[1] + " 1 ";
  LLVMFuzzerInitialize(&argc, &argv);
  tally("streams", 0);  // the order in which the counts are printed
  tally(kCompared, 0);
  constexpr uint64_t kProgress = 100000;
  uint64_t number = argc == 4 ? number_of(argv[3]) : 0;
  for (uint64_t said = 0; tallied(kProcessed) < blocks; ++number) {
    note_for_failure(command + std::to_string(number));
    play(seed, number);
    if (tallied(kProcessed) / kProgress != said) {
      said = tallied(kProcessed) / kProgress;
      std::fprintf(stderr, "%llu blocks processed\n",
                   static_cast<unsigned long long>(said * kProgress));
    }
  }
  std::fprintf(stderr, "seed %s, streams up to number %llu: no difference\n", argv[1],
               static_cast<unsigned long long>(number - 1));
  return 0;
}
