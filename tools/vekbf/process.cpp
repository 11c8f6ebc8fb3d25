// SPDX-License-Identifier: MIT
#include "process.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "aligned_output.h"
#include "angle_track.h"
#include "beam.h"
#include "input_output.h"
#include "text.h"

namespace vekbf_tool {

namespace {

constexpr std::size_t kFrames = VEK_BF_BLOCK_FRAMES;
constexpr int kTailBlocks = VEK_BF_LAG_SAMPLES / VEK_BF_BLOCK_FRAMES;

using InputBlock = std::vector<std::int16_t>;

// The library's rule: a block is dropped when the squares of its first 128 values add up to 0
// modulo 2^32.
bool is_zero_block(const InputBlock& block) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < kFrames; i++) {
    const std::int32_t value = block[i];
    sum += static_cast<std::uint32_t>(value * value);
  }
  return sum == 0;
}

// A 16-bit sample keeps its value: full scale is a power of two.
std::int16_t to_sample(double value) {
  return static_cast<std::int16_t>(std::lrint(std::clamp(value * 32768.0, -32768.0, 32767.0)));
}

}  // namespace

void process(const ProcessArguments& arguments, int standardOutput) {
  const std::unique_ptr<Source> input = open_source(arguments);
  Beam beam(arguments, input->sampleRate());
  const std::unique_ptr<Sink> sink = open_sink(arguments, input->sampleRate(), standardOutput);
  AlignedOutput output(*sink);

  const auto mics = static_cast<std::size_t>(input->channels());
  std::vector<double> samples(mics * kFrames);
  InputBlock block(mics * kFrames);
  OutputBlock result;
  const AngleTrack track = arguments.angleTrack.empty()
                               ? AngleTrack(arguments.angle)
                               : AngleTrack(arguments.angle, arguments.angleTrack);
  std::int32_t angle = arguments.angle;
  long long frames = 0;
  long long zeroBlocks = 0;
  while (const std::size_t got = input->read(samples.data(), kFrames)) {
    angle = track.at(static_cast<double>(frames) / input->sampleRate());
    frames += static_cast<long long>(got);
    std::fill(block.begin(), block.end(), std::int16_t{0});
    std::transform(samples.data(), samples.data() + got * mics, block.begin(), to_sample);
    if (is_zero_block(block)) zeroBlocks++;
    beam.run(block.data(), result.data(), angle);
    output.put(result, frames);
    if (got < kFrames) break;
  }
  // A block of zeros would bring nothing out: the library drops it. A single 1 is enough to move it
  // on.
  std::fill(block.begin(), block.end(), std::int16_t{0});
  block[0] = 1;
  for (int i = 0; i < kTailBlocks; i++) {
    beam.run(block.data(), result.data(), angle);
    output.put(result, frames);
  }
  sink->commit();

  if (zeroBlocks > 0) {
    const long long blocks = (frames + VEK_BF_BLOCK_FRAMES - 1) / VEK_BF_BLOCK_FRAMES;
    say(arguments.label + "the library dropped " + std::to_string(zeroBlocks) + " of " +
        counted(blocks, "block") +
        " as zero blocks; the last 384 samples before each such pause come out at its end");
  }
}

}  // namespace vekbf_tool
