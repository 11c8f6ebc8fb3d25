/* SPDX-License-Identifier: MIT */
/*
 * Puts streams of any chunk length through the library, which knows blocks of 128 frames only.
 *
 * TWO WAYS TO USE IT, one per stream:
 *
 *   Files and pipes: write as many frames as there are, read what has become available; at the end
 *   stream_finish, and read the rest. As many samples come out as frames went in, and each stands
 *   at the place of the frame it belongs to: the library's lag of VEK_BF_LAG_SAMPLES (384) samples
 *   is taken out.
 *
 *       while (frames > 0) {
 *           size_t taken = stream_write(&stream, in, frames, angle);
 *           in += taken * channels;
 *           frames -= taken;
 *           while ((count = stream_read(&stream, out, OUT_LENGTH)) > 0) consume(out, count);
 *       }
 *       stream_finish(&stream);
 *       while ((count = stream_read(&stream, out, OUT_LENGTH)) > 0) consume(out, count);
 *
 *   Audio callbacks: stream_process gives exactly as many samples as it takes frames, whatever the
 *   period of the sound card is. The output is STREAM_DELAY (511) samples late: the lag of 384,
 *   and up to 127 frames that wait until their block is full. That is 32 ms at 16 kHz.
 *
 * ANGLE. A block is steered to the angle that came with its first frame.
 *
 * ZERO BLOCKS. The library drops a block whose first 128 values (the first 128 / channels frames)
 * are zero: it gives 128 zeros and its time stands still. What was still on its way then, up to
 * 384 samples, appears after the pause instead of before it. Where that matters (a microphone that
 * is muted, recordings with digital silence), open the stream with keep_time: the lowest bit of the
 * first value of such a block is then flipped, which nobody can hear, and time goes on.
 * stream->zero_blocks counts these blocks either way.
 *
 * Memory is allocated by stream_open alone. One stream must not be used by two threads at the same
 * time. The library prints lines on standard output: see its header.
 */
#ifndef STREAM_ADAPTER_H
#define STREAM_ADAPTER_H

#include <stddef.h>
#include <stdint.h>

#include "vek_bf.h"

#ifdef __cplusplus
extern "C" {
#endif

enum {
  STREAM_DELAY = VEK_BF_LAG_SAMPLES + VEK_BF_BLOCK_FRAMES - 1,
  STREAM_OUT_LENGTH = 4 * VEK_BF_BLOCK_FRAMES
};

/* zero_blocks may be read; the rest is the adapter's. */
typedef struct Stream {
  VekBfHandle beam;
  int channels;
  int keep_time;
  int finished;
  uint64_t zero_blocks;

  int16_t in[VEK_BF_MAX_MICS * VEK_BF_BLOCK_FRAMES]; /* the block being filled */
  size_t in_frames;
  int32_t angle;   /* of that block, or of the last one */
  uint64_t unread; /* frames taken whose samples have not been read */
  size_t lag;      /* samples still to be dropped before the first one */

  int16_t out[STREAM_OUT_LENGTH]; /* ring of samples to be read */
  size_t out_begin;
  size_t out_count;
  size_t silence; /* samples that stream_process still owes before the first one */
} Stream;

/* Returns 0, the library's code, or STREAM_ERR_MEMORY or STREAM_ERR_CHANNELS. A stream that could
   not be opened needs no stream_close. */
#define STREAM_ERR_MEMORY 1u
#define STREAM_ERR_CHANNELS 2u /* micNum below 1 */
uint32_t stream_open(Stream *stream, const VekBfInit *array, const VekBfConfig *config,
                     int keep_time);

/* Takes as many of the frames as there is room for until something is read; returns how many. After
   stream_finish it takes none. */
size_t stream_write(Stream *stream, const int16_t *in, size_t frames, int32_t angle);

/* Gives at most `length` samples, returns how many: 0 if nothing is available. */
size_t stream_read(Stream *stream, int16_t *out, size_t length);

/* No further frame will come: stream_read now gives all that is left. */
void stream_finish(Stream *stream);

/* The other way: `frames` frames in, as many samples out, STREAM_DELAY samples late. To bring out
   the end, feed STREAM_DELAY frames of silence, with keep_time. */
void stream_process(Stream *stream, const int16_t *in, int16_t *out, size_t frames, int32_t angle);

void stream_close(Stream *stream);

#ifdef __cplusplus
}
#endif

#endif
