/* SPDX-License-Identifier: MIT */
/* The samples of the companion's C interface, one a line, for the same sound and settings as in
 * beam_test.mjs. */
#include <stdio.h>
#include <stdlib.h>

#include "vek_stream.h"

enum { kChannels = 4, kFrames = 16000, kTurn = 64 * 128 };

int main(void) {
  VekStreamSettings *settings = VekStream_NewSettings();
  VekStream *stream = NULL;
  int16_t *sound = malloc(sizeof(int16_t) * kChannels * kFrames);
  int16_t out[512];
  uint32_t state = 1;
  int taken = 0;
  size_t count;
  if (VekStream_Set(settings, "array", "line:4:35mm") != NULL) return 1;
  if (VekStream_Set(settings, "algorithm", "adaptive") != NULL) return 1;
  if (VekStream_Set(settings, "angle", "60") != NULL) return 1;
  if (VekStream_Open(settings, 16000, kChannels, &stream) != NULL || sound == NULL) return 1;
  for (int i = 0; i < kChannels * kFrames; ++i) {
    state = state * 1664525u + 1013904223u;
    sound[i] = (int16_t)((int32_t)state >> 18);
  }
  while (taken < kFrames) {
    const int part = taken < kTurn ? kTurn - taken : kFrames - taken;
    if (taken == kTurn) VekStream_Steer(stream, 120);
    taken += (int)VekStream_WriteInterleaved(stream, VEK_STREAM_S16, sound + kChannels * taken,
                                             (size_t)part);
    if (taken == kFrames) VekStream_Finish(stream);
    while ((count = VekStream_Read(stream, VEK_STREAM_S16, out, 1, 512)) > 0) {
      for (size_t i = 0; i < count; ++i) printf("%d\n", out[i]);
    }
  }
  VekStream_Close(stream);
  VekStream_FreeSettings(settings);
  free(sound);
  return 0;
}
