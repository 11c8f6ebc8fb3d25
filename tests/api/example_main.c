/* SPDX-License-Identifier: MIT */
/*
 * Runs the example of the public header, as it was cut out of it, on a tone that both microphones
 * hear at once.
 */
#include "header_example.inc"

#include <stdio.h>

enum { BLOCKS = 8 };

int main(void) {
  static int16_t in[BLOCKS * 2 * VEK_BF_BLOCK_FRAMES], out[BLOCKS * VEK_BF_BLOCK_FRAMES];
  int loudest = 0;
  for (int t = 0; t < BLOCKS * VEK_BF_BLOCK_FRAMES; t++)
    in[2 * t] = in[2 * t + 1] = (int16_t)(t % 32 < 16 ? 4000 : -4000);
  if (enhance(in, out, BLOCKS) != 0) {
    fprintf(stderr, "the example failed\n");
    return 1;
  }
  for (int t = VEK_BF_LAG_SAMPLES; t < BLOCKS * VEK_BF_BLOCK_FRAMES; t++)
    if (out[t] > loudest) loudest = out[t];
  /* Steered to 60 degrees, 5 cm apart: the tone's fundamental is hardly attenuated. */
  if (loudest < 2000) {
    fprintf(stderr, "the example is silent: %d\n", loudest);
    return 1;
  }
  return 0;
}
