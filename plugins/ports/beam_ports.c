/* SPDX-License-Identifier: MIT */
#include "beam_ports.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct BeamPorts {
  int mics;
  uint32_t rate;               /* Hz */
  VekStream *stream;           /* NULL: silence */
  float *port[BEAM_MAX_PORTS]; /* the host's; NULL: not connected */
};

enum { MIN_RATE = 8000, MAX_RATE = 48000, MAX_INTENSITY = 10 };
#define MAX_SPACING_MM 100000.0f

/* Prints one line with one call, so that lines of several threads do not mix. */
static void complain(const BeamPorts *beam, const char *fault) {
  fprintf(stderr, "vekbf%d: %s; the beam is silent\n", beam->mics, fault);
}

static float *control(const BeamPorts *beam, enum BeamControl which) {
  return beam->port[beam->mics + 1 + (int)which];
}

/* A control's value; 0 where it is not connected or not a number. */
static float value_of(const BeamPorts *beam, enum BeamControl which) {
  const float *const value = control(beam, which);
  return value != NULL && *value == *value ? *value : 0.0f;
}

static int is_on(const BeamPorts *beam, enum BeamControl which) {
  return value_of(beam, which) >= 0.5f;
}

static void report(const BeamPorts *beam, enum BeamControl which, float value) {
  float *const result = control(beam, which);
  if (result != NULL) *result = value;
}

static long whole(float value, long least, long most) {
  if (value <= (float)least) return least;
  if (value >= (float)most) return most;
  return lrintf(value);
}

BeamPorts *beam_new(int mics, double sampleRate) {
  BeamPorts *beam;
  if (!(sampleRate >= MIN_RATE && sampleRate <= MAX_RATE)) {
    fprintf(stderr, "vekbf%d: the sample rate is %d to %d Hz, not %.0f\n", mics, MIN_RATE, MAX_RATE,
            sampleRate);
    return NULL;
  }
  beam = calloc(1, sizeof *beam);
  if (beam == NULL) return NULL;
  beam->mics = mics;
  beam->rate = (uint32_t)lrint(sampleRate);
  return beam;
}

void beam_delete(BeamPorts *beam) {
  beam_stop(beam);
  free(beam);
}

void beam_connect(BeamPorts *beam, unsigned long port, float *data) {
  if (port < (unsigned long)(beam->mics + 1 + BEAM_CONTROLS)) beam->port[port] = data;
}

/* The shape as the settings spell it. Micrometres in whole numbers: the decimal point of printf is
 * the locale's. */
static const char *set_shape(VekStreamSettings *settings, const BeamPorts *beam, float spacing) {
  char text[64];
  const long micrometres = lrintf(spacing * 1000.0f);
  const long mm = micrometres / 1000;
  const int rest = (int)(micrometres % 1000);
  if (!is_on(beam, BEAM_SQUARE)) {
    snprintf(text, sizeof text, "line:%d:%ld.%03dmm", beam->mics, mm, rest);
  } else if (beam->mics == VEK_BF_MAX_MICS) {
    snprintf(text, sizeof text, "square:%ld.%03dmm", mm, rest);
  } else {
    return "Square takes four microphones; describe two or three corners of one "
           "in " BEAM_ARRAY_FILE;
  }
  return VekStream_Set(settings, "array", text);
}

/* The ports are the microphones, whatever channels of its device an array's file names. */
static const char *take_every_port(VekStreamSettings *settings, int mics) {
  static const char *const every[] = {"1,2", "1,2,3", "1,2,3,4"};
  int32_t picks[VEK_BF_MAX_MICS];
  if (VekStream_Get(settings, "channels") != NULL || VekStream_GetPicks(settings, picks) != mics)
    return NULL;
  return VekStream_Set(settings, "channels", every[mics - BEAM_MIN_MICS]);
}

static const char *read_array(VekStreamSettings *settings, int mics) {
  const char *const named = getenv(BEAM_ARRAY_VARIABLE);
  const char *const path = named != NULL && *named != '\0' ? named : BEAM_ARRAY_FILE;
  const char *fault = VekStream_ReadFile(settings, path);
  if (fault != NULL && named == NULL) {
    FILE *const file = fopen(path, "re");
    if (file == NULL) {
      return "Spacing (mm) is not set, and there is no " BEAM_ARRAY_FILE
             " that describes the array (" BEAM_ARRAY_VARIABLE " may name another file)";
    }
    fclose(file);
  }
  return fault != NULL ? fault : take_every_port(settings, mics);
}

static const char *configure(VekStreamSettings *settings, const BeamPorts *beam) {
  char intensity[16];
  const char *fault;
  const float spacing = value_of(beam, BEAM_SPACING);
  if (spacing < 0.0f || spacing > MAX_SPACING_MM)
    return "Spacing (mm) is above 0 and at most 100000";
  fault = spacing > 0.0f ? set_shape(settings, beam, spacing) : read_array(settings, beam->mics);
  if (fault != NULL) return fault;
  snprintf(intensity, sizeof intensity, "%ld",
           whole(value_of(beam, BEAM_INTENSITY), 0, MAX_INTENSITY));
  fault = VekStream_Set(settings, "intensity", intensity);
  if (fault != NULL) return fault;
  fault = VekStream_Set(settings, "algorithm", is_on(beam, BEAM_ADAPTIVE) ? "adaptive" : "fixed");
  if (fault != NULL || !is_on(beam, BEAM_FOLLOW)) return fault;
  return VekStream_Set(settings, "angle", "auto");
}

void beam_start(BeamPorts *beam) {
  VekStreamSettings *const settings = VekStream_NewSettings();
  const char *fault = configure(settings, beam);
  beam_stop(beam);
  if (fault == NULL) fault = VekStream_Open(settings, beam->rate, beam->mics, &beam->stream);
  if (fault != NULL) complain(beam, fault);
  VekStream_FreeSettings(settings);
}

void beam_stop(BeamPorts *beam) {
  VekStream_Close(beam->stream);
  beam->stream = NULL;
}

static int is_connected(const BeamPorts *beam) {
  int i;
  for (i = 0; i <= beam->mics; i++) {
    if (beam->port[i] == NULL) return 0;
  }
  return 1;
}

/* The angle that holds from the next block on. */
static void steer(BeamPorts *beam) {
  VekDirState talker = {-1, 0, 0.0f, 0};
  if (VekStream_GetDirection(beam->stream, &talker) && is_on(beam, BEAM_FOLLOW)) {
    VekStream_SteerAsSet(beam->stream);
  } else {
    VekStream_Steer(beam->stream, (int32_t)whole(value_of(beam, BEAM_ANGLE), -3600, 3600));
  }
  report(beam, BEAM_DIRECTION, (float)talker.angle);
  report(beam, BEAM_CONFIDENCE, talker.confidence);
}

void beam_run(BeamPorts *beam, unsigned long frames) {
  report(beam, BEAM_LATENCY, VEK_STREAM_DELAY);
  if (!is_connected(beam)) return;
  steer(beam);
  VekStream_Process(beam->stream, VEK_STREAM_F32, (const void *const *)beam->port, 1,
                    beam->port[beam->mics], 1, frames);
}
