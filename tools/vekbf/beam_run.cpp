// SPDX-License-Identifier: MIT
#include "beam_run.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "aligned_output.h"
#include "angle_track.h"
#include "beam.h"
#include "conversion.h"
#include "interruption.h"

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

}  // namespace

RunCounts run_beam(const Arguments& arguments, double preGain, Source& input, Sink& sink) {
  Beam beam(arguments, input.sampleRate());
  AlignedOutput output(sink);
  const AngleTrack track = arguments.angleTrack.empty()
                               ? AngleTrack(arguments.angle)
                               : AngleTrack(arguments.angle, arguments.angleTrack);
  Conversion convert(preGain);
  RunCounts counts;
  std::int32_t angle = arguments.angle;
  const auto mics = static_cast<std::size_t>(input.channels());
  std::vector<double> samples(mics * kFrames);
  InputBlock block(mics * kFrames);
  OutputBlock result;
  while (const std::size_t got = input.read(samples.data(), kFrames)) {
    angle = track.at(static_cast<double>(counts.frames) / input.sampleRate());
    counts.frames += static_cast<long long>(got);
    counts.blocks++;
    std::fill(block.begin(), block.end(), std::int16_t{0});
    std::transform(samples.data(), samples.data() + got * mics, block.begin(), std::ref(convert));
    if (is_zero_block(block)) counts.zeroBlocks++;
    beam.run(block.data(), result.data(), angle);
    output.put(result, counts.frames);
    if (got < kFrames || interrupted()) break;
  }
  counts.cutShort = interrupted();
  counts.clipped = convert.clipped();
  if (counts.cutShort) return counts;
  // A block of zeros would bring nothing out: the library drops it. A single 1 is enough to move it
  // on.
  std::fill(block.begin(), block.end(), std::int16_t{0});
  block[0] = 1;
  for (int i = 0; i < kTailBlocks; i++) {
    beam.run(block.data(), result.data(), angle);
    output.put(result, counts.frames);
  }
  counts.wraps = output.wraps();
  return counts;
}

}  // namespace vekbf_tool
