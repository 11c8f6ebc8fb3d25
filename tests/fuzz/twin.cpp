// SPDX-License-Identifier: MIT
#include "fuzz/twin.h"

#include <cstring>

#include "reference/model.h"
#include "support/power_streams.h"
#include "support/random.h"
#include "support/records.h"

namespace vekbf::fuzz {

namespace {

constexpr uint8_t kDirty = 0xa5;

std::unique_ptr<uint8_t[]> dirty_buffer() {
  std::unique_ptr<uint8_t[]> buffer(new uint8_t[kWorkBufferSize]);
  std::memset(buffer.get(), kDirty, kWorkBufferSize);
  return buffer;
}

void expect_same(const testing::AssertionResult& same, const char* after) {
  if (!same) fail(after, same.message());
}

}  // namespace

Twin::Twin(const VekBfInit& init)
    : library_buffer_(dirty_buffer()),
      model_buffer_(dirty_buffer()),
      library_(VekBf_Init(library_buffer_.get(), &init)),
      model_(reference::init(model_buffer_.get(), &init)) {
  compare("init");
}

Twin::~Twin() { release(); }

void Twin::begin_again(const VekBfInit& init) {
  release();
  // VekBf_Init takes any contents.
  std::memset(library_buffer_.get(), kDirty, kWorkBufferSize);
  std::memset(model_buffer_.get(), kDirty, kWorkBufferSize);
  library_ = VekBf_Init(library_buffer_.get(), &init);
  model_ = reference::init(model_buffer_.get(), &init);
  compare("init again");
}

uint32_t Twin::configure(const VekBfConfig& config) {
  const uint32_t code = VekBf_SetConfig(library_, &config);
  expect(code == reference::set_config(model_, &config), "another code", "set_config");
  compare("set_config");
  return code;
}

size_t Twin::values() const {
  const int32_t mics = library_->micNum;
  const int32_t channels = mics < 1 || mics > kMaxMics ? 1 : mics;
  return static_cast<size_t>(channels) * kHopSize;
}

void Twin::run(const std::vector<int16_t>& in, int32_t angle) {
  const std::vector<int16_t> before = in;
  std::vector<int16_t> out(kHopSize, 0x5a5a);
  std::vector<int16_t> expected(kHopSize, 0x2525);
  const int32_t processed = library_->blockCounter;
  expect(VekBf_Run(library_, in.data(), out.data(), angle) == VEK_BF_OK, "refused", "run");
  reference::run(model_, in.data(), expected.data(), angle);
  if (kPlanted && processed > 2 && angle < 0) out[kHopSize - 1] ^= 1;
  expect(out == expected, "another output", "run");
  expect(in == before, "the input was written", "run");
  compare("run");
  tally(kCompared);
  if (library_->blockCounter != processed && makes_sound()) tally(kProcessed);
}

void Twin::smooth_detectors(float smoothing) {
  for (VadState* detector : {library_->vadState, model_->vadState}) {
    if (detector != nullptr) detector->snrSmoothing = smoothing;
  }
}

bool Twin::makes_sound() const {
  return library_->micNum >= 1 && library_->micNum <= kMaxMics && library_->fftState != nullptr;
}

void Twin::release() {
  expect(VekBf_Free(library_) == VEK_BF_OK, "refused", "free");
  reference::free_instance(model_);
  // The first byte, and each like the one before it.
  const uint8_t* const bytes = library_buffer_.get();
  const bool zero = bytes[0] == 0 && std::memcmp(bytes, bytes + 1, kWorkBufferSize - 1) == 0;
  expect(zero, "the buffer is not zero", "free");
}

void Twin::compare(const char* after) const {
  using namespace vekbf::test;
  expect_same(same_instances(*library_, *model_, kFlushes), after);
  expect_same(same_transforms(library_->fftState, model_->fftState), after);
  expect_same(same_detectors(library_->vadState, model_->vadState, kFlushes), after);
}

VekBfInit read_init(Input& input, bool wild) {
  constexpr uint32_t kRates[] = {16000, 8000, 10240, 22050, 44100, 48000, 7999, 48001};
  VekBfInit init{};
  if (wild) {
    init.sampleRate = input.word();
    init.bitWidth = input.number();
    init.micNum = input.number();
    init.soundSpeed = input.number();
    init.algorithm = static_cast<VekBfAlgorithm>(input.number());
    init.geometry = static_cast<VekBfGeometry>(input.number());
    for (auto& pair : init.micCoordinate) {
      pair[0] = input.any_float();
      pair[1] = input.any_float();
    }
    return init;
  }
  init.sampleRate = kRates[input.below(8)];
  init.bitWidth = 16;
  init.micNum = 4 - static_cast<int32_t>(input.below(6));
  const uint32_t shape = input.below(16);
  init.algorithm = shape % 2 == 0 ? VEK_ADAPTIVE_BF : VEK_FIXED_BF;
  init.geometry = static_cast<VekBfGeometry>(shape < 12 ? shape / 2 % 2 : shape / 4);
  init.soundSpeed = 1 + static_cast<int32_t>(input.byte()) * 2;
  for (auto& pair : init.micCoordinate) {
    for (float& metres : pair) metres = static_cast<float>(static_cast<int8_t>(input.byte())) / 256;
  }
  return init;
}

VekBfConfig read_config(Input& input, bool wild) {
  if (wild) {
    const float threshold = input.any_float();
    return {threshold, input.word()};
  }
  const float threshold = static_cast<float>(input.byte()) / 255.0f;
  return {threshold, input.below(11)};
}

std::vector<int16_t> read_block(Input& input, size_t values) {
  std::vector<int16_t> block(values);
  const uint8_t kind = input.byte();
  switch (kind % 4) {
    case 0: {  // the input's own samples
      for (int16_t& x : block) x = input.sample();
      break;
    }
    case 1: {  // noise of 0 to 15 bits
      test::Random random(input.word());
      for (int16_t& x : block) x = static_cast<int16_t>(random.sample() >> (kind / 4 % 16));
      break;
    }
    case 2: {  // one period of up to 16 samples, over and over
      std::vector<int16_t> period(1 + kind / 4 % 16);
      for (int16_t& x : period) x = input.sample();
      for (size_t i = 0; i < values; ++i) block[i] = period[i % period.size()];
      break;
    }
    default: {  // impulses
      for (int i = 0; i <= kind / 4 % 8; ++i) {
        const size_t place = input.byte() + (input.byte() & 1u) * 256u;
        block[place % values] = input.sample();
      }
    }
  }
  return block;
}

}  // namespace vekbf::fuzz
