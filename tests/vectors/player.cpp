// SPDX-License-Identifier: MIT
#include "vectors/player.h"

#include <cstring>

#include "support/digest.h"
#include "support/serialise.h"

namespace vekbf::test {

namespace {

// Counts the synthesised samples that do not fit 32 bits, from the output spectrum that the
// adaptive path leaves in the instance.
class SaturationCounter {
 public:
  explicit SaturationCounter(const Engine& engine) : engine_(engine) {
    const FftInitParams params{0, kFrameSize, 0, 1};
    state_ = engine.fftInit(&params);
  }
  ~SaturationCounter() { engine_.fftFree(state_); }
  SaturationCounter(const SaturationCounter&) = delete;
  SaturationCounter& operator=(const SaturationCounter&) = delete;

  int64_t count(const Instance& instance) {
    Complex spectrum[kBinCount];
    float samples[kFrameSize];
    std::memcpy(spectrum, instance.outBeam, sizeof spectrum);
    engine_.doFft(state_, as_floats(spectrum), samples, kInverse);
    int64_t beyond = 0;
    for (const float y : samples) {
      const double v = 0.5 * static_cast<double>(y);
      if (v >= 2147483648.0 || v < -2147483648.0) ++beyond;
    }
    return beyond;
  }

 private:
  const Engine& engine_;
  FftState* state_;
};

uint64_t digest_of_state(const Instance& instance) {
  const std::vector<uint8_t> bytes = serialise(instance);
  Digest digest;
  digest.bytes(bytes.data(), bytes.size());
  return digest.value();
}

void add_number(Digest& digest, uint32_t number) {
  for (int shift = 0; shift < 32; shift += 8) {
    digest.byte(static_cast<uint8_t>((number >> shift) & 0xff));
  }
}

}  // namespace

Player::Player(const Scene& scene, const Engine& engine)
    : scene_(scene),
      engine_(engine),
      memory_(kWorkBufferSize / sizeof(uint64_t)),
      handle_(engine.init(memory_.data(), &scene.init)),
      signal_(scene.signal, scene.seed, channels_of(scene)),
      path_(scene),
      in_(static_cast<size_t>(kHopSize * channels_of(scene))),
      out_(kHopSize) {
  engine_.setConfig(handle_, &scene.config);
}

Player::~Player() { engine_.freeInstance(handle_); }

bool Player::play_block() {
  if (block_ == scene_.blocks) return false;
  if (scene_.reconfigureAt != 0 && block_ == scene_.reconfigureAt) {
    engine_.setConfig(handle_, &scene_.later);
  }
  ++block_;
  signal_.block(in_.data());
  angle_ = path_.next();
  engine_.run(handle_, in_.data(), out_.data(), angle_);
  return true;
}

SceneDigest digest_of(const Scene& scene, const Engine& engine) {
  SceneDigest result;
  Digest input;
  Digest output;
  SaturationCounter saturation(engine);
  Player player(scene, engine);
  while (player.play_block()) {
    const PlayedBlock block = player.last();
    input.samples(block.in.data(), block.in.size());
    add_number(input, static_cast<uint32_t>(block.angle));
    output.samples(block.out.data(), block.out.size());
    if (scene.saturates) result.saturated += saturation.count(block.instance);
    if (block.number % kStateInterval == 0 || block.number == scene.blocks) {
      result.states.push_back(digest_of_state(block.instance));
    }
  }
  result.input = input.value();
  result.output = output.value();
  return result;
}

}  // namespace vekbf::test
