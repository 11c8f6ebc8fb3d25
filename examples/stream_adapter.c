/* SPDX-License-Identifier: MIT */
#include "stream_adapter.h"

#include <stdlib.h>
#include <string.h>

static size_t smaller(size_t a, size_t b) { return a < b ? a : b; }

uint32_t stream_open(Stream *stream, const VekBfInit *array, const VekBfConfig *config,
                     int keep_time) {
  void *buffer;
  uint32_t error;

  memset(stream, 0, sizeof *stream);
  if (array->micNum < 1) return STREAM_ERR_CHANNELS;
  buffer = malloc(VekBf_GetBufferSize());
  if (buffer == NULL) return STREAM_ERR_MEMORY;
  stream->beam = VekBf_Init(buffer, array);
  error = VekBf_SetConfig(stream->beam, config);
  if (error != VEK_BF_OK) {
    free(buffer);
    stream->beam = NULL;
    return error;
  }
  stream->channels = array->micNum;
  stream->keep_time = keep_time;
  stream->lag = VEK_BF_LAG_SAMPLES;
  stream->silence = STREAM_DELAY;
  return VEK_BF_OK;
}

void stream_close(Stream *stream) {
  if (stream->beam == NULL) return;
  VekBf_Free(stream->beam);
  free(stream->beam); /* the handle is the buffer */
  stream->beam = NULL;
}

/* The library's rule: the squares of the first 128 values add up to 0 modulo 2^32. */
static int is_zero_block(const int16_t *in) {
  uint32_t sum = 0;
  int i;
  for (i = 0; i < VEK_BF_BLOCK_FRAMES; i++) sum += (uint32_t)((int32_t)in[i] * in[i]);
  return sum == 0;
}

/* Runs the block that has been filled, and puts what comes out into the ring; there is room. */
static void run_block(Stream *stream) {
  int16_t block[VEK_BF_BLOCK_FRAMES];
  size_t dropped, i;
  VekBf_Run(stream->beam, stream->in, block, stream->angle);
  dropped = smaller(stream->lag, VEK_BF_BLOCK_FRAMES);
  stream->lag -= dropped;
  for (i = dropped; i < VEK_BF_BLOCK_FRAMES; i++) {
    stream->out[(stream->out_begin + stream->out_count) % STREAM_OUT_LENGTH] = block[i];
    stream->out_count++;
  }
  stream->in_frames = 0;
}

static void run_signal_block(Stream *stream) {
  if (is_zero_block(stream->in)) {
    stream->zero_blocks++;
    /* An odd square among even ones, so that the sum is no longer 0. */
    if (stream->keep_time) stream->in[0] ^= 1;
  }
  run_block(stream);
}

size_t stream_write(Stream *stream, const int16_t *in, size_t frames, int32_t angle) {
  const size_t channels = (size_t)stream->channels;
  size_t taken = 0;
  if (stream->finished) return 0;
  while (taken < frames && stream->out_count + VEK_BF_BLOCK_FRAMES <= STREAM_OUT_LENGTH) {
    size_t part = smaller(frames - taken, VEK_BF_BLOCK_FRAMES - stream->in_frames);
    if (stream->in_frames == 0) stream->angle = angle;
    memcpy(stream->in + stream->in_frames * channels, in + taken * channels,
           part * channels * sizeof in[0]);
    stream->in_frames += part;
    taken += part;
    if (stream->in_frames == VEK_BF_BLOCK_FRAMES) run_signal_block(stream);
  }
  stream->unread += taken;
  return taken;
}

/* One more block behind the end of the signal: what was begun, filled up with silence, then blocks
   of silence with a single 1 in them, because the library drops blocks of nothing but zeros. */
static void run_tail_block(Stream *stream) {
  const size_t channels = (size_t)stream->channels;
  const size_t begun = stream->in_frames * channels;
  memset(stream->in + begun, 0, (VEK_BF_BLOCK_FRAMES * channels - begun) * sizeof stream->in[0]);
  if (begun > 0) {
    run_signal_block(stream);
  } else {
    stream->in[0] = 1;
    run_block(stream);
  }
}

size_t stream_read(Stream *stream, int16_t *out, size_t length) {
  size_t given = 0;
  length = (size_t)(stream->unread < length ? stream->unread : length);
  while (given < length) {
    if (stream->out_count == 0) {
      if (!stream->finished) break;
      run_tail_block(stream);
      continue;
    }
    out[given++] = stream->out[stream->out_begin];
    stream->out_begin = (stream->out_begin + 1) % STREAM_OUT_LENGTH;
    stream->out_count--;
  }
  stream->unread -= given;
  return given;
}

void stream_finish(Stream *stream) { stream->finished = 1; }

void stream_process(Stream *stream, const int16_t *in, int16_t *out, size_t frames, int32_t angle) {
  while (frames > 0) {
    /* Slices that leave the ring room for a block: at most 127 samples wait in it before. */
    const size_t slice = smaller(frames, VEK_BF_BLOCK_FRAMES);
    const size_t silent = smaller(slice, stream->silence);
    memset(out, 0, slice * sizeof out[0]);
    stream->silence -= silent;
    stream_write(stream, in, slice, angle);
    stream_read(stream, out + silent, slice - silent);
    in += slice * (size_t)stream->channels;
    out += slice;
    frames -= slice;
  }
}
