// SPDX-License-Identifier: MIT
//
// Whole streams through the exported functions and through the plain model: outputs and every field
// of every record, bit for bit.
#include <gtest/gtest.h>

#include <climits>

#include "reference/model.h"
#include "support/beam.h"
#include "support/records.h"

namespace vekbf::test {
namespace {

// An instance of the plain model.
class Model {
 public:
  explicit Model(const VekBfInit& init)
      : buffer_(0xa5), handle_(reference::init(buffer_.get(), &init)) {}
  ~Model() { reference::free_instance(handle_); }
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  Instance& record() { return *handle_; }
  uint32_t configure(const VekBfConfig& config) { return reference::set_config(handle_, &config); }
  Block run(const Block& in, int32_t angle) {
    Block out(kHopSize);
    EXPECT_EQ(reference::run(handle_, in.data(), out.data(), angle), VEK_BF_OK);
    return out;
  }
  uint32_t input_samples() {
    uint32_t samples = 0;
    reference::get_input_samples(handle_, &samples);
    return samples;
  }

 private:
  WorkBuffer buffer_;
  VekBfHandle handle_;
};

// The vector unit of 32-bit ARM flushes subnormals; they are routine in the detector.
constexpr bool kFlushed = true;

void expect_same_records(Beam& beam, Model& model) {
  EXPECT_TRUE(same_instances(beam.record(), model.record()));
  EXPECT_TRUE(same_transforms(beam.record().fftState, model.record().fftState));
  EXPECT_TRUE(same_detectors(beam.record().vadState, model.record().vadState, kFlushed));
}

struct Scene {
  VekBfAlgorithm algorithm;
  VekBfGeometry geometry;
  int32_t mics;
};

std::vector<Scene> scenes() {
  std::vector<Scene> all;
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int32_t geometry = 0; geometry <= 3; ++geometry) {
      for (int32_t mics = 0; mics <= 4; ++mics) {
        all.push_back({algorithm, static_cast<VekBfGeometry>(geometry), mics});
      }
    }
  }
  return all;
}

TEST(StreamAgainstModel, RandomStreamsOfEveryArrayAndAlgorithm) {
  const uint64_t seed = test_seed(91);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  constexpr uint32_t kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};
  for (const Scene& scene : scenes()) {
    VekBfInit init = array_of(scene.mics, scene.algorithm, scene.geometry);
    init.sampleRate = kRates[random.below(7)];
    init.soundSpeed = 300 + random.below(80);
    for (auto& pair : init.micCoordinate) pair[0] = 0.2f * random.unit();
    const VekBfConfig config{0.5f + 0.5f * random.unit(), static_cast<uint32_t>(random.below(11))};
    SCOPED_TRACE("algorithm " + std::to_string(scene.algorithm) + ", geometry " +
                 std::to_string(scene.geometry) + ", microphones " + std::to_string(scene.mics) +
                 ", rate " + std::to_string(init.sampleRate));
    Beam beam(init);
    Model model(init);
    ASSERT_EQ(beam.configure(config), VEK_BF_OK);
    ASSERT_EQ(model.configure(config), VEK_BF_OK);
    expect_same_records(beam, model);
    for (int b = 0; b < 12; ++b) {
      // Quiet, ordinary, and so loud that sums wrap; a zero block now and then.
      const int peaks[] = {3, 300, 8000, 32767};
      Block in = noise_block(random, std::max(scene.mics, 1), peaks[random.below(4)]);
      if (b % 5 == 4) in.assign(in.size(), 0);
      const auto angle = static_cast<int32_t>(
          random.below(6) == 0 ? random.next32() : static_cast<uint32_t>(random.below(720) - 180));
      Block out;
      printed([&] { out = beam.run(in, angle); });
      ASSERT_EQ(out, model.run(in, angle)) << "block " << b;
      ASSERT_TRUE(same_instances(beam.record(), model.record())) << "block " << b;
    }
    expect_same_records(beam, model);
    if (HasFailure()) return;
  }
}

TEST(StreamAgainstModel, AcrossReconfigurations) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    Random random(92);
    const VekBfInit init = array_of(3, algorithm);
    Beam beam(init);
    Model model(init);
    for (uint32_t round = 0; round < 3; ++round) {
      const VekBfConfig config{0.25f * static_cast<float>(round), 5 * round};
      ASSERT_EQ(beam.configure(config), VEK_BF_OK);
      ASSERT_EQ(model.configure(config), VEK_BF_OK);
      expect_same_records(beam, model);
      for (int b = 0; b < 8; ++b) {
        const Block in = noise_block(random, 3);
        ASSERT_EQ(beam.run(in, 60), model.run(in, 60)) << "round " << round << ", block " << b;
      }
      expect_same_records(beam, model);
    }
  }
}

TEST(StreamAgainstModel, RefusesTheSameConfigurations) {
  const uint64_t seed = test_seed(93);
  SCOPED_TRACE(seed_note(seed));
  Random random(seed);
  int refused = 0;
  for (int round = 0; round < 300; ++round) {
    VekBfInit init = array_of(random.below(8) - 1);
    init.sampleRate = 7998u + static_cast<uint32_t>(random.below(5)) * 10000u;
    init.bitWidth = random.below(4) == 0 ? 24 : 16;
    init.soundSpeed = random.below(4);
    init.geometry = static_cast<VekBfGeometry>(random.below(7) - 1);
    const VekBfConfig config{1.1f * random.unit(), static_cast<uint32_t>(random.below(14) - 1)};
    Beam beam(init);
    Model model(init);
    const uint32_t code = beam.configure(config);
    ASSERT_EQ(code, model.configure(config)) << "round " << round;
    ASSERT_TRUE(same_instances(beam.record(), model.record())) << "round " << round;
    refused += code != VEK_BF_OK;
  }
  EXPECT_GT(refused, 0);
}

TEST(StreamAgainstModel, CountsTheSameInputSamples) {
  for (int32_t mics : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, INT_MAX}) {
    Beam beam(array_of(mics));
    Model model(array_of(mics));
    uint32_t samples = 0;
    EXPECT_EQ(VekBf_GetInputSamples(beam.handle(), &samples), VEK_BF_OK);
    EXPECT_EQ(samples, model.input_samples());
  }
}

TEST(StreamAgainstModel, UnconfiguredInstancesChangeTheirRecordsAlike) {
  for (VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int32_t mics : {-3, 0, 1, 4, 5, 9, INT_MAX}) {
      Random random(94);
      Beam beam(array_of(mics, algorithm));
      Model model(array_of(mics, algorithm));
      for (int b = 0; b < 2; ++b) {
        const Block in = noise_block(random, mics > 4 ? 1 : std::max(mics, 1));
        Block out;
        printed([&] { out = beam.run(in, 60); });
        EXPECT_EQ(out, model.run(in, 60));
        EXPECT_TRUE(same_instances(beam.record(), model.record())) << mics << " microphones";
      }
    }
  }
}

}  // namespace
}  // namespace vekbf::test
