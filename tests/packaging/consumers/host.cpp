// SPDX-License-Identifier: MIT
//
// The same host in C++: one microphone hears a square wave, the fixed beamformer passes it on.
#include <vek_bf.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

int main() {
  VekBfInit array{};
  array.sampleRate = 16000;
  array.bitWidth = 16;
  array.micNum = 1;
  array.soundSpeed = 343;
  array.algorithm = VEK_FIXED_BF;
  array.geometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
  const VekBfConfig config{0.5f, 5};

  std::vector<std::int64_t> buffer((VekBf_GetBufferSize() + 7) / 8);
  const VekBfHandle beam = VekBf_Init(buffer.data(), &array);
  std::uint32_t error = VekBf_SetConfig(beam, &config);
  std::int16_t in[VEK_BF_BLOCK_FRAMES], out[VEK_BF_BLOCK_FRAMES];
  for (int i = 0; i < VEK_BF_BLOCK_FRAMES; i++) in[i] = i % 32 < 16 ? 4000 : -4000;
  for (int i = 0; i < 4 && error == VEK_BF_OK; i++) error = VekBf_Run(beam, in, out, 90);
  VekBf_Free(beam);
  return error == VEK_BF_OK && std::abs(out[8] - 3179) < 5 && std::abs(out[24] + 3179) < 5 ? 0 : 1;
}
