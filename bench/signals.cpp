// SPDX-License-Identifier: MIT
#include "signals.h"

#include <cmath>
#include <cstddef>

#include "support/random.h"
#include "vek_bf.h"

namespace vekbf::bench {

namespace {

// A pulse train of 120 to 180 Hz through two resonances, two syllables a second: its short-time
// spectrum and its level vary as those of speech do, which is what the detector's cost depends on.
class Voice {
 public:
  explicit Voice(double rate) : rate_(rate), radius_(std::pow(0.98, 16000.0 / rate)) {}

  double next(int frame) {
    const double time = frame / rate_;
    const double pitch = 150.0 + 30.0 * std::sin(6.28 * 0.7 * time);
    phase_ += pitch / rate_;
    double pulse = 0.0;
    if (phase_ >= 1.0) {
      phase_ -= 1.0;
      pulse = 16000.0 / rate_;
    }
    const double envelope = std::sin(6.283 * 2.0 * time) > -0.2 ? 1.0 : 0.0;
    return envelope * (resonate(first_, pulse, 650.0) + 0.5 * resonate(second_, pulse, 1700.0));
  }

 private:
  double resonate(double (&memory)[2], double input, double hertz) const {
    const double output = input + 2.0 * radius_ * std::cos(6.2831853 * hertz / rate_) * memory[0] -
                          radius_ * radius_ * memory[1];
    memory[1] = memory[0];
    memory[0] = output;
    return output;
  }

  double rate_;
  double radius_;
  double phase_ = 0.0;
  double first_[2] = {};
  double second_[2] = {};
};

}  // namespace

std::vector<int16_t> make_signal(std::string_view kind, int mics, int blocks, int rate) {
  const size_t frames = static_cast<size_t>(blocks) * VEK_BF_BLOCK_FRAMES;
  std::vector<int16_t> samples(frames * static_cast<size_t>(mics));
  test::Random random(20);
  Voice voice(rate);
  for (size_t frame = 0; frame < frames; ++frame) {
    const bool loud = kind == "loudspeech";
    const double level = loud ? 10000.0 : (kind == "speech" ? 2500.0 : 0.0);
    const double speech = level > 0.0 ? level * voice.next(static_cast<int>(frame)) : 0.0;
    for (int m = 0; m < mics; ++m) {
      const double noise = static_cast<double>(random.unit());
      double value = speech + (loud ? 40.0 : 400.0) * noise;
      if (kind == "onebit") value = frame % 64 == 0 ? 1.0 : (noise > 0.999 ? 1.0 : 0.0);
      if (kind == "loud") value = 32767.0 * noise;
      samples[frame * static_cast<size_t>(mics) + static_cast<size_t>(m)] =
          static_cast<int16_t>(std::lrint(std::fmin(std::fmax(value, -32768.0), 32767.0)));
    }
  }
  return samples;
}

}  // namespace vekbf::bench
