/* SPDX-License-Identifier: MIT */
/*
 * A host of the companion: raw 16-bit samples of any number of channels on standard input, the beam
 * on standard output, as long as the input and lined up with it. The settings are those of the
 * command line tool.
 *
 *   stream_host 16000 4 array=line:4:80mm angle=60 <in.raw >out.raw
 *   stream_host 16000 6 config=desk.ini channels=2,3,4,5 <in.raw >out.raw
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vek_stream.h"

enum { CHUNK = 1000 }; /* frames; any number will do */

/* "angle=60" is a setting, "config=desk.ini" a file of settings. */
static const char *set(VekStreamSettings *settings, char *word) {
  char *value = strchr(word, '=');
  if (value == NULL) return "a setting is KEY=VALUE, such as angle=60";
  *value++ = '\0';
  return strcmp(word, "config") == 0 ? VekStream_ReadFile(settings, value)
                                     : VekStream_Set(settings, word, value);
}

static int give(VekStream *stream, FILE *target) {
  int16_t out[CHUNK];
  size_t count;
  while ((count = VekStream_Read(stream, VEK_STREAM_S16, out, 1, CHUNK)) > 0) {
    if (fwrite(out, sizeof out[0], count, target) != count) return 0;
  }
  return 1;
}

static int run(VekStream *stream, int channels) {
  int16_t in[CHUNK * VEK_STREAM_MAX_CHANNELS];
  const size_t frame = (size_t)channels * sizeof in[0];
  size_t frames;
  while ((frames = fread(in, frame, CHUNK, stdin)) > 0) {
    /* All are taken: everything has been read, and CHUNK is at most VEK_STREAM_ROOM. */
    VekStream_WriteInterleaved(stream, VEK_STREAM_S16, in, frames);
    if (!give(stream, stdout)) return 0;
  }
  VekStream_Finish(stream);
  return !ferror(stdin) && give(stream, stdout) && fflush(stdout) == 0;
}

int main(int argc, char **argv) {
  const int channels = argc > 2 ? atoi(argv[2]) : 0;
  VekStreamSettings *settings = VekStream_NewSettings();
  VekStream *stream = NULL;
  const char *fault = NULL;
  int i, done = 0;
  for (i = 3; i < argc && fault == NULL; i++) fault = set(settings, argv[i]);
  if (fault == NULL) {
    const unsigned long rate = argc > 1 ? strtoul(argv[1], NULL, 10) : 0;
    fault = VekStream_Open(settings, (uint32_t)rate, channels, &stream);
  }
  if (fault == NULL) done = run(stream, channels);
  if (!done) fprintf(stderr, "%s\n", fault != NULL ? fault : "cannot read or write");
  VekStream_Close(stream);
  VekStream_FreeSettings(settings);
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
