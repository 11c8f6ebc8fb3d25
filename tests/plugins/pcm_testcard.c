/* SPDX-License-Identifier: MIT */
/*
 * A sound card made of a raw file, for tests: an ALSA plug-in with a real ring buffer. `step` more
 * frames have arrived whenever the pointer is asked for, so that a test needs no clock. With
 * `overrun_at N` the ring overruns once after N frames, and `lost` frames of the file are gone.
 */
#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <unistd.h>

enum { MAX_CHANNELS = 16 };

typedef struct {
  snd_pcm_ioplug_t io;
  FILE *file;
  long channels, rate, step, overrun_at, lost;
  snd_pcm_uframes_t position; /* frames since prepare */
  long delivered;             /* frames since the card was opened */
  int running, overrun_done;
} Card;

static void deliver(Card *card, snd_pcm_uframes_t frames) {
  const snd_pcm_channel_area_t *const areas = snd_pcm_ioplug_mmap_areas(&card->io);
  for (; frames > 0; frames--, card->position++, card->delivered++) {
    const snd_pcm_uframes_t at = card->position % card->io.buffer_size;
    int16_t frame[MAX_CHANNELS] = {0};
    /* Silence behind the end of the file. */
    if (fread(frame, sizeof frame[0], (size_t)card->channels, card->file) !=
        (size_t)card->channels) {
      memset(frame, 0, sizeof frame);
    }
    for (long c = 0; c < card->channels; c++) {
      const snd_pcm_channel_area_t *const area = &areas[c];
      memcpy((char *)area->addr + (area->first + area->step * at) / 8, &frame[c], sizeof frame[c]);
    }
  }
}

static snd_pcm_sframes_t pointer(snd_pcm_ioplug_t *io) {
  Card *const card = io->private_data;
  if (card->running) {
    const snd_pcm_uframes_t waiting = snd_pcm_ioplug_avail(io, card->position, io->appl_ptr);
    const snd_pcm_uframes_t room = io->buffer_size > waiting ? io->buffer_size - waiting : 0;
    if (card->overrun_at > 0 && !card->overrun_done && card->delivered >= card->overrun_at) {
      card->overrun_done = 1;
      fseek(card->file, card->lost * card->channels * (long)sizeof(int16_t), SEEK_CUR);
      return -EPIPE;
    }
    deliver(card, room < (snd_pcm_uframes_t)card->step ? room : (snd_pcm_uframes_t)card->step);
  }
  return (snd_pcm_sframes_t)card->position;
}
static int start(snd_pcm_ioplug_t *io) {
  ((Card *)io->private_data)->running = 1;
  return 0;
}
static int stop(snd_pcm_ioplug_t *io) {
  ((Card *)io->private_data)->running = 0;
  return 0;
}
static int prepare(snd_pcm_ioplug_t *io) {
  ((Card *)io->private_data)->position = 0;
  return 0;
}
static int closed(snd_pcm_ioplug_t *io) {
  Card *const card = io->private_data;
  fclose(card->file);
  close(card->io.poll_fd);
  free(card);
  return 0;
}
static const snd_pcm_ioplug_callback_t callbacks = {
    .start = start, .stop = stop, .pointer = pointer, .prepare = prepare, .close = closed};

SND_PCM_PLUGIN_DEFINE_FUNC(vekbf_testcard) {
  static const unsigned access_modes[] = {SND_PCM_ACCESS_MMAP_INTERLEAVED,
                                          SND_PCM_ACCESS_RW_INTERLEAVED};
  static const unsigned formats[] = {SND_PCM_FORMAT_S16};
  snd_config_iterator_t i, next;
  const char *path = NULL;
  int error;
  Card *const card = calloc(1, sizeof *card);
  (void)root;
  if (card == NULL) return -ENOMEM;
  card->channels = 4;
  card->rate = 16000;
  card->step = 64;
  snd_config_for_each(i, next, conf) {
    snd_config_t *const field = snd_config_iterator_entry(i);
    const char *id;
    if (snd_config_get_id(field, &id) < 0) continue;
    if (strcmp(id, "infile") == 0) snd_config_get_string(field, &path);
    if (strcmp(id, "channels") == 0) snd_config_get_integer(field, &card->channels);
    if (strcmp(id, "rate") == 0) snd_config_get_integer(field, &card->rate);
    if (strcmp(id, "step") == 0) snd_config_get_integer(field, &card->step);
    if (strcmp(id, "overrun_at") == 0) snd_config_get_integer(field, &card->overrun_at);
    if (strcmp(id, "lost") == 0) snd_config_get_integer(field, &card->lost);
  }
  card->file = path != NULL ? fopen(path, "rb") : NULL;
  if (card->file == NULL) {
    SNDERR("testcard: cannot open infile %s", path != NULL ? path : "");
    free(card);
    return -ENOENT;
  }
  card->io.version = SND_PCM_IOPLUG_VERSION;
  card->io.name = "Test card";
  card->io.flags = SND_PCM_IOPLUG_FLAG_BOUNDARY_WA;
  card->io.mmap_rw = 1;
  card->io.poll_fd = eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK);
  card->io.poll_events = POLLIN;
  card->io.callback = &callbacks;
  card->io.private_data = card;
  error = snd_pcm_ioplug_create(&card->io, name, stream, mode);
  if (error < 0) {
    fclose(card->file);
    free(card);
    return error;
  }
  snd_pcm_ioplug_set_param_list(&card->io, SND_PCM_IOPLUG_HW_ACCESS, 2, access_modes);
  snd_pcm_ioplug_set_param_list(&card->io, SND_PCM_IOPLUG_HW_FORMAT, 1, formats);
  snd_pcm_ioplug_set_param_minmax(&card->io, SND_PCM_IOPLUG_HW_CHANNELS, (unsigned)card->channels,
                                  (unsigned)card->channels);
  snd_pcm_ioplug_set_param_minmax(&card->io, SND_PCM_IOPLUG_HW_RATE, (unsigned)card->rate,
                                  (unsigned)card->rate);
  snd_pcm_ioplug_set_param_minmax(&card->io, SND_PCM_IOPLUG_HW_PERIOD_BYTES, 64, 1 << 20);
  snd_pcm_ioplug_set_param_minmax(&card->io, SND_PCM_IOPLUG_HW_PERIODS, 2, 64);
  *pcmp = card->io.pcm;
  return 0;
}
SND_PCM_PLUGIN_SYMBOL(vekbf_testcard)
