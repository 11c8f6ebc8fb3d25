/* SPDX-License-Identifier: MIT */
/*
 * Runs the example of the finder's header, as it was cut out of it, on clicks that come from 0
 * degrees: the beam is steered there after it looked ahead.
 */
#include "direction_header_example.inc"

#include <stdio.h>
#include <stdlib.h>

enum { MICS = 2, BLOCKS = 300, PERIOD = 700, DELAY = 4, CLICK = 60 };

int main(void) {
  /* 4 samples at 16 kHz: 85.75 mm. */
  const VekBfInit array = {
      16000, 16, MICS, 343, VEK_FIXED_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, {{0}, {0.08575f}}};
  VekBfConfig config = {0.5f, 3};
  int16_t in[MICS * VEK_BF_BLOCK_FRAMES], out[VEK_BF_BLOCK_FRAMES];
  uint32_t noise = 1, click[CLICK], error = 0;
  int32_t angle = 90;
  void *finder_memory = malloc(VekDir_GetBufferSize());
  VekDirHandle finder = VekDir_Init(finder_memory, &array);
  VekBfHandle beam = VekBf_Init(malloc(VekBf_GetBufferSize()), &array);
  if (finder == NULL || VekBf_SetConfig(beam, &config) != VEK_BF_OK) return 1;
  for (int i = 0; i < CLICK; i++) click[i] = (noise = noise * 1664525u + 1013904223u) >> 18;
  for (int block = 0; block < BLOCKS && error == 0; block++) {
    if (block < 20 && angle != 90) return 1;
    for (int t = 0; t < VEK_BF_BLOCK_FRAMES; t++) {
      for (int m = 0; m < MICS; m++) {
        /* The microphone at 0 degrees hears it first. */
        const int at = (block * VEK_BF_BLOCK_FRAMES + t + (m == 0 ? PERIOD - DELAY : 0)) % PERIOD;
        noise = noise * 1664525u + 1013904223u;
        in[t * MICS + m] =
            (int16_t)((block >= 40 && at < CLICK ? (int)click[at] - 8192 : 0) + (int)(noise >> 27));
      }
    }
    error = enhance(finder, beam, in, out, &angle);
  }
  VekBf_Free(beam);
  free(beam);
  free(finder_memory);
  if (error != 0 || angle > 15) {
    fprintf(stderr, "the example ended with %d degrees, code %x\n", (int)angle, (unsigned)error);
    return 1;
  }
  return 0;
}
