// SPDX-License-Identifier: MIT
#include "direction/plane_wave.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "direction/library_finder.h"
#include "support/random.h"
#include "support/signals.h"

namespace vekbf::test {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kTaps = 24;  // of the interpolation, on either side

void scale_to(std::vector<double>& samples, double level) {
  double peak = 1.0;
  for (const double x : samples) peak = std::max(peak, std::fabs(x));
  for (double& x : samples) x *= level / peak;
}

// Where a microphone stands.
void position_of(const VekBfInit& array, int mic, double& x, double& y) {
  x = static_cast<double>(array.micCoordinate[mic][0]);
  y = 0.0;
  if (array.geometry == VEK_BF_UNIFORM_LINEAR_ARRAY) return;
  const double radius = std::fabs(static_cast<double>(array.micCoordinate[0][0]));
  x = radius * std::cos(mic * kPi / 2);
  y = radius * std::sin(mic * kPi / 2);
}

// Adds samples that are delayed by a fraction: windowed sinc, the same taps for all.
void add_delayed(std::vector<double>& sums, size_t offset, size_t stride,
                 const std::vector<double>& samples, double delay) {
  const double whole = std::floor(-delay);
  const double fraction = -delay - whole;
  double taps[2 * kTaps];
  for (int i = 0; i < 2 * kTaps; ++i) {
    const double t = fraction - (i - kTaps + 1);
    const double window = 0.5 + 0.5 * std::cos(kPi * t / kTaps);
    taps[i] = window * (std::fabs(t) < 1e-9 ? 1.0 : std::sin(kPi * t) / (kPi * t));
  }
  const auto count = static_cast<ptrdiff_t>(samples.size());
  for (ptrdiff_t t = 0; t < count; ++t) {
    const ptrdiff_t first = t + static_cast<ptrdiff_t>(whole) - kTaps + 1;
    const ptrdiff_t begin = std::max<ptrdiff_t>(0, -first);
    const ptrdiff_t end = std::min<ptrdiff_t>(2 * kTaps, count - first);
    double sum = 0.0;
    for (ptrdiff_t i = begin; i < end; ++i)
      sum += samples[static_cast<size_t>(first + i)] * taps[i];
    sums[static_cast<size_t>(t) * stride + offset] += sum;
  }
}

}  // namespace

std::vector<double> voice_samples(uint64_t seed, size_t count, size_t silence, double level) {
  Voice voice(seed);
  std::vector<double> samples(silence);
  while (samples.size() < count) samples.push_back(voice.next());
  scale_to(samples, level);
  return samples;
}

std::vector<double> noise_samples(uint64_t seed, size_t count, double level) {
  Random random(seed);
  std::vector<double> samples(count);
  for (double& x : samples) x = static_cast<double>(random.unit());
  scale_to(samples, level);
  return samples;
}

std::vector<int16_t> heard_by(const VekBfInit& array, const std::vector<WaveSource>& sources,
                              double noisePeak, uint64_t seed) {
  size_t frames = 0;
  for (const WaveSource& source : sources) frames = std::max(frames, source.samples.size());
  const auto mics = static_cast<size_t>(array.micNum);
  std::vector<double> sums(frames * mics);
  for (const WaveSource& source : sources) {
    const double angle = source.degrees * kPi / 180.0;
    for (size_t m = 0; m < mics; ++m) {
      double x, y;
      position_of(array, static_cast<int>(m), x, y);
      // A source's sound comes first to the microphones on its side.
      const double delay =
          -(x * std::cos(angle) + y * std::sin(angle)) * array.sampleRate / array.soundSpeed;
      add_delayed(sums, m, mics, source.samples, delay);
    }
  }
  Random random(seed);
  std::vector<int16_t> recording(sums.size());
  for (size_t i = 0; i < sums.size(); ++i) {
    const double value = sums[i] + noisePeak * static_cast<double>(random.unit());
    recording[i] = static_cast<int16_t>(std::lrint(std::clamp(value, -32768.0, 32767.0)));
  }
  return recording;
}

std::vector<VekDirState> states_of(const VekBfInit& array, const VekDirConfig& config,
                                   const std::vector<int16_t>& recording) {
  LibraryFinder finder;
  EXPECT_TRUE(finder.start(array));
  finder.configure(config);
  const auto length = static_cast<size_t>(array.micNum * VEK_BF_BLOCK_FRAMES);
  std::vector<VekDirState> states;
  for (size_t b = 0; (b + 1) * length <= recording.size(); ++b) {
    states.push_back(finder.run(&recording[b * length]));
  }
  return states;
}

int32_t degrees_between(int32_t a, int32_t b) {
  const int32_t d = std::abs(a - b) % 360;
  return std::min(d, 360 - d);
}

}  // namespace vekbf::test
