/* SPDX-License-Identifier: MIT */
/*
 * Plays a raw file of four channels into a JACK server (or PipeWire, under pw-jack) and records,
 * cycle by cycle, what was played and what came back: servers may begin late and lose cycles, so
 * the file alone does not tell what a filter was given.
 *
 *   pair IN.raw FED.raw BACK.raw SINK_PREFIX SOURCE_PORT [COMMAND]
 *
 * SINK_PREFIX is completed to four port names by 0 to 3 if it ends in AUX, by 1 to 4 otherwise.
 * COMMAND is run by the shell when half of the file has been played.
 */
#include <jack/jack.h>
#include <math.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { CHANNELS = 4, TAIL = 8192, NAME = 320 };

static int16_t *file, *fed, *back;
static size_t fileFrames, room;
static size_t played, recorded; /* each touched by one callback */
static atomic_int playing, recording;
static atomic_size_t progress;
static jack_port_t *out[CHANNELS], *monitor[CHANNELS], *in;

static int play(jack_nframes_t frames, void *unused) {
  (void)unused;
  for (int c = 0; c < CHANNELS; c++) {
    float *const to = jack_port_get_buffer(out[c], frames);
    for (size_t i = 0; i < frames; i++) {
      const int sounds = atomic_load(&playing) && played + i < fileFrames;
      to[i] = sounds ? file[(played + i) * CHANNELS + (size_t)c] / 32768.0f : 0.0f;
    }
  }
  if (atomic_load(&playing)) played += frames;
  atomic_store(&progress, played);
  return 0;
}

static int record(jack_nframes_t frames, void *unused) {
  const float *const beam = jack_port_get_buffer(in, frames);
  (void)unused;
  if (!atomic_load(&recording)) return 0;
  for (size_t i = 0; i < frames && recorded < room; i++, recorded++) {
    back[recorded] = (int16_t)lrintf(beam[i] * 32768.0f);
    for (int c = 0; c < CHANNELS; c++) {
      const float *const played_back = jack_port_get_buffer(monitor[c], frames);
      fed[recorded * CHANNELS + (size_t)c] = (int16_t)lrintf(played_back[i] * 32768.0f);
    }
  }
  return 0;
}

static int write_file(const char *path, const int16_t *samples, size_t count) {
  FILE *const f = fopen(path, "wb");
  if (f == NULL) return -1;
  const size_t written = fwrite(samples, sizeof *samples, count, f);
  return fclose(f) == 0 && written == count ? 0 : -1;
}

static int connect_ports(jack_client_t *client, const char *from, const char *to) {
  for (int tries = 0; tries < 50; tries++) {
    if (jack_connect(client, from, to) == 0) return 0;
    usleep(100000);
  }
  fprintf(stderr, "pair: cannot connect %s to %s\n", from, to);
  return -1;
}

int main(int argc, char **argv) {
  if (argc < 6) return 2;
  FILE *const f = fopen(argv[1], "rb");
  if (f == NULL) return 2;
  fseek(f, 0, SEEK_END);
  fileFrames = (size_t)ftell(f) / (CHANNELS * sizeof *file);
  rewind(f);
  file = malloc(fileFrames * CHANNELS * sizeof *file);
  if (fread(file, CHANNELS * sizeof *file, fileFrames, f) != fileFrames) return 2;
  fclose(f);
  room = fileFrames + 20 * TAIL;
  fed = calloc(room * CHANNELS, sizeof *fed);
  back = calloc(room, sizeof *back);

  jack_client_t *const player = jack_client_open("pair_play", JackNoStartServer, NULL);
  jack_client_t *const recorder = jack_client_open("pair_record", JackNoStartServer, NULL);
  if (player == NULL || recorder == NULL) {
    fprintf(stderr, "pair: no server\n");
    return 1;
  }
  char name[NAME];
  for (int c = 0; c < CHANNELS; c++) {
    snprintf(name, sizeof name, "out%d", c);
    out[c] = jack_port_register(player, name, JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
    snprintf(name, sizeof name, "fed%d", c);
    monitor[c] = jack_port_register(recorder, name, JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
  }
  in = jack_port_register(recorder, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
  jack_set_process_callback(player, play, NULL);
  jack_set_process_callback(recorder, record, NULL);
  jack_activate(player);
  jack_activate(recorder);

  int failed = 0;
  for (int c = 0; c < CHANNELS; c++) {
    char from[NAME], to[NAME];
    snprintf(from, sizeof from, "pair_play:out%d", c);
    snprintf(to, sizeof to, "%s%d", argv[4], strstr(argv[4], "AUX") != NULL ? c : c + 1);
    failed |= connect_ports(player, from, to);
    snprintf(to, sizeof to, "pair_record:fed%d", c);
    failed |= connect_ports(player, from, to);
  }
  failed |= connect_ports(recorder, argv[5], "pair_record:in");
  if (failed) return 1;
  usleep(500000);
  atomic_store(&recording, 1);
  usleep(300000);
  atomic_store(&playing, 1);
  int commanded = argc < 7;
  for (int i = 0; i < 1200 && atomic_load(&progress) < fileFrames + TAIL; i++) {
    usleep(50000);
    if (!commanded && atomic_load(&progress) > fileFrames / 2) {
      commanded = 1;
      if (system(argv[6]) != 0) fprintf(stderr, "pair: %s failed\n", argv[6]);
    }
  }
  atomic_store(&recording, 0);
  usleep(200000);
  printf("%u Hz, %u frames a cycle, %zu frames\n", jack_get_sample_rate(player),
         jack_get_buffer_size(player), recorded);
  failed = write_file(argv[2], fed, recorded * CHANNELS) | write_file(argv[3], back, recorded);
  jack_client_close(player);
  jack_client_close(recorder);
  return failed ? 1 : 0;
}
