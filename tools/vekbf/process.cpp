// SPDX-License-Identifier: MIT
#include "process.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "audio_file.h"
#include "beam.h"
#include "failure.h"
#include "text.h"

namespace vekbf_tool {

namespace {

constexpr sf_count_t kFrames = VEK_BF_BLOCK_FRAMES;
constexpr int kTailBlocks = VEK_BF_LAG_SAMPLES / VEK_BF_BLOCK_FRAMES;

void check_file(const InputFile& input, const ProcessArguments& arguments) {
  const auto mics = static_cast<long long>(arguments.array.mics.size());
  if (input.channels() != mics) {
    throw RunError("'" + arguments.input + "' has " + counted(input.channels(), "channel") +
                   ", but --mic gives " + counted(mics, "microphone"));
  }
  if (input.sampleRate() < 8000 || input.sampleRate() > 48000) {
    throw RunError("'" + arguments.input + "' has a sample rate of " +
                   std::to_string(input.sampleRate()) + " Hz; the library takes 8000 to 48000 Hz");
  }
}

// The library's rule: a block is dropped when the squares of its first 128 values add up to 0
// modulo 2^32.
bool is_zero_block(const std::vector<std::int16_t>& block) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < static_cast<std::size_t>(kFrames); i++) {
    const std::int32_t value = block[i];
    sum += static_cast<std::uint32_t>(value * value);
  }
  return sum == 0;
}

// Lets the output lag the input no longer: drops what comes out before the first input sample, and
// ends where the input ends.
class AlignedOutput {
 public:
  AlignedOutput(OutputFile& file, sf_count_t frames) : file_(file), left_(frames) {}
  void put(const std::array<std::int16_t, kFrames>& samples) {
    const sf_count_t skipped = std::min(lag_, kFrames);
    lag_ -= skipped;
    const sf_count_t kept = std::min(left_, kFrames - skipped);
    left_ -= kept;
    if (kept > 0) file_.write(samples.data() + skipped, kept);
  }

 private:
  OutputFile& file_;
  sf_count_t left_;
  sf_count_t lag_ = VEK_BF_LAG_SAMPLES;
};

}  // namespace

void process(const ProcessArguments& arguments) {
  InputFile input(arguments.input);
  check_file(input, arguments);
  Beam beam(arguments, input.sampleRate());
  OutputFile file(arguments.output, arguments.input, input.sampleRate());
  AlignedOutput output(file, input.frames());

  const auto mics = static_cast<std::size_t>(input.channels());
  std::vector<std::int16_t> block(mics * static_cast<std::size_t>(kFrames));
  std::array<std::int16_t, kFrames> result;
  long long zeroBlocks = 0;
  for (sf_count_t done = 0; done < input.frames(); done += kFrames) {
    std::fill(block.begin(), block.end(), std::int16_t{0});
    input.read(block.data(), std::min(kFrames, input.frames() - done));
    if (is_zero_block(block)) zeroBlocks++;
    beam.run(block.data(), result.data(), arguments.angle);
    output.put(result);
  }
  // A block of zeros would bring nothing out: the library drops it. A single 1 is enough to move it
  // on.
  std::fill(block.begin(), block.end(), std::int16_t{0});
  block[0] = 1;
  for (int i = 0; i < kTailBlocks; i++) {
    beam.run(block.data(), result.data(), arguments.angle);
    output.put(result);
  }
  file.commit();

  if (zeroBlocks > 0) {
    const long long blocks = (input.frames() + kFrames - 1) / kFrames;
    say("the library dropped " + std::to_string(zeroBlocks) + " of " + counted(blocks, "block") +
        " as zero blocks; the last 384 samples before each such pause come out at its end");
  }
}

}  // namespace vekbf_tool
