// SPDX-License-Identifier: MIT
//
// The direction finder beside its plain model: any record, any settings, any samples. What the
// library refuses the model refuses; else every state and the maps are the same, bit for bit.
#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/target.h"
#include "reference/direction.h"
#include "support/random.h"
#include "vek_direction.h"

namespace {

using namespace vekbf::fuzz;

constexpr int kMostBlocks = 60;

// Lengths of centimetres mostly, else anything that is a float.
float read_length(Input& input) {
  const uint8_t what = input.byte();
  if (what < 16) return input.any_float();
  return static_cast<float>(static_cast<int8_t>(input.byte())) * (what < 200 ? 1e-3f : 1e-2f);
}

VekBfInit read_array(Input& input) {
  constexpr uint32_t kRates[] = {8000, 11025, 16000, 44100, 48000};
  VekBfInit array = {};
  const uint8_t what = input.byte();
  array.sampleRate = what < 200   ? kRates[what % 5]
                     : what < 240 ? 8000 + input.word() % 40001
                                  : input.word();
  array.bitWidth = input.byte() < 250 ? 16 : input.number();
  array.micNum = input.byte() < 250 ? 2 + static_cast<int32_t>(input.below(3)) : input.number();
  array.soundSpeed = input.byte() < 230 ? 343 : input.number();
  array.algorithm = static_cast<VekBfAlgorithm>(input.below(2));
  array.geometry = static_cast<VekBfGeometry>(input.byte() < 250 ? input.below(2) : input.below(4));
  for (float(&place)[2] : array.micCoordinate) {
    for (float& x : place) x = read_length(input);
  }
  return array;
}

VekDirConfig read_config(Input& input) {
  const auto any = [&](uint32_t limit) {
    return input.byte() < 250 ? input.word() % limit : input.word();
  };
  VekDirConfig config = {};
  if (input.below(2) == 0) {
    config.sectorFrom = static_cast<int32_t>(any(720));
    config.sectorTo = static_cast<int32_t>(any(720));
  }
  config.holdMs = input.below(2) == 0 ? 0 : any(1000);
  config.focusDb = input.below(2) == 0 ? 0 : any(60);
  return config;
}

// Blocks of one kind each, so that a short input makes a long stream.
class Samples {
 public:
  explicit Samples(int mics)
      : mics_(mics), block_(static_cast<size_t>(mics * VEK_BF_BLOCK_FRAMES)) {}

  const int16_t* next(Input& input) {
    const uint8_t what = input.byte();
    const int level = 1 << what % 16;  // to beyond full scale
    vekbf::test::Random random(input.byte());
    const int delay = static_cast<int8_t>(input.byte()) % 8;
    switch (what / 32) {
      case 0:
        std::fill(block_.begin(), block_.end(), int16_t{0});
        break;
      case 1:  // of the input's own
        for (int16_t& x : block_) x = input.sample();
        break;
      case 2:
        for (int16_t& x : block_) x = clip(random.below(2 * level + 1) - level);
        break;
      default:
        passing(random, level, delay);
    }
    const auto faulty = static_cast<size_t>(what % static_cast<uint8_t>(mics_));
    if (what % 11 == 0) {
      for (size_t i = faulty; i < block_.size(); i += static_cast<size_t>(mics_)) block_[i] = 0;
    }
    return block_.data();
  }

 private:
  static int16_t clip(int value) { return static_cast<int16_t>(std::clamp(value, -32768, 32767)); }

  // The same noise in every channel, so many frames later from one to the next.
  void passing(vekbf::test::Random& random, int level, int delay) {
    constexpr int kMargin = 32;
    int source[VEK_BF_BLOCK_FRAMES + 2 * kMargin];
    for (int& x : source) x = random.below(2 * level + 1) - level;
    for (int t = 0; t < VEK_BF_BLOCK_FRAMES; ++t) {
      for (int m = 0; m < mics_; ++m) {
        block_[static_cast<size_t>(t * mics_ + m)] = clip(source[kMargin + t - m * delay]);
      }
    }
  }

  int mics_;
  std::vector<int16_t> block_;
};

void compare_maps(VekDirHandle finder, const reference::Direction& model) {
  float ours[VEK_DIR_MAP_DEGREES];
  expect(VekDir_GetMap(finder, ours) == VEK_DIR_OK, "refused", "VekDir_GetMap");
  const auto theirs = model.map();
  expect(std::memcmp(ours, theirs.data(), sizeof ours) == 0, "another map", "VekDir_GetMap");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  tally("inputs");
  const VekBfInit array = read_array(input);
  static std::vector<uint64_t> memory(VekDir_GetBufferSize() / sizeof(uint64_t));
  const VekDirHandle finder = VekDir_Init(memory.data(), &array);
  reference::Direction model;
  const bool taken = model.init(array);
  expect((finder != nullptr) == taken, "one takes an array that the other refuses");
  expect((VekDir_CheckArray(&array) == VEK_DIR_OK) == taken, "another answer", "VekDir_CheckArray");
  if (!taken) {
    tally("arrays refused");
    return 0;
  }
  Samples samples(array.micNum);
  VekDirState state;
  for (int b = 0; b < kMostBlocks && !input.empty(); ++b) {
    const uint8_t event = input.byte();
    if (event < 8) {
      const VekDirConfig config = read_config(input);
      const uint32_t result = VekDir_SetConfig(finder, &config);
      const bool good =
          config.holdMs <= VEK_DIR_MAX_HOLD_MS && config.focusDb <= VEK_DIR_MAX_FOCUS_DB;
      expect((result == VEK_DIR_OK) == good, "another answer", "VekDir_SetConfig");
      if (good)
        model.configure({config.sectorFrom, config.sectorTo, config.holdMs, config.focusDb});
    } else if (event < 12) {
      expect(VekDir_Pause(finder, event % 2) == VEK_DIR_OK, "refused", "VekDir_Pause");
      model.pause(event % 2 != 0);
    }
    const int16_t* in = samples.next(input);
    expect(VekDir_Run(finder, in, &state) == VEK_DIR_OK, "refused", "VekDir_Run");
    const reference::DirectionState expected = model.run(in);
    if (kPlanted && state.angle > 45) state.angle++;
    tally("blocks compared");
    if (state.heard != 0) tally("blocks heard");
    const bool same =
        state.angle == expected.angle && state.heard == expected.heard &&
        state.age == expected.age &&
        std::bit_cast<uint32_t>(state.confidence) == std::bit_cast<uint32_t>(expected.confidence);
    expect(same, "another state", std::to_string(b).c_str());
    if (b % 4 == 0) compare_maps(finder, model);
  }
  compare_maps(finder, model);
  return 0;
}
