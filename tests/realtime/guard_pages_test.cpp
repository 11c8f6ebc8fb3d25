// SPDX-License-Identifier: MIT
//
// Nothing is read or written outside what the caller gave: input, output, records and the working
// buffer each lie against a protected page, at either end, at every alignment that is allowed.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "realtime/build_kind.h"
#include "realtime/guarded.h"
#include "realtime/streams.h"
#include "support/quiet.h"

namespace vekbf::test {
namespace {

constexpr int kBlocks = kEmulated ? 8 : 40;

std::vector<Scene> streams() {
  std::vector<Scene> list;
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int32_t mics = 0; mics <= VEK_BF_MAX_MICS; ++mics) {
      for (const SignalKind signal : {SignalKind::kTalker, SignalKind::kTalkerInVoid}) {
        Scene scene = random_scene(static_cast<uint64_t>(7 + mics), algorithm, mics,
                                   static_cast<VekBfGeometry>(mics % 2), 16000, kBlocks);
        scene.signal = signal;
        scene.angles = AngleKind::kSweep;
        list.push_back(scene);
      }
    }
  }
  return list;
}

// Where the caller's memory of one run lies.
struct Memory {
  void* work;
  VekBfInit* init;
  VekBfConfig* config;
  int16_t* in;
  int16_t* out;
};

// All samples of a stream, played from and into that memory.
std::vector<int16_t> play(const Scene& scene, const Memory& memory) {
  *memory.init = scene.init;
  *memory.config = scene.config;
  const VekBfHandle handle = VekBf_Init(memory.work, memory.init);
  EXPECT_EQ(VekBf_SetConfig(handle, memory.config), VEK_BF_OK);
  Signal signal(scene.signal, scene.seed, channels_of(scene));
  AnglePath path(scene);
  std::vector<int16_t> samples;
  for (int b = 0; b < scene.blocks; ++b) {
    signal.block(memory.in);
    EXPECT_EQ(VekBf_Run(handle, memory.in, memory.out, path.next()), VEK_BF_OK);
    samples.insert(samples.end(), memory.out, memory.out + kHopSize);
  }
  EXPECT_EQ(VekBf_GetConfig(handle), VEK_BF_OK);
  EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK);
  return samples;
}

std::vector<int16_t> play_plainly(const Scene& scene) {
  std::vector<uint64_t> work(kWorkBufferSize / sizeof(uint64_t));
  VekBfInit init;
  VekBfConfig config;
  std::vector<int16_t> in(static_cast<size_t>(kHopSize * channels_of(scene)));
  std::vector<int16_t> out(kHopSize);
  return play(scene, {work.data(), &init, &config, in.data(), out.data()});
}

void play_against(Guard guard) {
  const Quiet quiet;
  for (const Scene& scene : streams()) {
    Guarded work(kWorkBufferSize, guard);
    Guarded init(sizeof(VekBfInit), guard);
    Guarded config(sizeof(VekBfConfig), guard);
    Guarded in(static_cast<size_t>(kHopSize * channels_of(scene)) * sizeof(int16_t), guard);
    Guarded out(kHopSize * sizeof(int16_t), guard);
    EXPECT_EQ(play(scene, {work.as<void>(), init.as<VekBfInit>(), config.as<VekBfConfig>(),
                           in.as<int16_t>(), out.as<int16_t>()}),
              play_plainly(scene))
        << scene.init.micNum << " " << scene.init.algorithm;
  }
}

TEST(GuardPages, NothingIsTouchedBeforeTheCallersMemory) { play_against(Guard::kBefore); }
TEST(GuardPages, NothingIsTouchedBehindTheCallersMemory) { play_against(Guard::kBehind); }

TEST(GuardPages, CountOfSamplesFitsItsInteger) {
  const Quiet quiet;
  for (const Guard guard : {Guard::kBefore, Guard::kBehind}) {
    std::vector<uint64_t> work(kWorkBufferSize / sizeof(uint64_t));
    const VekBfInit init = silent_streams(1).back().init;
    Guarded count(sizeof(uint32_t), guard);
    EXPECT_EQ(VekBf_GetInputSamples(VekBf_Init(work.data(), &init), count.as<uint32_t>()),
              VEK_BF_OK);
    EXPECT_EQ(*count.as<uint32_t>(), 512u);
  }
}

// Records that are refused, and instances that were never configured: whatever number of
// microphones stands in the record, nothing beyond it is copied, and a block is 128 values long.
TEST(GuardPages, RefusedRecordsReachNoFurther) {
  const Quiet quiet;
  constexpr int32_t kNumbers[] = {INT_MIN, -1, 0, 5, 127, INT_MAX};
  for (const Guard guard : {Guard::kBefore, Guard::kBehind}) {
    for (const int32_t mics : kNumbers) {
      Guarded work(kWorkBufferSize, guard);
      Guarded init(sizeof(VekBfInit), guard);
      Guarded config(sizeof(VekBfConfig), guard);
      Guarded in(kHopSize * sizeof(int16_t), guard);
      Guarded out(kHopSize * sizeof(int16_t), guard);
      *init.as<VekBfInit>() = silent_streams(1)[0].init;
      init.as<VekBfInit>()->micNum = mics;
      *config.as<VekBfConfig>() = {0.5f, 5};
      for (int i = 0; i < kHopSize; ++i) in.as<int16_t>()[i] = 1;
      const VekBfHandle handle = VekBf_Init(work.as<void>(), init.as<VekBfInit>());
      EXPECT_EQ(VekBf_SetConfig(handle, config.as<VekBfConfig>()),
                mics > VEK_BF_MAX_MICS ? VEK_BF_ERR_MIC_NUM : VEK_BF_OK);
      for (int b = 0; b < 3; ++b) {
        EXPECT_EQ(VekBf_Run(handle, in.as<int16_t>(), out.as<int16_t>(), 45), VEK_BF_OK);
      }
      EXPECT_EQ(VekBf_GetConfig(handle), VEK_BF_OK);
      EXPECT_EQ(VekBf_Free(handle), VEK_BF_OK);
    }
  }
}

// The guards do guard, under an emulator too.
TEST(GuardPages, OneSampleBeyondTheEndsOfABlockIsAFault) {
  for (const Guard guard : {Guard::kBefore, Guard::kBehind}) {
    Guarded block(kHopSize * sizeof(int16_t), guard);
    volatile int16_t* samples = block.as<int16_t>();
    EXPECT_TRUE(faults([&] { samples[guard == Guard::kBefore ? -1 : kHopSize] = 1; }));
    EXPECT_FALSE(faults([&] { samples[guard == Guard::kBefore ? 0 : kHopSize - 1] = 1; }));
  }
}

// The input and both records are the caller's: read, never written.
TEST(GuardPages, InputAndRecordsAreOnlyRead) {
  const Quiet quiet;
  for (const Scene& scene : streams()) {
    std::vector<uint64_t> work(kWorkBufferSize / sizeof(uint64_t));
    Guarded init(sizeof(VekBfInit), Guard::kBehind);
    Guarded config(sizeof(VekBfConfig), Guard::kBehind);
    Guarded in(static_cast<size_t>(kHopSize * channels_of(scene)) * sizeof(int16_t),
               Guard::kBehind);
    *init.as<VekBfInit>() = scene.init;
    *config.as<VekBfConfig>() = scene.config;
    Signal(SignalKind::kNoise, 1, channels_of(scene)).block(in.as<int16_t>());
    init.forbid_writing();
    config.forbid_writing();
    in.forbid_writing();
    int16_t out[kHopSize];
    const VekBfHandle handle = VekBf_Init(work.data(), init.as<VekBfInit>());
    VekBf_SetConfig(handle, config.as<VekBfConfig>());
    for (int b = 0; b < 5; ++b) VekBf_Run(handle, in.as<int16_t>(), out, 45);
    VekBf_Free(handle);
  }
}

// A block of memory at an offset from a 128-byte boundary, with a margin that must keep its
// pattern.
class Offset {
 public:
  Offset(size_t offset, size_t size) : size_(size), bytes_(size + 4 * kMargin, kPattern) {
    const auto address = reinterpret_cast<uintptr_t>(bytes_.data()) + kMargin;
    const uintptr_t boundary = (address + kMargin - 1) / kMargin * kMargin;
    first_ = bytes_.data() + (boundary + offset - (address - kMargin));
  }
  template <class T>
  T* as() {
    return reinterpret_cast<T*>(first_);
  }
  bool margins_kept() const {
    for (const uint8_t* p = bytes_.data(); p < bytes_.data() + bytes_.size(); ++p) {
      if ((p < first_ || p >= first_ + size_) && *p != kPattern) return false;
    }
    return true;
  }

 private:
  static constexpr size_t kMargin = 128;
  static constexpr uint8_t kPattern = 0xb7;
  size_t size_;
  std::vector<uint8_t> bytes_;
  uint8_t* first_;
};

TEST(Alignment, EveryAllowedAlignmentGivesTheSameSamples) {
  const Quiet quiet;
  Scene scene = random_scene(3, VEK_ADAPTIVE_BF, 3, VEK_BF_UNIFORM_TRIANGLE_ARRAY, 16000, kBlocks);
  scene.signal = SignalKind::kTwoTalkers;
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    scene.init.algorithm = algorithm;
    const std::vector<int16_t> expected = play_plainly(scene);
    // The buffer: aligned for a pointer. Records: for their 4-byte fields. Samples: for themselves.
    for (size_t step = 0; step < 64 / alignof(void*); ++step) {
      const size_t offset = step * alignof(void*);
      Offset work(offset, kWorkBufferSize);
      Offset init(4 * step % 128, sizeof(VekBfInit));
      Offset config(4 * step % 128, sizeof(VekBfConfig));
      Offset in(2 * step, 3 * kHopSize * sizeof(int16_t));
      Offset out(2 * (step + 5), kHopSize * sizeof(int16_t));
      EXPECT_EQ(play(scene, {work.as<void>(), init.as<VekBfInit>(), config.as<VekBfConfig>(),
                             in.as<int16_t>(), out.as<int16_t>()}),
                expected)
          << offset;
      EXPECT_TRUE(work.margins_kept() && init.margins_kept() && config.margins_kept() &&
                  in.margins_kept() && out.margins_kept())
          << offset;
    }
  }
}

TEST(Alignment, InputAndOutputMayBeTheSameMemory) {
  const Quiet quiet;
  for (Scene scene : streams()) {
    std::vector<uint64_t> work(kWorkBufferSize / sizeof(uint64_t));
    VekBfInit init;
    VekBfConfig config;
    std::vector<int16_t> shared(static_cast<size_t>(kHopSize * channels_of(scene)));
    EXPECT_EQ(play(scene, {work.data(), &init, &config, shared.data(), shared.data()}),
              play_plainly(scene));
  }
}

}  // namespace
}  // namespace vekbf::test
