/* SPDX-License-Identifier: MIT */
/*
 * The smallest host: raw interleaved 16-bit blocks from standard input through the library, what
 * every VekBf_Run gives into a file, nothing added or left out.
 *
 *   direct_host OUT.raw rate algorithm geometry speed angle threshold intensity x0 y0 [x1 y1 ...] <
 * IN.raw
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "vek_bf.h"

int main(int argc, char **argv) {
  if (argc < 11) return 2;
  VekBfInit init = {0};
  VekBfConfig config = {strtof(argv[7], NULL), (uint32_t)atoi(argv[8])};
  int16_t in[VEK_BF_MAX_MICS * VEK_BF_BLOCK_FRAMES];
  int16_t out[VEK_BF_BLOCK_FRAMES];
  int m;
  init.sampleRate = (uint32_t)atoi(argv[2]);
  init.bitWidth = 16;
  init.micNum = (argc - 9) / 2;
  init.soundSpeed = atoi(argv[5]);
  init.algorithm = atoi(argv[3]) == 1 ? VEK_ADAPTIVE_BF : VEK_FIXED_BF;
  init.geometry = atoi(argv[4]) == 1 ? VEK_BF_UNIFORM_TRIANGLE_ARRAY : VEK_BF_UNIFORM_LINEAR_ARRAY;
  for (m = 0; m < init.micNum && m < VEK_BF_MAX_MICS; m++) {
    init.micCoordinate[m][0] = strtof(argv[9 + 2 * m], NULL);
    init.micCoordinate[m][1] = strtof(argv[10 + 2 * m], NULL);
  }
  FILE *file = fopen(argv[1], "wb");
  void *buffer = malloc(VekBf_GetBufferSize());
  VekBfHandle beam = VekBf_Init(buffer, &init);
  if (file == NULL || VekBf_SetConfig(beam, &config) != VEK_BF_OK) return 1;
  const size_t block = (size_t)init.micNum * VEK_BF_BLOCK_FRAMES;
  while (fread(in, sizeof in[0], block, stdin) == block) {
    if (VekBf_Run(beam, in, out, atoi(argv[6])) != VEK_BF_OK) return 1;
    fwrite(out, sizeof out[0], VEK_BF_BLOCK_FRAMES, file);
  }
  VekBf_Free(beam);
  free(buffer);
  return fclose(file) == 0 ? 0 : 1;
}
