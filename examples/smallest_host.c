/* SPDX-License-Identifier: MIT */
/*
 * The smallest possible host: two microphones, 5 cm apart, at 16 kHz; raw 16-bit samples in, raw
 * 16-bit samples out, 384 samples late.
 *
 *   arecord -t raw -f S16_LE -r 16000 -c 2 in.raw
 *   smallest_host in.raw out.raw
 *   aplay -t raw -f S16_LE -r 16000 -c 1 out.raw
 */
#include <stdio.h>
#include <stdlib.h>

#include "vek_bf.h"

int main(int argc, char **argv) {
  VekBfInit array = {16000, 16, 2, 343, VEK_FIXED_BF, VEK_BF_UNIFORM_LINEAR_ARRAY, {{0}, {0.05f}}};
  VekBfConfig config = {0.5f, 3};
  int16_t in[2 * VEK_BF_BLOCK_FRAMES], out[VEK_BF_BLOCK_FRAMES];
  FILE *source = argc == 3 ? fopen(argv[1], "rb") : NULL;
  FILE *target = source != NULL ? fopen(argv[2], "wb") : NULL;
  if (target == NULL) return EXIT_FAILURE;
  VekBfHandle beam = VekBf_Init(malloc(VekBf_GetBufferSize()), &array);
  if (VekBf_SetConfig(beam, &config) != VEK_BF_OK) return EXIT_FAILURE;
  while (fread(in, sizeof in, 1, source) == 1) {
    VekBf_Run(beam, in, out, 90); /* 90 degrees: straight ahead */
    fwrite(out, sizeof out, 1, target);
  }
  VekBf_Free(beam);
  free(beam); /* the handle is the buffer */
  fclose(source);
  return fclose(target) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
