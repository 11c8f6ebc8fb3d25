// SPDX-License-Identifier: MIT
//
// Transforms and estimators in memory that the caller gives: as many bytes as were asked for,
// no allocation, and the same values as on the heap.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fft/fft.h"
#include "noise/mcra2.h"
#include "support/bits.h"
#include "support/failing_heap.h"
#include "support/fft_states.h"
#include "support/power_streams.h"

namespace vekbf::test {
namespace {

// So many bytes between two stretches that nobody may write to, at an address that is aligned for
// a pointer and for nothing more.
class Fenced {
 public:
  explicit Fenced(size_t size)
      : size_(size), storage_(size + 2 * kFence + alignof(max_align_t), kPattern) {}

  void* memory() {
    const size_t past = reinterpret_cast<uintptr_t>(storage_.data()) % alignof(max_align_t);
    return storage_.data() + kFence + alignof(max_align_t) - past - sizeof(void*);
  }
  bool whole() {
    const char* memory = static_cast<char*>(this->memory());
    const auto untouched = [](char byte) { return byte == kPattern; };
    return std::all_of(static_cast<const char*>(storage_.data()), memory, untouched) &&
           std::all_of(memory + size_, static_cast<const char*>(storage_.data()) + storage_.size(),
                       untouched);
  }

 private:
  static constexpr size_t kFence = 64;
  static constexpr char kPattern = 0x5a;

  size_t size_;
  std::vector<char> storage_;
};

TEST(CallerMemory, TransformsGiveTheValuesOfTheHeapsOnes) {
  for (const int32_t size : {2, 3, 16, 32, 33, 64, 100, 512, 513, 1024}) {
    SCOPED_TRACE(size);
    const FftInitParams params = {0, size, 0, kHamming};
    const State expected = make_state(size);
    Samples frame = random_samples(size, 71);
    Samples same_frame = frame;
    const size_t bins = static_cast<size_t>(size / 2 + 1);
    Spectrum spectrum(bins), same_spectrum(bins);
    Samples back(frame.size()), same_back(frame.size());

    Fenced fenced(fft_bytes(params));
    HeapWatch watch;
    FftState* state = fft_lay_out(fenced.memory(), params);
    ASSERT_NE(state, nullptr);
    do_fft(state, same_frame.data(), as_floats(same_spectrum.data()), kForward);
    do_fft(state, as_floats(same_spectrum.data()), same_back.data(), kInverse);
    EXPECT_EQ(watch.allocations(), 0);
    EXPECT_TRUE(fenced.whole());

    transform(expected, frame.data(), as_floats(spectrum.data()), kForward);
    transform(expected, as_floats(spectrum.data()), back.data(), kInverse);
    EXPECT_TRUE(same_floats(same_frame.data(), frame.data(), frame.size()));
    EXPECT_TRUE(same_spectra(same_spectrum.data(), spectrum.data(), bins));
    EXPECT_TRUE(same_floats(same_back.data(), back.data(), back.size()));
    EXPECT_TRUE(same_floats(state->windowSqSum, expected->windowSqSum, frame.size()));
  }
}

TEST(CallerMemory, SizesWithoutAPlanTakeNoMemory) {
  char memory[64];
  for (const int32_t size : {1, 0, -1, INT32_MIN}) {
    const FftInitParams params = {0, size, 0, kHamming};
    EXPECT_EQ(fft_bytes(params), 0u);
    EXPECT_EQ(fft_plan_bytes(size), 0u);
    EXPECT_EQ(fft_lay_out(memory, params), nullptr);
    EXPECT_EQ(fft_plan_lay_out(memory, size), nullptr);
  }
  EXPECT_EQ(fft_lay_out(nullptr, {0, 512, 0, kHamming}), nullptr);
  EXPECT_EQ(fft_plan_lay_out(nullptr, 512), nullptr);
}

TEST(CallerMemory, EstimatorsGiveTheValuesOfTheHeapsOnes) {
  for (const int32_t bins : {-1, 0, 1, 6, 257}) {
    SCOPED_TRACE(bins);
    const Mcra2InitParams params = {16000, bins};
    Mcra2State* expected = mcra2_init(&params);
    PowerStream stream(StreamKind::kSpeech, 72);
    std::vector<float> power(static_cast<size_t>(std::max(bins, 1)));

    Fenced fenced(mcra2_bytes(params));
    Mcra2State* state = mcra2_lay_out(fenced.memory(), params);
    ASSERT_NE(state, nullptr);
    for (int frame = 0; frame < 40; ++frame) {
      stream.next(power);
      mcra2_run(expected, power.data());
      const HeapWatch watch;
      mcra2_run(state, power.data());
      EXPECT_EQ(watch.allocations(), 0);
    }
    EXPECT_TRUE(fenced.whole());
    EXPECT_EQ(state->frameCount, expected->frameCount);
    const auto count = static_cast<size_t>(std::max(bins, 0));
    for (float* Mcra2State::*array :
         {&Mcra2State::delta, &Mcra2State::inputPower, &Mcra2State::noisePower,
          &Mcra2State::speechProb, &Mcra2State::smoothPower, &Mcra2State::prevSmoothPower,
          &Mcra2State::minPower, &Mcra2State::prevMinPower, &Mcra2State::powerRatio,
          &Mcra2State::speechFlag, &Mcra2State::smoothFactor}) {
      EXPECT_TRUE(same_floats(state->*array, expected->*array, count));
    }
    mcra2_free(expected);
  }
  EXPECT_EQ(mcra2_lay_out(nullptr, {16000, 257}), nullptr);
}

}  // namespace
}  // namespace vekbf::test
