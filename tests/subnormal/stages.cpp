// SPDX-License-Identifier: MIT
//
// In which stage of a block, and how long after its start, a stream first meets a subnormal: by the
// exception flags of the x86 vector unit, which note subnormal operands and inexact subnormal
// results.
//
//   subnormal_stages [BLOCKS] [KIND...]
//
// The stages of the adaptive frame run one by one here; the samples are compared with VekBf_Run's.
// Kinds are the names of tests/support/signals.h; "opposed-" before one of them: its first channel
// with alternating signs in four microphones, straight ahead, after a second of the signal itself;
// and "fading-" before one: eight seconds of it, then one-bit noise for ever.
#include <xmmintrin.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/framing.h"
#include "base/saturate.h"
#include "bf/record_stages.h"
#include "bf/steering.h"
#include "fft/fft.h"
#include "noise/vad.h"
#include "support/quiet.h"
#include "support/signals.h"

namespace vekbf::test {
namespace {

constexpr int kMics = 4;
constexpr int kOpenSecond = 125;    // blocks before an opposed stream is opposed
constexpr int kLoudSeconds = 1000;  // blocks before a fading one falls silent
constexpr const char* kStages[] = {"transform", "steering",  "fixed beam", "detector",
                                   "gain",      "canceller", "synthesis"};
constexpr size_t kStageCount = std::size(kStages);
constexpr unsigned kDenormalOperand = 0x02;
constexpr unsigned kUnderflow = 0x10;

struct Sighting {
  int64_t blocks = 0;
  int64_t first = 0;
};
using Sightings = std::array<Sighting, kStageCount>;

class Beam {
 public:
  explicit Beam(const char* what) : memory_((kWorkBufferSize + 7) / 8) {
    VekBfInit init{};
    init.sampleRate = 16000;
    init.bitWidth = 16;
    init.micNum = kMics;
    init.soundSpeed = 343;
    init.algorithm = VEK_ADAPTIVE_BF;
    for (int m = 0; m < kMics; ++m) init.micCoordinate[m][0] = 0.035f * static_cast<float>(m);
    const VekBfConfig config{0.5f, 5};
    const Quiet quiet;
    handle = VekBf_Init(memory_.data(), &init);
    if (VekBf_SetConfig(handle, &config) != VEK_BF_OK) {
      std::fprintf(stderr, "%s\n", what);
      std::exit(1);
    }
  }
  ~Beam() { VekBf_Free(handle); }
  Beam(const Beam&) = delete;
  Beam& operator=(const Beam&) = delete;

  VekBfHandle handle;

 private:
  std::vector<uint64_t> memory_;
};

template <class Stage>
void watch(Sighting& sighting, int64_t block, Stage&& stage) {
  _mm_setcsr(_mm_getcsr() & ~(kDenormalOperand | kUnderflow));
  stage();
  if ((_mm_getcsr() & (kDenormalOperand | kUnderflow)) == 0) return;
  if (sighting.blocks++ == 0) sighting.first = block;
}

void run_staged(Instance& instance, const int16_t* in, int16_t* out, int32_t angle, int64_t block,
                Sightings& seen) {
  instance.steerAngle = angle;
  watch(seen[0], block, [&] {
    take_block(instance.micHistory, in, kMics);
    for (int m = 0; m < kMics; ++m) {
      std::memcpy(instance.fftScratch[m], instance.micHistory[m], sizeof instance.fftScratch[m]);
      do_fft(instance.fftState, instance.fftScratch[m], as_floats(instance.micSpectrum[m]),
             kForward);
    }
  });
  watch(seen[1], block, [&] { compute_steering(&instance, angle); });
  watch(seen[2], block, [&] { form_fixed_beam(instance); });
  watch(seen[3], block, [&] { vad_run(instance.vadState, instance.beamPower); });
  watch(seen[4], block,
        [&] { smooth_presence_gain(instance, instance.vadState->mcra->speechProb); });
  watch(seen[5], block, [&] { cancel_sidelobes(instance); });
  watch(seen[6], block, [&] { synthesise(instance, instance.outBeam); });
  drain_output(out, instance.outputOverlap);
  instance.blockCounter = wrapping_add(instance.blockCounter, 1);
}

SignalKind kind_of(const std::string& name) {
  for (int kind = 0; kind < kSignalKinds; ++kind) {
    if (name == name_of(static_cast<SignalKind>(kind))) return static_cast<SignalKind>(kind);
  }
  std::fprintf(stderr, "no signal is called %s\n", name.c_str());
  std::exit(2);
}

void oppose(int16_t* block) {
  for (int t = 0; t < kHopSize; ++t) {
    int16_t* frame = block + t * kMics;
    const int value = frame[0] == INT16_MIN ? INT16_MAX : frame[0];
    for (int m = 0; m < kMics; ++m) frame[m] = static_cast<int16_t>(m % 2 == 0 ? value : -value);
  }
}

bool search(const std::string& name, int64_t blocks) {
  const bool opposed = name.starts_with("opposed-");
  const bool fading = name.starts_with("fading-");
  Signal signal(kind_of(opposed || fading ? name.substr(name.find('-') + 1) : name), 1, kMics);
  Signal silence(SignalKind::kOneBit, 2, kMics);
  Beam whole("refused");
  Beam staged("refused");
  Sightings seen{};
  int16_t in[kMics * kHopSize], expected[kHopSize], out[kHopSize];
  float lowest_gain = 1.0f;
  bool same = true;
  {
    const Quiet quiet;
    for (int64_t b = 1; b <= blocks && same; ++b) {
      (fading && b > kLoudSeconds ? silence : signal).block(in);
      if (opposed && b > kOpenSecond) oppose(in);
      const int32_t counter = whole.handle->blockCounter;
      const int32_t angle = opposed ? 90 : 60;
      VekBf_Run(whole.handle, in, expected, angle);
      if (whole.handle->blockCounter == counter) continue;  // a zero block
      run_staged(*staged.handle, in, out, angle, b, seen);
      same = std::memcmp(out, expected, sizeof out) == 0;
      for (const float gain : staged.handle->presenceGain) {
        if (gain < lowest_gain) lowest_gain = gain;
      }
    }
  }
  std::printf("%-18s lowest gain %.3g;", name.c_str(), static_cast<double>(lowest_gain));
  for (size_t i = 0; i < kStageCount; ++i) {
    if (seen[i].blocks == 0) continue;
    std::printf(" %s: %" PRId64 " blocks from %" PRId64 ";", kStages[i], seen[i].blocks,
                seen[i].first);
  }
  std::printf("%s\n", same ? "" : " THE STAGES GIVE OTHER SAMPLES");
  std::fflush(stdout);
  return same;
}

}  // namespace
}  // namespace vekbf::test

int main(int count, char** arguments) {
  const int64_t blocks = count > 1 ? std::atoll(arguments[1]) : 20000;
  std::vector<std::string> names(arguments + std::min(count, 2), arguments + count);
  if (names.empty()) {
    for (int kind = 0; kind < vekbf::test::kSignalKinds; ++kind) {
      names.push_back(vekbf::test::name_of(static_cast<vekbf::test::SignalKind>(kind)));
    }
    for (const char* kind : {"noise", "onebit", "ends", "sparse"}) {
      names.push_back(std::string("opposed-") + kind);
    }
    names.push_back("fading-talker");
  }
  bool same = true;
  for (const std::string& name : names) same = vekbf::test::search(name, blocks) && same;
  return same ? 0 : 1;
}
