// SPDX-License-Identifier: MIT
//
// Library and plain model side by side over random streams, every field compared after every
// block, to tell where a difference begins: the seed, the block, the field and the bin.
#include <gtest/gtest.h>

#include "support/power_streams.h"
#include "support/quiet.h"
#include "support/records.h"
#include "vectors/library_engine.h"
#include "vectors/model_engine.h"

namespace vekbf::test {
namespace {

// Streams and their length: enough to meet every combination over the years of running, few enough
// for an emulator. VEKBF_TEST_STREAMS asks for more.
int streams() {
  const char* text = std::getenv("VEKBF_TEST_STREAMS");
  return text != nullptr ? std::atoi(text) : 40;
}
constexpr int kBlocks = 25;

testing::AssertionResult same_state(const Instance& a, const Instance& b) {
  if (const auto same = same_instances(a, b, kFlushes); !same) return same;
  if (const auto same = same_transforms(a.fftState, b.fftState); !same) return same;
  return same_detectors(a.vadState, b.vadState, kFlushes);
}

Scene any_scene(uint64_t seed) {
  constexpr uint32_t kRates[] = {8000, 10240, 16000, 22050, 48000};
  constexpr int32_t kMics[] = {1, 2, 3, 4, 1, 2, 3, 4, 4, 0};
  Random random(seed);
  const auto algorithm = random.below(3) == 0 ? VEK_FIXED_BF : VEK_ADAPTIVE_BF;
  // Rarely one of the shapes without steering vectors.
  const int shape = random.below(10);
  const auto geometry = static_cast<VekBfGeometry>(shape < 8 ? shape % 2 : shape - 6);
  return random_scene(random.next(), algorithm, kMics[random.below(10)], geometry,
                      kRates[random.below(5)], kBlocks);
}

testing::AssertionResult plays_alike(const Scene& scene) {
  Player library(scene, kLibrary);
  Player model(scene, kModel);
  if (const auto same = same_state(library.last().instance, model.last().instance); !same) {
    return testing::AssertionFailure() << "after configuration: " << same.message();
  }
  while (library.play_block() && model.play_block()) {
    const PlayedBlock ours = library.last();
    const PlayedBlock theirs = model.last();
    if (const auto same = same_state(ours.instance, theirs.instance); !same) {
      return testing::AssertionFailure() << "block " << ours.number << ": " << same.message();
    }
    for (size_t i = 0; i < kHopSize; ++i) {
      if (ours.out[i] != theirs.out[i]) {
        return testing::AssertionFailure() << "block " << ours.number << ": sample " << i << ": "
                                           << ours.out[i] << " instead of " << theirs.out[i];
      }
    }
  }
  return testing::AssertionSuccess();
}

TEST(Differential, LibraryEqualsThePlainModelInEveryFieldAfterEveryBlock) {
  const uint64_t first = test_seed(20240501);
  for (int i = 0; i < streams(); ++i) {
    const uint64_t seed = first + static_cast<uint64_t>(i);
    const Scene scene = any_scene(seed);
    testing::AssertionResult same = testing::AssertionSuccess();
    {
      const Quiet quiet;
      same = plays_alike(scene);
    }
    ASSERT_TRUE(same) << scene.init.micNum << " microphones, algorithm " << scene.init.algorithm
                      << ", geometry " << scene.init.geometry << ", " << scene.init.sampleRate
                      << " Hz, " << name_of(scene.signal)
                      << "\n(floats 2k and 2k+1 of a spectrum are bin k; a microphone has 514)\n"
                      << seed_note(seed);
  }
}

// The comparison itself: one bit in one bin is found and named.
TEST(Differential, NamesTheFieldAndThePlaceOfADifference) {
  const Quiet quiet;
  Scene scene = any_scene(1);
  scene.init.micNum = 2;
  Player one(scene, kModel);
  Player other(scene, kModel);
  ASSERT_TRUE(one.play_block());
  ASSERT_TRUE(other.play_block());
  EXPECT_TRUE(same_state(one.last().instance, other.last().instance));
  auto& spoiled = const_cast<Instance&>(other.last().instance);
  spoiled.micSpectrum[1][100].im += 1.0f;
  const auto same = same_state(one.last().instance, spoiled);
  EXPECT_FALSE(same);
  EXPECT_NE(std::string(same.message()).find("micSpectrum: float 715"), std::string::npos)
      << same.message();
}

}  // namespace
}  // namespace vekbf::test
