/* SPDX-License-Identifier: MIT */
/* Microseconds of one block of the companion, the best of many runs, for the same four cases as
 * blocks.mjs. */
#include <stdio.h>
#include <time.h>

#include "vek_stream.h"

enum { kFrames = 128, kBlocks = 40, kRuns = 400, kMostMics = 4 };

static double now(void) {
  struct timespec time;
  timespec_get(&time, TIME_UTC);
  return 1e6 * (double)time.tv_sec + 1e-3 * (double)time.tv_nsec;
}

static float sound[kMostMics][kFrames * kBlocks];

static int measure(const char *array, const char *algorithm, int mics) {
  VekStreamSettings *settings = VekStream_NewSettings();
  VekStream *stream = NULL;
  double best = 1e9;
  if (VekStream_Set(settings, "array", array) != NULL) return 1;
  if (VekStream_Set(settings, "algorithm", algorithm) != NULL) return 1;
  if (VekStream_Open(settings, 16000, mics, &stream) != NULL) return 1;
  for (int run = 0; run < kRuns; ++run) {
    const double start = now();
    for (int block = 0; block < kBlocks; ++block) {
      const void *channels[kMostMics];
      float out[kFrames];
      for (int m = 0; m < mics; ++m) channels[m] = sound[m] + block * kFrames;
      VekStream_Steer(stream, 60);
      VekStream_Process(stream, VEK_STREAM_F32, channels, 1, out, 1, kFrames);
    }
    const double taken = (now() - start) / kBlocks;
    if (taken < best) best = taken;
  }
  printf("%s %s %.2f\n", algorithm, array, best);
  VekStream_Close(stream);
  VekStream_FreeSettings(settings);
  return 0;
}

int main(void) {
  unsigned state = 1;
  for (int m = 0; m < kMostMics; ++m) {
    for (int i = 0; i < kFrames * kBlocks; ++i) {
      state = state * 1664525u + 1013904223u;
      sound[m][i] = (float)(int)(state >> 18) / 65536.0f - 0.125f;
    }
  }
  return measure("line:2:50mm", "fixed", 2) || measure("line:4:35mm", "fixed", 4) ||
         measure("line:4:35mm", "adaptive", 4) || measure("square:64mm", "adaptive", 4);
}
