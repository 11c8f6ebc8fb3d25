// SPDX-License-Identifier: MIT
#include "endurance/health.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "noise/vad.h"

namespace vekbf::test {

namespace {

constexpr uint32_t kExponent = 0x7f800000u;

bool sound(const float* values, size_t count) {
  uint32_t bad = 0;
  for (size_t i = 0; i < count; ++i) {
    uint32_t bits;
    std::memcpy(&bits, values + i, sizeof bits);
    bad |= static_cast<uint32_t>((bits & kExponent) == kExponent);
  }
  return bad == 0;
}

struct Region {
  const char* name;
  const void* first;
  size_t size;
};

}  // namespace

const char* first_unsound_region(const Instance& instance) {
#define VEKBF_REGION(name) \
  { #name, &instance.name, sizeof instance.name }
  const Region regions[] = {
      VEKBF_REGION(micDelay),         VEKBF_REGION(micProjection),   VEKBF_REGION(steerTable),
      VEKBF_REGION(presenceGain),     VEKBF_REGION(beamPowerSmooth), VEKBF_REGION(blockStep),
      VEKBF_REGION(blockPowerSmooth), VEKBF_REGION(cancelStep),      VEKBF_REGION(blockPowerSum),
      VEKBF_REGION(blockWeights),     VEKBF_REGION(cancelWeights),   VEKBF_REGION(blockOutput),
      VEKBF_REGION(fixedBeam),        VEKBF_REGION(refBeam),         VEKBF_REGION(cancelSum),
      VEKBF_REGION(outBeam),          VEKBF_REGION(beamPower),       VEKBF_REGION(micHistory),
      VEKBF_REGION(fftScratch),       VEKBF_REGION(micSpectrum),     VEKBF_REGION(savedSpectrum),
  };
#undef VEKBF_REGION
  for (const Region& region : regions) {
    if (!sound(static_cast<const float*>(region.first), region.size / sizeof(float))) {
      return region.name;
    }
  }

  const VadState& vad = *instance.vadState;
  const Mcra2State& mcra = *vad.mcra;
  const Region arrays[] = {
      {"logLikelihood", &vad.logLikelihood, sizeof(float)},
      {"meanLogLikelihood", &vad.meanLogLikelihood, sizeof(float)},
      {"scaledSnr", vad.scaledSnr, kBinCount * sizeof(float)},
      {"binLogLikelihood", vad.binLogLikelihood, kBinCount * sizeof(float)},
      {"postSnrMinusOne", vad.postSnrMinusOne, kBinCount * sizeof(float)},
      {"postSnr", vad.postSnr, kBinCount * sizeof(float)},
      {"prioriSnr", vad.prioriSnr, kBinCount * sizeof(float)},
      {"inputPower", mcra.inputPower, kBinCount * sizeof(float)},
      {"noisePower", mcra.noisePower, kBinCount * sizeof(float)},
      {"speechProb", mcra.speechProb, kBinCount * sizeof(float)},
      {"prevSmoothPower", mcra.prevSmoothPower, kBinCount * sizeof(float)},
      {"smoothPower", mcra.smoothPower, kBinCount * sizeof(float)},
      {"prevMinPower", mcra.prevMinPower, kBinCount * sizeof(float)},
      {"minPower", mcra.minPower, kBinCount * sizeof(float)},
      {"smoothFactor", mcra.smoothFactor, kBinCount * sizeof(float)},
      {"speechFlag", mcra.speechFlag, kBinCount * sizeof(float)},
  };
  for (const Region& array : arrays) {
    if (!sound(static_cast<const float*>(array.first), array.size / sizeof(float))) {
      return array.name;
    }
  }
  return nullptr;
}

float largest_weight(const Instance& instance) {
  float largest = 0.0f;
  for (const auto* rows : {&instance.blockWeights, &instance.cancelWeights}) {
    const float* values = as_floats((*rows)[0]);
    for (size_t i = 0; i < sizeof(*rows) / (sizeof(float)); ++i) {
      largest = std::max(largest, std::fabs(values[i]));
    }
  }
  return largest;
}

int64_t resident_kilobytes() {
  long long pages = 0;
  long long resident = 0;
  if (FILE* file = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(file, "%lld %lld", &pages, &resident) != 2) resident = -1;
    std::fclose(file);
  }
  return resident * sysconf(_SC_PAGESIZE) / 1024;
}

}  // namespace vekbf::test
