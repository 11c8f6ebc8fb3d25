/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The companion of the library: streams of any chunk length and sample format in, one beam out.
 *
 * vek_bf.h processes blocks of 128 frames of 16-bit samples. This interface is for hosts whose
 * sound comes in other portions: file tools, bindings, plug-ins, callbacks. It cuts the blocks,
 * takes the lag out or holds it constant, steers each block, keeps time through digital silence,
 * and reads settings and array shapes from text. The library is libvekbf-stream; it contains the
 * beamformer and needs nothing but the C library and libm.
 *
 * ## Order of calls
 *
 * 1. VekStream_NewSettings(), then VekStream_Set() and VekStream_ReadFile() in any number
 * 2. VekStream_Open(): checks everything, allocates everything
 * 3. VekStream_Write() and VekStream_Read(), or VekStream_Process()
 * 4. VekStream_Close(), VekStream_FreeSettings() (in either order)
 *
 * @code{.c}
 * VekStreamSettings *settings = VekStream_NewSettings();
 * VekStream *stream = NULL;
 * const char *fault = VekStream_Set(settings, "array", "line:4:35mm");
 * if (fault == NULL) fault = VekStream_Open(settings, 16000, 4, &stream);
 * if (fault != NULL) report(fault);
 * else VekStream_Steer(stream, 60);
 * VekStream_FreeSettings(settings);
 * ...
 * VekStream_Process(stream, VEK_STREAM_F32, in, 1, out, 1, frames);   // in an audio callback
 * ...
 * VekStream_Close(stream);
 * @endcode
 *
 * ## Faults
 *
 * A function that can fail returns NULL, or one line of text without a line break: it names the
 * setting, the value and what would be right, such as "angle is a whole number of degrees, such as
 * 60, not 'north'". The text is UTF-8 and holds no control characters, whatever the value held. It
 * belongs to the settings and holds until the next call with them. A call that fails changes
 * nothing. No function prints, throws, changes the process or ends it.
 *
 * A null `settings` or `stream` is accepted everywhere: functions that return a text say so in it,
 * the others do nothing and return 0. So the result of VekStream_NewSettings() needs no check.
 *
 * ## Two ways of time
 *
 * The first Write or Process after opening (or restarting) decides which one a stream has; calls of
 * the other way then take nothing, and give silence.
 *
 * Lined up (VekStream_Write, VekStream_Read, VekStream_Finish), for files, pipes and hosts with
 * timestamps. As many samples come out as frames went in, and sample n is the beam of frame n: the
 * library's lag of 384 samples is taken out. At most VEK_STREAM_DELAY frames are held back; they
 * come after VekStream_Finish.
 *
 * Constant delay (VekStream_Process), for callbacks. Exactly as many samples come out as frames go
 * in, VEK_STREAM_DELAY (511) samples late: the lag of 384, and up to 127 frames that wait until
 * their block is full. The first 511 samples are zeros.
 *
 * The samples do not depend on how the sound is cut into calls, and both ways give the same ones.
 *
 * ## Samples
 *
 * A format is one of VEK_STREAM_S16, VEK_STREAM_F32, VEK_STREAM_F64, in the byte order of the
 * machine and aligned as the type asks. The library computes with 16 bits. A floating-point sample
 * has full scale 1.0; it becomes 16 bits as value x 32768 x gain, rounded to nearest (ties to
 * even) and clipped to -32768 ... 32767; not-a-number becomes 0. The gain is the setting
 * `pre-gain`; a 16-bit sample goes through the same rule where that is not 0 dB, and stays as it is
 * where it is. Sums that leave the 16-bit range wrap around in the beamformer: leave headroom.
 * Floating-point results are the 16-bit samples divided by 32768, which is exact.
 *
 * Planar forms take one pointer for each channel of the host's frames and a stride in samples:
 * frame i of channel c is channels[c][i * stride]. A stride may be negative. A null channel is
 * silent. Interleaved forms take frames of as many channels as the stream was opened for.
 *
 * ## Angles
 *
 * A block of 128 frames has one angle, chosen when its first frame arrives: the angle last given to
 * VekStream_Steer, else the track's at the time of that frame, else the setting `angle`. Silence
 * that completes the last block, and the three blocks that bring out the lag, have the angle of the
 * last block. Hosts that steer for each block cut what they write by VekStream_FramesToBlock.
 *
 * With `angle = auto` the direction finder of vek_direction.h listens to every block, and what it
 * found with a block steers the next one; until it has heard a talker the angle is `angle-start`,
 * else the middle of the sector, else 90. It adds no delay. VekStream_Steer still wins, and
 * VekStream_SteerAsSet gives the angle back to the finder, which has gone on listening.
 * VekStream_GetDirection tells what it has heard. `sector`, `hold` and `focus` are those of
 * VekDirConfig, in degrees, seconds and decibels.
 *
 * ## Digital silence
 *
 * The beamformer drops a block whose first 128 values (128 / microphones frames) are zero: it gives
 * 128 zeros and its time stands still, so that up to 384 samples come out after the pause instead
 * of before it. With `keep-time = yes`, the default, the lowest bit of the first value of such a
 * block is flipped and time goes on; a stream that was silent for long enough then gives zeros.
 * `keep-time = no` has the library's own rule. Zero blocks are counted in either case.
 *
 * ## Threads and real time
 *
 * VekStream_Write, _WriteInterleaved, _Read, _Finish, _Process, _ProcessInterleaved, _Available,
 * _FramesToBlock, _Steer, _SteerAsSet, _GetAngle, _GetDirection, _PauseDirection, _GetMap and
 * _GetCounts allocate nothing, take no lock and make no system call. VekStream_Steer, _SteerAsSet,
 * _GetAngle, _GetDirection and _PauseDirection may be called by any thread at any time; the other
 * calls on one stream, and those on one settings object, come from one thread at a time.
 * Different objects share nothing. The caller's floating-point mode may be any, as in vek_bf.h.
 */
#ifndef VEK_STREAM_H
#define VEK_STREAM_H

#include <stddef.h>
#include <stdint.h>

#include "vek_bf.h"
#include "vek_direction.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Sizes
 * @{ */
#define VEK_STREAM_MAX_CHANNELS 64 /**< channels that the frames of a host may have */
#define VEK_STREAM_DELAY 511       /**< samples by which the output of VekStream_Process is late */
#define VEK_STREAM_ROOM 4096       /**< frames that Write takes at least once all has been read */
/** @} */

/** @name Sample formats
 * @{ */
#define VEK_STREAM_S16 0 /**< int16_t */
#define VEK_STREAM_F32 1 /**< float, full scale 1.0 */
#define VEK_STREAM_F64 2 /**< double, full scale 1.0 */
/** @} */

/** What a stream is made from; see VekStream_NewSettings. */
typedef struct VekStreamSettings VekStreamSettings;

/** One beam over one signal; see VekStream_Open. */
typedef struct VekStream VekStream;

/** @name Settings
 *
 * Keys and values are the words of the option file of the command line tool; VekStream_Key lists
 * them. What is set later wins, key by key; the array alone is described by several keys:
 *
 * - `array` is a whole array: line:N:SPACING has N microphones on the x axis, microphone 0 at 0 and
 *   the others towards +x; square:SIDE has four microphones at 0, 90, 180 and 270 degrees, SIDE
 *   being the distance of neighbours. A length is a decimal number and one of mm, cm, m without a
 *   space, above 0 and at most 100 m. A text with a slash in it, or with .conf at its end, is the
 *   path of a file that describes an array; any other text is NAME of the file NAME.conf among the
 *   installed ones, in share/vekbf/arrays. Such a file has the form of VekStream_ReadFile and the
 *   words `array` (a shape), `mics`, `mic`, `geometry` and `channels` only; its `channels` apply
 *   unless the setting `channels` is set.
 * - `mics` is all positions at once, in metres: "x,y; x,y; ...". Spaces around a number are
 *   allowed, and a + before it.
 * - `mic` adds one position, x,y. The first one replaces the array of former layers, the next ones
 *   add to it. A file is a layer; so are the calls of VekStream_Set between two files.
 * - `geometry` says how the positions of `mics` and `mic` are read. It is refused where `array` has
 *   another one, and a later `array` replaces it.
 *
 * So each of `array`, `mics` and the first `mic` of a layer replaces whatever described the array
 * before. Inside one file `array`, `mics` and `mic` exclude each other.
 * @{ */

/**
 * New settings: every key at its default, no array yet.
 *
 * @return the settings, or NULL if out of memory, which all other calls accept
 */
VekStreamSettings *VekStream_NewSettings(void);

/**
 * Makes settings of their own with the same values.
 *
 * @param settings what is copied
 * @return the copy, or NULL if out of memory
 */
VekStreamSettings *VekStream_CopySettings(const VekStreamSettings *settings);

/**
 * Releases the settings. Streams opened with them stay as they are.
 *
 * @param settings the settings, or NULL
 */
void VekStream_FreeSettings(VekStreamSettings *settings);

/**
 * Sets one key. `angle-track` reads its file at once.
 *
 * @param settings the settings
 * @param key a name that VekStream_Key lists
 * @param value its value; spaces at either end are ignored
 * @return NULL, or the fault: "KEY is WHAT WOULD BE RIGHT, not 'VALUE'"
 */
const char *VekStream_Set(VekStreamSettings *settings, const char *key, const char *value);

/**
 * Reads a file of settings: the --config file of the command line tool.
 *
 * Each line is empty, a comment that begins with # or ;, or `key = value`. A value may stand in
 * quotes, "..." or '...'; a comment may follow a value. `mic` takes a list too:
 * mic = ["0,0", "0.05,0"]. Either all lines of the file are taken or none.
 *
 * @param settings the settings
 * @param path the file, at most 64 KiB, with at least one setting
 * @return NULL, or the fault: "FILE:3: angle is ..." for line 3, "FILE: ..." for the whole
 */
const char *VekStream_ReadFile(VekStreamSettings *settings, const char *path);

/**
 * A host's function for keys that are not settings of a stream, so that a file may hold keys of the
 * host too.
 *
 * @param user what was given to VekStream_ReadFileWith
 * @param key,value as they stand in the file, without quotes
 * @return NULL if the host takes it, or the host's line of fault
 */
typedef const char *VekStreamOther(void *user, const char *key, const char *value);

/**
 * VekStream_ReadFile, with a host that takes further keys.
 *
 * @param settings the settings
 * @param path the file
 * @param other is called with each key that is not a setting of a stream, in the order of the file
 * @param user is given to it
 * @return NULL, or the fault
 */
const char *VekStream_ReadFileWith(VekStreamSettings *settings, const char *path,
                                   VekStreamOther *other, void *user);

/**
 * Tells whether a stream could be opened, without opening it.
 *
 * @param settings the settings
 * @param sampleRate in Hz, 8000 to 48000; 0 if not known yet
 * @param channels channels of the host's frames; 0 if not known yet
 * @return NULL, or the fault
 */
const char *VekStream_Check(VekStreamSettings *settings, uint32_t sampleRate, int32_t channels);

/** A setting, as VekStream_Key describes it for help texts, completions and manuals. */
typedef struct VekStreamKey {
  const char *name;    /**< "angle-track" */
  const char *values;  /**< words as "fixed|adaptive", or a placeholder: "DEGREES", "FILE", "X,Y" */
  const char *initial; /**< the default as text; NULL where there is none */
  const char *help;    /**< one line in plain text */
} VekStreamKey;

/**
 * The settings that there are.
 *
 * @param index from 0
 * @return the description, or NULL after the last; it lives as long as the process
 */
const VekStreamKey *VekStream_Key(size_t index);

/**
 * The text of one setting: as it was set, else its default. Of `array`, `mics` and `mic` only the
 * key that describes the array has a text; positions given by `mic` are in the text of `mics`.
 *
 * @param settings the settings
 * @param key the name of the setting
 * @return the text, which holds until the next call with the settings; NULL where nothing is set,
 * there is no default, or the key is unknown
 */
const char *VekStream_Get(VekStreamSettings *settings, const char *key);

/**
 * The value of a setting that is one number; yes is 1, no is 0.
 *
 * @param settings the settings
 * @param key the name of the setting
 * @return the number; not-a-number if the key has none
 */
double VekStream_GetNumber(VekStreamSettings *settings, const char *key);

/**
 * The array as the beamformer takes it: bitWidth is 16, micNum the number of microphones.
 *
 * @param settings the settings
 * @param sampleRate is copied into the record unchecked
 * @param array where the record is written to
 * @return NULL, or the fault: there is no array yet, or one without steering that is not forced
 */
const char *VekStream_GetArray(VekStreamSettings *settings, uint32_t sampleRate, VekBfInit *array);

/**
 * The two run-time values.
 *
 * @param settings the settings; without them nothing is written
 * @param config where the values are written to
 */
void VekStream_GetConfig(const VekStreamSettings *settings, VekBfConfig *config);

/**
 * The settings of the direction finder, whether or not `angle` is auto.
 *
 * @param settings the settings; without them nothing is written
 * @param config where they are written to
 */
void VekStream_GetDirectionConfig(const VekStreamSettings *settings, VekDirConfig *config);

/**
 * The channels that the microphones are taken from.
 *
 * @param settings the settings
 * @param picks where one number for each microphone is written to; the first channel is 1
 * @return how many; 0 if neither `channels` nor the file of the array names any: every channel is
 * then a microphone
 */
int32_t VekStream_GetPicks(const VekStreamSettings *settings, int32_t picks[VEK_BF_MAX_MICS]);

/** @} */

/** @name Streams
 * @{ */

/**
 * Opens a stream: checks everything, then allocates all memory that the stream will use.
 *
 * @param settings the settings; later changes of them do not reach the stream
 * @param sampleRate in Hz, 8000 to 48000
 * @param channels channels of the host's frames, 1 to 64. The setting `channels` says which of them
 * are the microphones; without it they are as many as the microphones
 * @param stream where the stream is written to; NULL after a fault
 * @return NULL, or the fault
 */
const char *VekStream_Open(VekStreamSettings *settings, uint32_t sampleRate, int32_t channels,
                           VekStream **stream);

/**
 * Begins a new signal, as after VekStream_Open: after an overrun, a gap, a seek. The angle given to
 * VekStream_Steer stays. Allocates.
 *
 * @param stream the stream
 * @return NULL, or a line that says "out of memory"; the stream then gives silence
 */
const char *VekStream_Restart(VekStream *stream);

/**
 * Releases the stream.
 *
 * @param stream the stream, or NULL
 */
void VekStream_Close(VekStream *stream);

/**
 * Steers from the next block on, instead of `angle` and `angle-track`. May be called by any thread.
 *
 * @param stream the stream
 * @param degrees any whole angle, counted as in vek_bf.h
 */
void VekStream_Steer(VekStream *stream, int32_t degrees);

/**
 * Lets the settings steer again from the next block on, as before VekStream_Steer. May be called by
 * any thread.
 *
 * @param stream the stream
 */
void VekStream_SteerAsSet(VekStream *stream);

/**
 * Tells what the direction finder knew after the last block. May be called by any thread; the state
 * is that of one moment.
 *
 * @param stream the stream
 * @param state where it is written to; angle -1 and zeros where the stream looks for no direction
 * @return 1 if the setting `angle` is auto, else 0
 */
int32_t VekStream_GetDirection(const VekStream *stream, VekDirState *state);

/**
 * Pauses the direction finder, as while the device itself plays, or lets it go on: while it is
 * paused no sound counts, and the angle stays. Takes effect with the next block and lasts through a
 * restart. May be called by any thread.
 *
 * @param stream the stream
 * @param on not 0: paused; 0: going on
 */
void VekStream_PauseDirection(VekStream *stream, int32_t on);

/**
 * Tells the evidence of the direction finder's last update by degree, for pictures.
 *
 * @param stream the stream
 * @param map where VEK_DIR_MAP_DEGREES values are written to, as by VekDir_GetMap
 * @return 1; 0, with nothing written, where the stream looks for no direction
 */
int32_t VekStream_GetMap(VekStream *stream, float map[VEK_DIR_MAP_DEGREES]);

/**
 * The angle of the block that was begun last. May be called by any thread.
 *
 * @param stream the stream
 * @return degrees; before the first block, the angle that it would have
 */
int32_t VekStream_GetAngle(const VekStream *stream);

/**
 * Lined up: takes the next frames, as many as there is room for until something is read.
 *
 * @param stream the stream
 * @param format of the samples
 * @param channels one pointer for each channel
 * @param stride in samples, from frame to frame of one channel
 * @param frames any number
 * @return frames taken: all if everything has been read before and `frames` is at most
 * VEK_STREAM_ROOM; 0 after VekStream_Finish
 */
size_t VekStream_Write(VekStream *stream, int32_t format, const void *const channels[],
                       ptrdiff_t stride, size_t frames);

/**
 * VekStream_Write for interleaved samples.
 *
 * @param stream the stream
 * @param format of the samples
 * @param samples frames of as many channels as the stream was opened for
 * @param frames any number
 * @return frames taken
 */
size_t VekStream_WriteInterleaved(VekStream *stream, int32_t format, const void *samples,
                                  size_t frames);

/**
 * Lined up: the next samples of the beam.
 *
 * @param stream the stream
 * @param format of the samples
 * @param out where they are written to
 * @param stride in samples
 * @param count how many at most
 * @return how many were written; 0 where none is ready, and at the end
 */
size_t VekStream_Read(VekStream *stream, int32_t format, void *out, ptrdiff_t stride, size_t count);

/**
 * Lined up: what VekStream_Read would give now.
 *
 * @param stream the stream
 * @return samples; after VekStream_Finish all that are left
 */
size_t VekStream_Available(const VekStream *stream);

/**
 * Lined up: no further frame will come; VekStream_Read now gives all that is left.
 *
 * @param stream the stream
 */
void VekStream_Finish(VekStream *stream);

/**
 * Frames until the next block begins.
 *
 * @param stream the stream
 * @return 1 to VEK_BF_BLOCK_FRAMES, which it is where the next frame is the first of a block; 0
 * without a stream
 */
size_t VekStream_FramesToBlock(const VekStream *stream);

/**
 * Constant delay: takes `frames` frames and gives as many samples, VEK_STREAM_DELAY late.
 *
 * @param stream the stream; without one the output is silence
 * @param format of the samples of both sides
 * @param channels one pointer for each channel
 * @param stride in samples, from frame to frame of one channel
 * @param out where the samples are written to; may be one of the channels if the strides are equal
 * @param outStride in samples
 * @param frames any number
 */
void VekStream_Process(VekStream *stream, int32_t format, const void *const channels[],
                       ptrdiff_t stride, void *out, ptrdiff_t outStride, size_t frames);

/**
 * VekStream_Process for interleaved samples.
 *
 * @param stream the stream
 * @param format of the samples of both sides
 * @param samples frames of as many channels as the stream was opened for
 * @param out where the samples are written to, one after the other; may be `samples`
 * @param frames any number
 */
void VekStream_ProcessInterleaved(VekStream *stream, int32_t format, const void *samples, void *out,
                                  size_t frames);

/** What happened since the stream was opened or restarted. */
typedef struct VekStreamCounts {
  uint64_t frames;     /**< taken */
  uint64_t blocks;     /**< run, or begun when the stream was finished; without those of silence */
  uint64_t zeroBlocks; /**< of these, blocks that the library drops, or would without keep-time */
  uint64_t clipped;    /**< input samples of the microphones beyond the 16-bit range */
  uint64_t notNumbers; /**< input samples of the microphones that were not-a-number */
  uint64_t wraps;      /**< steps of more than half the range from one sample given to the next: a
                            sum that left the 16-bit range, almost always */
} VekStreamCounts;

/**
 * Tells the counts.
 *
 * @param stream the stream; without one the counts are 0
 * @param counts where they are written to
 */
void VekStream_GetCounts(const VekStream *stream, VekStreamCounts *counts);

/** @} */

#ifdef __cplusplus
}
#endif

#endif /* VEK_STREAM_H */
