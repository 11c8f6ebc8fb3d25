// SPDX-License-Identifier: MIT
//
// stream_day SECONDS SEED: that much sound in all, in streams of every kind, cut into chunks of
// random length (0 and up), formats and layouts, with digital silence, not-a-number, samples out of
// range and an angle that may change with every chunk, against a plain twin that cuts the blocks
// itself. Fails with the first sample that differs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "stream/streams.h"
#include "support/random.h"

namespace vekbf::test {
namespace {

constexpr uint32_t kRate = 16000;
constexpr size_t kLongestChunk = 8192;

// One way to open a stream; 32 different ones.
struct Kind {
  explicit Kind(uint64_t number)
      : mics(1 + number % 4),
        adaptive(number / 4 % 2 == 1),
        constantDelay(number / 8 % 2 == 1),
        keepTime(number / 16 % 2 == 0),
        picked(number % 3 == 0),
        gain(number % 5 == 4 ? "-3.5" : "0") {}
  size_t channels() const { return picked ? mics + 2 : mics; }
  // The channel of a microphone, from 0.
  size_t pick(size_t mic) const { return picked ? mics - mic : mic; }
  Settings settings() const {
    const std::string array = "line:" + std::to_string(mics) + ":50mm";
    std::string channels;
    for (size_t m = 0; m < mics; m++) {
      if (m > 0) channels += ',';
      channels += std::to_string(pick(m) + 1);
    }
    Settings settings = settings_of({{"array", array.c_str()},
                                     {"algorithm", adaptive ? "adaptive" : "fixed"},
                                     {"keep-time", keepTime ? "yes" : "no"},
                                     {"pre-gain", gain}});
    if (picked) {
      EXPECT_EQ(said(VekStream_Set(settings.get(), "channels", channels.c_str())), "");
    }
    return settings;
  }

  size_t mics;
  bool adaptive;
  bool constantDelay;
  bool keepTime;
  bool picked;
  const char* gain;
};

// What is expected, a frame at a time.
class Twin {
 public:
  Twin(const Settings& settings, const Kind& kind)
      : kind_(kind),
        gain_(std::pow(10.0, std::atof(kind.gain) / 20.0)),
        beam_(array_of(settings), config_of(settings), kind.keepTime) {}

  // `frame` has the host's channels, full scale 1.0.
  void take(const double* frame, int32_t angle) {
    if (block_.empty()) angle_ = angle;
    for (size_t m = 0; m < kind_.mics; m++) block_.push_back(rounded(frame[kind_.pick(m)]));
    frames_++;
    if (block_.size() == kBlock * kind_.mics) run();
  }
  void finish() {
    if (!block_.empty()) {
      block_.resize(kBlock * kind_.mics);
      run();
    }
    for (int b = 0; b < 3; b++) {
      beam_.run_tail(out_, angle_);
      keep();
    }
    samples_.resize(std::min<size_t>(samples_.size(), frames_ - given_));
  }
  // The sample that comes next.
  int16_t next() {
    if (kind_.constantDelay && silence_ > 0) {
      silence_--;
      return 0;
    }
    if (begin_ == samples_.size()) {
      std::printf("more samples came out than went in\n");
      std::exit(1);
    }
    given_++;
    return samples_[begin_++];
  }
  size_t frames() const { return frames_; }
  size_t given() const { return given_; }
  uint64_t zeroBlocks() const { return beam_.zeroBlocks(); }
  // Samples that have been given need not be kept.
  void forget() {
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(begin_));
    begin_ = 0;
  }

 private:
  static VekBfInit array_of(const Settings& settings) {
    VekBfInit array{};
    EXPECT_EQ(said(VekStream_GetArray(settings.get(), kRate, &array)), "");
    return array;
  }
  static VekBfConfig config_of(const Settings& settings) {
    VekBfConfig config{};
    VekStream_GetConfig(settings.get(), &config);
    return config;
  }
  int16_t rounded(double value) const {
    const double whole = std::nearbyint(value * 32768.0 * gain_);
    if (std::isnan(whole)) return 0;
    return static_cast<int16_t>(std::min(std::max(whole, -32768.0), 32767.0));
  }
  void run() {
    beam_.run(block_.data(), out_, angle_);
    block_.clear();
    keep();
  }
  void keep() {
    if (lag_ > 0) {
      lag_ -= kBlock;
    } else {
      samples_.insert(samples_.end(), out_, out_ + kBlock);
    }
  }

  Kind kind_;
  double gain_;
  PlainBeam beam_;
  Samples block_;
  int32_t angle_ = 90;
  int16_t out_[kBlock] = {};
  size_t lag_ = kLag;
  size_t silence_ = VEK_STREAM_DELAY;
  Samples samples_;
  size_t begin_ = 0;
  size_t frames_ = 0;
  size_t given_ = 0;
};

// Stretches of noise of any level, digital silence, a constant, and wild numbers.
class Sound {
 public:
  explicit Sound(uint64_t seed) : random_(seed) {}
  double next() {
    if (left_ == 0) {
      kind_ = random_.below(6);
      left_ = 1 + random_.below(static_cast<int>(3 * kRate));
      level_ = std::pow(2.0, -static_cast<double>(random_.below(14)));
    }
    left_--;
    switch (kind_) {
      case 0:
        return 0;
      case 1:
        return random_.below(50) == 0 ? wild() : level_ * noise();
      case 2:
        return level_;
      default:
        return level_ * noise();
    }
  }

 private:
  double noise() { return static_cast<double>(random_.next32()) / 2147483648.0 - 1.0; }
  double wild() {
    const double values[] = {std::nan(""), INFINITY, -INFINITY, 2, -2, 1, -1, 1e-310, 1e-40, 1e300};
    return values[random_.below(10)];
  }
  Random random_;
  int kind_ = 0;
  int left_ = 0;
  double level_ = 1;
};

size_t chunk_length(Random& random) {
  constexpr size_t kUsual[] = {0, 1, 64, 127, 128, 129, 160, 341, 342, 480, 1024, 2048, 8192};
  const auto choice = static_cast<size_t>(random.below(20));
  if (choice < std::size(kUsual)) return kUsual[choice];
  return static_cast<size_t>(random.below(kLongestChunk + 1));
}

// Frames as a host may have them, and what their samples are worth.
template <class Sample>
struct Layout {
  Layout(size_t channelCount, size_t frameCount, Random& random)
      : channels(channelCount),
        frames(frameCount),
        planar(random.below(2) == 1),
        step(1 + random.below(3)),
        memory(channels * frames * static_cast<size_t>(step) + 1) {}
  void put(size_t frame, size_t channel, double& value) {
    const size_t place = planar ? (channel * frames + frame) * static_cast<size_t>(step)
                                : frame * channels + channel;
    if constexpr (std::is_same_v<Sample, int16_t>) {
      // Held back from the ends, as sound of 16 bits is.
      const double whole = std::isfinite(value) ? std::fmin(std::fmax(value, -1.0), 0.99) : 0.0;
      memory[place] = static_cast<int16_t>(std::lrint(whole * 32768.0));
      value = memory[place] / 32768.0;
    } else {
      memory[place] = static_cast<Sample>(value);
      value = static_cast<double>(memory[place]);
    }
  }
  std::vector<const void*> planes(size_t firstFrame) const {
    std::vector<const void*> pointers;
    for (size_t c = 0; c < channels; c++) {
      pointers.push_back(&memory[(c * frames + firstFrame) * static_cast<size_t>(step)]);
    }
    return pointers;
  }
  size_t channels;
  size_t frames;
  bool planar;
  int step;
  std::vector<Sample> memory;
};

template <class Sample>
constexpr int32_t kFormatOf = std::is_same_v<Sample, int16_t> ? VEK_STREAM_S16
                              : std::is_same_v<Sample, float> ? VEK_STREAM_F32
                                                              : VEK_STREAM_F64;

class Play {
 public:
  Play(uint64_t number, uint64_t seed)
      : number_(number),
        kind_(number),
        random_(seed * 1000003 + number),
        sound_(random_.next()),
        settings_(kind_.settings()),
        stream_(open_stream(settings_, static_cast<int32_t>(kind_.channels()), kRate)),
        twin_(settings_, kind_) {}

  void run(size_t frames) {
    while (twin_.frames() < frames) {
      const size_t length = std::min(chunk_length(random_), frames - twin_.frames());
      if (random_.below(2) == 0) {
        angle_ = static_cast<int32_t>(random_.below(720)) - 360;
        VekStream_Steer(stream_.get(), angle_);
      }
      switch (random_.below(3)) {
        case 0:
          chunk<int16_t>(length);
          break;
        case 1:
          chunk<float>(length);
          break;
        default:
          chunk<double>(length);
      }
      twin_.forget();
    }
    if (!kind_.constantDelay) {
      VekStream_Finish(stream_.get());
      twin_.finish();
      while (read<float>(1000) > 0) {
      }
      require(twin_.given() == frames, "the number of samples");
    }
    const VekStreamCounts counts = counts_of(stream_);
    require(counts.frames == frames, "the number of frames");
    require(counts.zeroBlocks == twin_.zeroBlocks(), "the number of zero blocks");
  }

 private:
  void require(bool condition, const char* what) const {
    if (condition) return;
    std::printf("stream %llu, frame %zu: %s differs\n", static_cast<unsigned long long>(number_),
                twin_.frames(), what);
    std::exit(1);
  }

  template <class Sample>
  void compare(const Sample* out, size_t step, size_t count) {
    constexpr double kScale = kFormatOf<Sample> == VEK_STREAM_S16 ? 1.0 : 32768.0;
    for (size_t i = 0; i < count; i++) {
      require(static_cast<double>(out[i * step]) * kScale == twin_.next(), "a sample");
    }
  }

  template <class Sample>
  size_t read(size_t wanted) {
    const size_t step = 1 + static_cast<size_t>(random_.below(2));
    std::vector<Sample> out(wanted * step + 1);
    const size_t got = VekStream_Read(stream_.get(), kFormatOf<Sample>, out.data(),
                                      static_cast<std::ptrdiff_t>(step), wanted);
    compare(out.data(), step, got);
    return got;
  }

  template <class Sample>
  void chunk(size_t length) {
    Layout<Sample> layout(kind_.channels(), length, random_);
    std::vector<double> frame(kind_.channels());
    for (size_t f = 0; f < length; f++) {
      for (size_t c = 0; c < frame.size(); c++) {
        frame[c] = sound_.next();
        layout.put(f, c, frame[c]);
      }
      twin_.take(frame.data(), angle_);
    }
    if (kind_.constantDelay) {
      process(layout, length);
    } else {
      write(layout, length);
    }
  }

  template <class Sample>
  void process(const Layout<Sample>& layout, size_t length) {
    const std::ptrdiff_t step = layout.planar ? 2 : 1;
    std::vector<Sample> out(length * 2 + 1);
    if (layout.planar) {
      VekStream_Process(stream_.get(), kFormatOf<Sample>, layout.planes(0).data(), layout.step,
                        out.data(), step, length);
    } else {
      VekStream_ProcessInterleaved(stream_.get(), kFormatOf<Sample>, layout.memory.data(),
                                   out.data(), length);
    }
    compare(out.data(), static_cast<size_t>(step), length);
  }

  template <class Sample>
  void write(const Layout<Sample>& layout, size_t length) {
    for (size_t done = 0; done < length;) {
      const size_t taken =
          layout.planar
              ? VekStream_Write(stream_.get(), kFormatOf<Sample>, layout.planes(done).data(),
                                layout.step, length - done)
              : VekStream_WriteInterleaved(stream_.get(), kFormatOf<Sample>,
                                           &layout.memory[done * layout.channels], length - done);
      done += taken;
      require(taken > 0 || read<float>(VEK_STREAM_ROOM) > 0, "progress");
      if (random_.below(2) == 0) read<Sample>(static_cast<size_t>(random_.below(3000)));
    }
  }

  uint64_t number_;
  Kind kind_;
  Random random_;
  Sound sound_;
  Settings settings_;
  Stream stream_;
  Twin twin_;
  int32_t angle_ = 90;
};

}  // namespace
}  // namespace vekbf::test

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: stream_day SECONDS SEED\n");
    return 2;
  }
  const auto seconds = std::strtoull(argv[1], nullptr, 10);
  const auto seed = std::strtoull(argv[2], nullptr, 10);
  constexpr uint64_t kStreams = 32;
  const uint64_t frames = seconds * vekbf::test::kRate / kStreams;
  for (uint64_t number = 0; number < kStreams; number++) {
    // Not a whole number of blocks.
    vekbf::test::Play(number, seed).run(static_cast<size_t>(frames + number * 13 % 128));
  }
  std::printf("%llu s in %llu streams, seed %llu: no difference\n", seconds,
              static_cast<unsigned long long>(kStreams), seed);
  return testing::Test::HasFailure() ? 1 : 0;
}
