/* SPDX-License-Identifier: MIT */
/*
 * A host of the companion: a square wave in chunks of 100 floating-point frames. Exits with 0 when
 * it comes out at its level, in place.
 */
#include <math.h>
#include <stdio.h>
#include <vek_stream.h>

enum { FRAMES = 1000, CHUNK = 100 };

int main(void) {
  float in[FRAMES], out[FRAMES];
  VekStream *stream = NULL;
  VekStreamSettings *settings = VekStream_NewSettings();
  const char *fault = VekStream_Set(settings, "array", "line:1:35mm");
  size_t done, count = 0;
  int i;
  if (fault == NULL) fault = VekStream_Open(settings, 16000, 1, &stream);
  if (fault != NULL) fprintf(stderr, "%s\n", fault);
  for (i = 0; i < FRAMES; i++) in[i] = i % 32 < 16 ? 0.125f : -0.125f;
  for (done = 0; done < FRAMES && fault == NULL; done += CHUNK) {
    VekStream_WriteInterleaved(stream, VEK_STREAM_F32, in + done, CHUNK);
    count += VekStream_Read(stream, VEK_STREAM_F32, out + count, 1, FRAMES - count);
  }
  VekStream_Finish(stream);
  count += VekStream_Read(stream, VEK_STREAM_F32, out + count, 1, FRAMES - count);
  VekStream_Close(stream);
  VekStream_FreeSettings(settings);
  /* 0.7948 of the level. */
  return count == FRAMES && fabs(out[8] - 0.09935) < 2e-4 && fabs(out[24] + 0.09935) < 2e-4 ? 0 : 1;
}
