// SPDX-License-Identifier: MIT
//
// Instances through their lives: algorithms, numbers of microphones, shapes, rates, signals,
// parameters, reports, second configurations, second lives of a buffer.
#include <stdlib.h>
#include <string.h>

#include <climits>
#include <initializer_list>

#include "base/sizes.h"
#include "memory/plain.h"
#include "vek_bf.h"

namespace vekbf::plain {

namespace {

constexpr int kBlocks = 12;

enum Signal { kNoise, kFullScale, kOneBit, kSparse, kOnset, kConstant, kSignals };

int16_t sample(int signal, int block, Random& random) {
  switch (signal) {
    case kNoise:
      return static_cast<int16_t>(random.below(4001) - 2000);
    case kFullScale:
      return static_cast<int16_t>(random.next() >> 16);
    case kOneBit:
      return static_cast<int16_t>(random.below(3) - 1);
    case kSparse:  // mostly zero blocks
      return static_cast<int16_t>(random.below(500) == 0);
    case kOnset:
      return block < 6 ? int16_t{1} : static_cast<int16_t>(random.next() >> 16);
    default:
      return 1000;
  }
}

VekBfInit array_of(int algorithm, int32_t mics, int geometry, uint32_t rate, Random& random) {
  VekBfInit init;
  init.sampleRate = rate;
  init.bitWidth = 16;
  init.micNum = mics;
  init.soundSpeed = 1 + random.below(700);
  init.algorithm = static_cast<VekBfAlgorithm>(algorithm);
  init.geometry = static_cast<VekBfGeometry>(geometry);
  for (auto& coordinate : init.micCoordinate) {
    coordinate[0] = static_cast<float>(random.below(401) - 200) / 1000.0f;
    coordinate[1] = static_cast<float>(random.below(401) - 200) / 1000.0f;
  }
  return init;
}

VekBfConfig config_of(Random& random) {
  const float threshold =
      random.below(8) == 0 ? __builtin_nanf("") : static_cast<float>(random.below(257)) / 256.0f;
  return {threshold, static_cast<uint32_t>(random.below(11))};
}

// Plays a life in a buffer and checks that all of it, and all that comes out, is initialised.
void play(void* buffer, const VekBfInit& init, int signal, Random& random) {
  const VekBfHandle handle = VekBf_Init(buffer, &init);
  look_at(buffer, kWorkBufferSize);
  VekBfConfig config = config_of(random);
  expect(VekBf_SetConfig(handle, &config) == VEK_BF_OK, "configuration");
  look_at(buffer, kWorkBufferSize);
  uint32_t samples;
  expect(VekBf_GetInputSamples(handle, &samples) == VEK_BF_OK, "number of samples");
  look_at(&samples, sizeof samples);

  // Exactly what the library may read and write.
  const int channels = init.micNum < 1 ? 1 : init.micNum;
  const size_t count = static_cast<size_t>(channels * kHopSize);
  auto* in = static_cast<int16_t*>(malloc(count * sizeof(int16_t)));
  auto* out = static_cast<int16_t*>(malloc(kHopSize * sizeof(int16_t)));
  for (int b = 0; b < kBlocks; ++b) {
    if (b == kBlocks / 2 && random.below(2) == 0) {
      config = config_of(random);
      expect(VekBf_SetConfig(handle, &config) == VEK_BF_OK, "second configuration");
    }
    for (size_t i = 0; i < count; ++i) in[i] = sample(signal, b, random);
    expect(VekBf_Run(handle, in, out, static_cast<int32_t>(random.next())) == VEK_BF_OK, "block");
    look_at(out, kHopSize * sizeof(int16_t));
    if (b % 4 == 3) look_at(buffer, kWorkBufferSize);
  }
  expect(VekBf_GetConfig(handle) == VEK_BF_OK, "report");
  expect(VekBf_Free(handle) == VEK_BF_OK, "release");
  look_at(buffer, kWorkBufferSize);
  free(out);
  free(in);
}

}  // namespace

void play_instances() {
  Random random(1);
  int signal = 0;
  for (const int algorithm : {0, 1, 5}) {
    for (const int32_t mics : {INT_MIN, 0, 1, 2, 3, 4}) {
      for (int geometry = 0; geometry < 4; ++geometry) {
        for (const uint32_t rate : {8000u, 11025u, 16000u, 44100u, 48000u}) {
          // Fresh memory: initialised by the library or by nobody.
          void* buffer = malloc(VekBf_GetBufferSize());
          const VekBfInit init = array_of(algorithm, mics, geometry, rate, random);
          play(buffer, init, signal++ % kSignals, random);
          // And once more where an instance has been.
          if (rate == 16000) play(buffer, init, signal++ % kSignals, random);
          free(buffer);
        }
      }
    }
  }
}

}  // namespace vekbf::plain
