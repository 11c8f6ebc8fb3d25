/* SPDX-License-Identifier: MIT */
/*
 * A host as small as it gets: one microphone hears a square wave, the fixed beamformer passes it
 * on. Exits with 0 when the wave comes out at its level.
 */
#include <stdlib.h>
#include <vek_bf.h>

int main(void) {
  VekBfInit array = {16000, 16, 1, 343, VEK_FIXED_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, {{0, 0}}};
  VekBfConfig config = {0.5f, 5};
  int16_t in[VEK_BF_BLOCK_FRAMES], out[VEK_BF_BLOCK_FRAMES];
  void *buffer = malloc(VekBf_GetBufferSize());
  VekBfHandle beam = VekBf_Init(buffer, &array);
  uint32_t error = VekBf_SetConfig(beam, &config);
  int i;
  for (i = 0; i < VEK_BF_BLOCK_FRAMES; i++) in[i] = i % 32 < 16 ? 4000 : -4000;
  /* The output lags by three blocks: the fourth holds the first. */
  for (i = 0; i < 4 && error == VEK_BF_OK; i++) error = VekBf_Run(beam, in, out, 90);
  VekBf_Free(beam);
  free(buffer);
  return error == VEK_BF_OK && abs(out[8] - 3179) < 5 && abs(out[24] + 3179) < 5 ? 0 : 1;
}
