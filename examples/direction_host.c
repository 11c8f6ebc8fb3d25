/* SPDX-License-Identifier: MIT */
/*
 * A host that knows no angle: four microphones in a line, 8 cm apart, at 16 kHz; raw 16-bit samples
 * in, the beam on the talker out, 384 samples late, and a line for each new direction. All memory
 * of the finder is in a static buffer.
 *
 *   arecord -t raw -f S16_LE -r 16000 -c 4 in.raw
 *   direction_host in.raw out.raw
 *   aplay -t raw -f S16_LE -r 16000 -c 1 out.raw
 */
#include <stdio.h>
#include <stdlib.h>

#include "vek_bf.h"
#include "vek_direction.h"

enum { RATE = 16000, MICS = 4, AHEAD = 90 };

static uint64_t memory[131072 / sizeof(uint64_t)]; /* the most that a finder takes */

int main(int argc, char **argv) {
  VekBfInit array = {RATE,
                     16,
                     MICS,
                     343,
                     VEK_FIXED_BF,
                     VEK_BF_UNIFORM_LINEAR_ARRAY,
                     {{0}, {0.08f}, {0.16f}, {0.24f}}};
  VekBfConfig config = {0.5f, 3};
  int16_t in[MICS * VEK_BF_BLOCK_FRAMES], out[VEK_BF_BLOCK_FRAMES];
  int32_t angle = AHEAD;
  long block;
  FILE *source = argc == 3 ? fopen(argv[1], "rb") : NULL;
  FILE *target = source != NULL ? fopen(argv[2], "wb") : NULL;
  if (target == NULL) return EXIT_FAILURE;
  VekDirHandle finder =
      VekDir_GetBufferSize() <= sizeof memory ? VekDir_Init(memory, &array) : NULL;
  VekBfHandle beam = VekBf_Init(malloc(VekBf_GetBufferSize()), &array);
  if (finder == NULL || VekBf_SetConfig(beam, &config) != VEK_BF_OK) return EXIT_FAILURE;
  for (block = 1; fread(in, sizeof in, 1, source) == 1; block++) {
    VekDirState talker;
    VekBf_Run(beam, in, out, angle);
    fwrite(out, sizeof out, 1, target);
    VekDir_Run(finder, in, &talker);
    if (talker.angle < 0 || talker.angle == angle) continue;
    angle = talker.angle; /* from the next block on */
    printf("%.3f %d\n", (double)(block * VEK_BF_BLOCK_FRAMES) / RATE, (int)angle);
  }
  VekBf_Free(beam);
  free(beam);
  fclose(source);
  return fclose(target) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
