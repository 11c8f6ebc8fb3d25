// SPDX-License-Identifier: MIT
//
// No function of the finder, VekDir_Init among them, takes memory from the heap, takes a lock or
// asks anything of the kernel; none touches memory that is not its own; finders in threads do not
// disturb each other.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <thread>

#include "direction/library_finder.h"
#include "realtime/counted_calls.h"
#include "realtime/forbidden_calls.h"
#include "realtime/guarded.h"

namespace vekbf::test {
namespace {

constexpr int kBlocks = kEmulated ? 150 : 250;
constexpr int kScenes = kEmulated ? 8 : 60;
constexpr size_t kMostSamples = VEK_BF_MAX_MICS * VEK_BF_BLOCK_FRAMES;

std::vector<DirectionScene> all_scenes() {
  std::vector<DirectionScene> list;
  for (uint64_t seed = 1; seed <= kScenes; ++seed) {
    list.push_back(random_direction_scene(900 + seed, kBlocks));
  }
  return list;
}

// Scenes and everything they need, so that nothing but calls of the finder is left to do.
struct Prepared {
  std::vector<DirectionScene> list = all_scenes();
  std::vector<int16_t> in = std::vector<int16_t>(kMostSamples);
  std::vector<uint64_t> memory = std::vector<uint64_t>(131072 / sizeof(uint64_t));
  VekDirState state = {};
  float map[VEK_DIR_MAP_DEGREES] = {};
  int heard = 0;

  void run() {
    for (const DirectionScene& scene : list) {
      VekDir_GetBufferSize();
      VekDir_CheckArray(&scene.array);
      const VekDirHandle finder = VekDir_Init(memory.data(), &scene.array);
      VekDir_SetConfig(finder, &scene.config);
      DirectionSignal signal(scene);
      for (int b = 0; b < scene.blocks; ++b) {
        if (b == scene.pauseAt || b == scene.goOnAt) VekDir_Pause(finder, b == scene.pauseAt);
        if (b == scene.reconfigureAt) VekDir_SetConfig(finder, &scene.later);
        signal.block(in.data());
        VekDir_Run(finder, in.data(), &state);
        heard += state.heard;
      }
      VekDir_GetMap(finder, map);
    }
  }
};

TEST(DirectionRealtime, NeitherHeapNorLocksAreTouched) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer has a heap of its own";
  const int before = heap_calls;
  Prepared prepared;
  EXPECT_GT(heap_calls, before) << "the counter does not count";
  const int heap = heap_calls;
  const int locks = lock_calls;
  prepared.run();
  EXPECT_EQ(heap_calls, heap);
  EXPECT_EQ(lock_calls, locks);
  EXPECT_GT(prepared.heard, 0) << "nothing was heard";
}

TEST(DirectionRealtime, TheKernelIsNotAsked) {
  if (kEmulated) GTEST_SKIP() << "the emulator does not offer the kernel's filter";
  if (kSanitized) GTEST_SKIP() << "the sanitizer makes system calls of its own";
  const int planted = status_of_child(
      Allowed::kNothing, [] { return 0; }, [](int) { syscall(SYS_getppid); });
  ASSERT_TRUE(WIFSIGNALED(planted)) << "the filter lets calls pass";
  const int status = status_of_child(
      Allowed::kNothing, [] { return Prepared(); }, [](Prepared& prepared) { prepared.run(); });
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

// Where the caller's memory of one run lies.
struct Memory {
  void* buffer;
  VekBfInit* array;
  VekDirConfig* config;
  int16_t* in;
  VekDirState* state;
  float* map;
};

std::vector<VekDirState> play_in(const DirectionScene& scene, const Memory& memory) {
  *memory.array = scene.array;
  *memory.config = scene.config;
  const VekDirHandle finder = VekDir_Init(memory.buffer, memory.array);
  EXPECT_NE(finder, nullptr);
  EXPECT_EQ(VekDir_SetConfig(finder, memory.config), VEK_DIR_OK);
  DirectionSignal signal(scene);
  std::vector<VekDirState> states;
  for (int b = 0; b < scene.blocks; ++b) {
    signal.block(memory.in);
    EXPECT_EQ(VekDir_Run(finder, memory.in, memory.state), VEK_DIR_OK);
    states.push_back(*memory.state);
  }
  EXPECT_EQ(VekDir_GetMap(finder, memory.map), VEK_DIR_OK);
  return states;
}

std::vector<VekDirState> play_plainly(const DirectionScene& scene) {
  std::vector<uint64_t> buffer(VekDir_GetBufferSize() / sizeof(uint64_t));
  VekBfInit array;
  VekDirConfig config;
  std::vector<int16_t> in(kMostSamples);
  VekDirState state;
  float map[VEK_DIR_MAP_DEGREES];
  return play_in(scene, {buffer.data(), &array, &config, in.data(), &state, map});
}

bool same(const std::vector<VekDirState>& a, const std::vector<VekDirState>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0;
}

TEST(DirectionRealtime, NothingIsTouchedBesideTheCallersMemory) {
  for (const Guard guard : {Guard::kBefore, Guard::kBehind}) {
    for (const DirectionScene& scene : all_scenes()) {
      Guarded buffer(VekDir_GetBufferSize(), guard);
      Guarded array(sizeof(VekBfInit), guard);
      Guarded config(sizeof(VekDirConfig), guard);
      Guarded in(static_cast<size_t>(scene.array.micNum * VEK_BF_BLOCK_FRAMES) * sizeof(int16_t),
                 guard);
      Guarded state(sizeof(VekDirState), guard);
      Guarded map(VEK_DIR_MAP_DEGREES * sizeof(float), guard);
      EXPECT_TRUE(
          same(play_in(scene, {buffer.as<void>(), array.as<VekBfInit>(), config.as<VekDirConfig>(),
                               in.as<int16_t>(), state.as<VekDirState>(), map.as<float>()}),
               play_plainly(scene)))
          << scene.name;
    }
  }
}

TEST(DirectionRealtime, InputAndRecordsAreOnlyRead) {
  for (const DirectionScene& scene : all_scenes()) {
    std::vector<uint64_t> buffer(VekDir_GetBufferSize() / sizeof(uint64_t));
    Guarded array(sizeof(VekBfInit), Guard::kBehind);
    Guarded config(sizeof(VekDirConfig), Guard::kBehind);
    Guarded in(kMostSamples * sizeof(int16_t), Guard::kBehind);
    *array.as<VekBfInit>() = scene.array;
    *config.as<VekDirConfig>() = scene.config;
    for (size_t i = 0; i < kMostSamples; ++i) in.as<int16_t>()[i] = static_cast<int16_t>(i * i);
    array.forbid_writing();
    config.forbid_writing();
    in.forbid_writing();
    const VekDirHandle finder = VekDir_Init(buffer.data(), array.as<VekBfInit>());
    VekDir_SetConfig(finder, config.as<VekDirConfig>());
    VekDirState state;
    for (int b = 0; b < 10; ++b) VekDir_Run(finder, in.as<int16_t>(), &state);
  }
}

// A buffer that is aligned to 8 bytes and no more.
TEST(DirectionRealtime, EveryAllowedAlignmentGivesTheSame) {
  const DirectionScene scene = direction_scenes()[4];
  const std::vector<VekDirState> expected = play_plainly(scene);
  std::vector<uint64_t> buffer(VekDir_GetBufferSize() / sizeof(uint64_t) + 16);
  for (size_t offset = 0; offset < 16; offset += 5) {
    VekBfInit array;
    VekDirConfig config;
    std::vector<int16_t> in(kMostSamples + offset);
    VekDirState state;
    float map[VEK_DIR_MAP_DEGREES];
    EXPECT_TRUE(same(
        play_in(scene, {buffer.data() + offset, &array, &config, in.data() + offset, &state, map}),
        expected))
        << offset;
  }
}

TEST(DirectionRealtime, FindersInThreadsDoNotDisturbEachOther) {
  const std::vector<DirectionScene> scenes = {direction_scenes()[3], direction_scenes()[7]};
  std::vector<std::vector<VekDirState>> alone, together(scenes.size());
  for (const DirectionScene& scene : scenes) alone.push_back(play_plainly(scene));
  std::vector<std::thread> threads;
  for (size_t i = 0; i < scenes.size(); ++i) {
    threads.emplace_back([&, i] { together[i] = play_plainly(scenes[i]); });
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < scenes.size(); ++i) EXPECT_TRUE(same(together[i], alone[i])) << i;
}

}  // namespace
}  // namespace vekbf::test
