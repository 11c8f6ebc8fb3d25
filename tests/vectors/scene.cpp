// SPDX-License-Identifier: MIT
#include "vectors/scene.h"

#include <array>
#include <climits>
#include <cstdio>

namespace vekbf::test {

namespace {

constexpr uint32_t kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};
constexpr std::array<int32_t, 20> kAngles = {0,  45,  90,  -90,     180,     -37,     135,
                                             60, 359, 370, 720,     -30,     1000,    -721,
                                             23, 270, 89,  INT_MAX, INT_MIN, 36000090};
constexpr const char* kGeometryNames[] = {"line", "triangle", "rectangle", "circle"};

std::string name_of(const Scene& scene) {
  constexpr const char* kAngleNames[kAngleKinds] = {"fixed", "sweep", "jump", "anyint"};
  char text[120];
  std::snprintf(text, sizeof text, "%s%d-%s-%u-%s-%s", scene.init.algorithm == 1 ? "gsc" : "das",
                static_cast<int>(scene.init.micNum), kGeometryNames[scene.init.geometry],
                static_cast<unsigned>(scene.init.sampleRate), name_of(scene.signal),
                kAngleNames[static_cast<int>(scene.angles)]);
  return text;
}

// Millimetres, so that a coordinate is one correctly rounded division.
float metres(int millimetres) { return static_cast<float>(millimetres) / 1000.0f; }

// Two scenes that let the canceller run away until its samples pass 32 bits.
Scene runaway(uint64_t seed, int32_t mics, SignalKind signal) {
  Scene scene = random_scene(seed, VEK_ADAPTIVE_BF, mics, VEK_BF_UNIFORM_LINEAR_ARRAY, 16000, 2000);
  scene.signal = signal;
  scene.angles = AngleKind::kFixed;
  scene.angle = 90;
  scene.reconfigureAt = 0;
  scene.config.intensity = 2;  // of the eleven, the one that gets there soonest
  scene.saturates = true;
  return scene;
}

void add_longest(std::vector<Scene>& list) {
  list.push_back(runaway(1, 1, SignalKind::kFullScale));
  list.push_back(runaway(1, 4, SignalKind::kIdentical));

  Scene meeting = random_scene(3, VEK_ADAPTIVE_BF, 4, VEK_BF_UNIFORM_LINEAR_ARRAY, 16000, 2000);
  meeting.signal = SignalKind::kTwoTalkers;
  meeting.angles = AngleKind::kSweep;
  meeting.reconfigureAt = 1000;
  list.push_back(meeting);

  Scene mixture = random_scene(4, VEK_ADAPTIVE_BF, 3, VEK_BF_UNIFORM_TRIANGLE_ARRAY, 48000, 2000);
  mixture.signal = SignalKind::kMixed;
  list.push_back(mixture);

  Scene talker = random_scene(5, VEK_FIXED_BF, 4, VEK_BF_UNIFORM_TRIANGLE_ARRAY, 44100, 2000);
  talker.signal = SignalKind::kTalker;
  list.push_back(talker);

  Scene pauses = random_scene(6, VEK_ADAPTIVE_BF, 2, VEK_BF_UNIFORM_LINEAR_ARRAY, 8000, 2000);
  pauses.signal = SignalKind::kTalkerInVoid;
  pauses.reconfigureAt = 0;
  list.push_back(pauses);
}

void add_long(std::vector<Scene>& list) {
  constexpr VekBfGeometry kGeometries[] = {
      VEK_BF_UNIFORM_LINEAR_ARRAY,   VEK_BF_UNIFORM_TRIANGLE_ARRAY, VEK_BF_UNIFORM_LINEAR_ARRAY,
      VEK_BF_UNIFORM_TRIANGLE_ARRAY, VEK_BF_UNIFORM_LINEAR_ARRAY,   VEK_BF_UNIFORM_RECTANGLE_ARRAY,
      VEK_BF_UNIFORM_TRIANGLE_ARRAY, VEK_BF_UNIFORM_LINEAR_ARRAY,   VEK_BF_UNIFORM_CIRCULAR_ARRAY};
  uint64_t seed = 100;
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int32_t mics = 1; mics <= 4; ++mics) {
      for (const uint32_t rate : kRates) {
        Scene scene = random_scene(seed, algorithm, mics,
                                   kGeometries[seed % std::size(kGeometries)], rate, kLongScene);
        scene.signal = static_cast<SignalKind>(seed % kSignalKinds);
        list.push_back(scene);
        ++seed;
      }
    }
  }
}

void add_short(std::vector<Scene>& list) {
  uint64_t seed = 1000;
  for (const VekBfAlgorithm algorithm : {VEK_FIXED_BF, VEK_ADAPTIVE_BF}) {
    for (int32_t mics = 1; mics <= 4; ++mics) {
      for (int geometry = 0; geometry < 4; ++geometry) {
        // The shapes that have steering vectors get most of the scenes.
        for (int i = 0; i < (geometry < 2 ? 13 : 4); ++i) {
          list.push_back(random_scene(seed, algorithm, mics, static_cast<VekBfGeometry>(geometry),
                                      kRates[seed % std::size(kRates)],
                                      20 + static_cast<int>(seed * 7 % 41)));
          ++seed;
        }
      }
    }
    for (const int32_t mics : {0, 0, -1, INT_MIN}) {
      list.push_back(random_scene(seed, algorithm, mics, VEK_BF_UNIFORM_LINEAR_ARRAY,
                                  kRates[seed % std::size(kRates)], 20));
      ++seed;
    }
  }
  // Every algorithm value but 1 is the fixed beamformer.
  for (const int value : {5, -1}) {
    list.push_back(random_scene(seed++, static_cast<VekBfAlgorithm>(value), 3,
                                VEK_BF_UNIFORM_LINEAR_ARRAY, 16000, 20));
  }
}

std::vector<Scene> make_scenes() {
  std::vector<Scene> list;
  add_longest(list);
  add_long(list);
  add_short(list);
  for (size_t i = 0; i < list.size(); ++i) {
    char number[16];
    std::snprintf(number, sizeof number, "%03u-", static_cast<unsigned>(i));
    list[i].name = number;
    list[i].name += name_of(list[i]);
  }
  return list;
}

}  // namespace

AnglePath::AnglePath(const Scene& scene)
    : kind_(scene.angles),
      angle_(scene.angle),
      step_(scene.angleStep),
      random_(scene.seed ^ 0xa0761d6478bd642fu) {}

int32_t AnglePath::next() {
  const int block = block_++;
  switch (kind_) {
    case AngleKind::kFixed:
      break;
    case AngleKind::kSweep:
      return angle_ + step_ * block;
    case AngleKind::kJump:
      if (block % 10 == 9) angle_ = kAngles[static_cast<size_t>(random_.below(kAngles.size()))];
      break;
    case AngleKind::kAnyInt:
      return static_cast<int32_t>(random_.next32());
  }
  return angle_;
}

Scene random_scene(uint64_t seed, VekBfAlgorithm algorithm, int32_t mics, VekBfGeometry geometry,
                   uint32_t rate, int blocks) {
  Random random(seed);
  Scene scene{};
  scene.init.sampleRate = rate;
  scene.init.bitWidth = 16;
  scene.init.micNum = mics;
  scene.init.soundSpeed = random.below(4) == 0 ? 1 + random.below(2000) : 330 + random.below(20);
  scene.init.algorithm = algorithm;
  scene.init.geometry = geometry;
  for (auto& coordinate : scene.init.micCoordinate) {
    coordinate[0] = metres(random.below(401) - 200);
    coordinate[1] = metres(random.below(401) - 200);
  }
  scene.config = {static_cast<float>(random.below(257)) / 256.0f,
                  static_cast<uint32_t>(random.below(11))};
  scene.signal = static_cast<SignalKind>(random.below(kSignalKinds));
  scene.angles = static_cast<AngleKind>(random.below(kAngleKinds));
  scene.angle = kAngles[static_cast<size_t>(random.below(kAngles.size()))];
  // A sweep stays inside int32: it begins within some turns of zero.
  if (scene.angles == AngleKind::kSweep) scene.angle %= 3600;
  scene.angleStep = random.below(61) - 30;
  scene.blocks = blocks;
  if (random.below(3) == 0 && blocks >= 3)
    scene.reconfigureAt = blocks / 3 + random.below(blocks / 3);
  scene.later = {static_cast<float>(random.below(257)) / 256.0f,
                 static_cast<uint32_t>(random.below(14))};  // 11 to 13 are refused
  scene.seed = random.next();
  return scene;
}

const std::vector<Scene>& scenes() {
  static const std::vector<Scene> list = make_scenes();
  return list;
}

}  // namespace vekbf::test
