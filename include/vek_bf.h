/* SPDX-License-Identifier: MIT */
/**
 * @mainpage VekBf: microphone-array beamforming for small audio devices
 *
 * One to four microphones of interleaved 16-bit PCM go in, one mono signal comes out, steered
 * with every call to any whole degree. This header is the library's manual.
 *
 * ## Call order
 *
 * 1. VekBf_GetBufferSize(): the caller allocates that many bytes
 * 2. VekBf_Init(): turns the buffer into an instance
 * 3. VekBf_SetConfig(): checks the array and the two run-time values, makes the instance ready
 * 4. VekBf_Run(): once per block of 128 frames
 * 5. VekBf_Free(): releases what the library allocated and zeroes the buffer
 *
 * VekBf_GetConfig and VekBf_GetInputSamples may be called after VekBf_SetConfig,
 * VekBf_GetLibVersion at any time. VekBf_SetConfig may be called again: all signal processing
 * then starts afresh, except that the adaptive beamformer keeps its blocking coefficients. To
 * change the array or the algorithm, call VekBf_Free and start again with VekBf_Init.
 *
 * ## Example
 *
 * @code{.c}
 * #include <stdlib.h>
 * #include "vek_bf.h"
 *
 * int enhance(const int16_t *in, int16_t *out, int blocks)
 * {
 *     VekBfInit array = {0};
 *     VekBfConfig config = {0.5f, 3};
 *     array.sampleRate = 16000;
 *     array.bitWidth = 16;
 *     array.micNum = 2;
 *     array.soundSpeed = 343;
 *     array.algorithm = VEK_FIXED_BF;
 *     array.geometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
 *     array.micCoordinate[1][0] = 0.05f;
 *     void *buffer = malloc(VekBf_GetBufferSize());
 *     VekBfHandle beam = VekBf_Init(buffer, &array);
 *     uint32_t error = VekBf_SetConfig(beam, &config);
 *     for (int b = 0; b < blocks && error == VEK_BF_OK; b++)
 *         error = VekBf_Run(beam, in + b * 2 * VEK_BF_BLOCK_FRAMES,
 *                           out + b * VEK_BF_BLOCK_FRAMES, 60);
 *     VekBf_Free(beam);
 *     free(buffer);
 *     return error == VEK_BF_OK ? 0 : -1;
 * }
 * @endcode
 *
 * ## Memory and ownership
 *
 * The caller owns the working buffer for the whole life of the instance; the handle is the
 * buffer's address. The buffer must be aligned for a pointer (8 bytes on 64-bit machines, 4 on
 * 32-bit ones): every malloc result is. A byte-wise copy of it is not a second instance: both
 * would own the same transform and detector.
 *
 * VekBf_SetConfig allocates the transform and the detector on the heap; VekBf_Free, and the
 * next VekBf_SetConfig, release them. Freeing the buffer, or calling VekBf_Init on it again,
 * without VekBf_Free leaks them. If memory runs out VekBf_SetConfig does not say so: without a
 * transform every VekBf_Run prints its refusals and gives silence, and without a detector the
 * adaptive beamformer prints a line per block.
 *
 * The library keeps no pointer to any other memory of the caller: records may be on the stack
 * and need not outlive the call. VekBf_Run allocates nothing.
 *
 * ## Signals, units and latency
 *
 * - Input: micNum x 128 signed 16-bit samples, interleaved by frame, microphone 0 first.
 * - Output: 128 signed 16-bit samples. It lags the input by 384 samples (three blocks), and the
 *   first three blocks after a configuration are built from partly empty frames. A signal from
 *   the look direction comes out at 0.79 of its level. Sums that leave the 16-bit range wrap
 *   around, they are not clipped: leave headroom.
 * - Coordinates are metres, the speed of sound metres per second, rates hertz.
 *
 * Zero blocks: when the squares of the first 128 input values (the first 128 / micNum frames)
 * add up to 0 modulo 2^32, the block is dropped: the warning "Zero Frame!" is printed, the
 * output is 128 zeros, the angle is stored, and nothing else changes. The samples still pending
 * come out with the next processed block. Four values of -32768 among zeros add up to 2^32 too.
 *
 * ## Angles
 *
 * Degrees, counted from the positive x axis towards the positive y axis. Any angle is accepted;
 * 370 is 10 up to rounding.
 *
 * - VEK_BF_UNIFORM_LINEAR_ARRAY: the microphones lie on the x axis (y is not read): 0 is endfire
 *   at the positive end, 90 broadside, 180 endfire at the other end, and an angle and its
 *   negative are the same direction to it. Microphone 0 is the reference; the others may lie on
 *   either side of it.
 * - VEK_BF_UNIFORM_TRIANGLE_ARRAY: microphones 0 to 3 sit at 0, 90, 180 and 270 degrees on a
 *   circle around the origin whose radius is |x| of microphone 0, whatever the other coordinates
 *   say (three microphones are thus three corners of a square).
 * - VEK_BF_UNIFORM_RECTANGLE_ARRAY and VEK_BF_UNIFORM_CIRCULAR_ARRAY are accepted but have no
 *   steering vectors: the fixed beamformer gives silence and every block prints a line. Do not
 *   use them.
 *
 * ## Threads
 *
 * Instances share nothing: each may run in a thread of its own. One instance must not be used
 * by two threads at the same time.
 *
 * ## The caller's floating-point mode
 *
 * May be any: where subnormals are flushed, exceptions trapped or results rounded in another
 * direction than to nearest, VekBf_SetConfig and VekBf_Run put that aside and back. The samples
 * are the same.
 *
 * ## Errors and diagnostics
 *
 * Functions return VEK_BF_OK (0) or one of the VEK_BF_ERR codes, and print one line on standard
 * output (never on standard error) that says what is wrong:
 * "[ALGO_MSG_ERR, VekBf_SetConfig] Invalid Sample Rate". A failed VekBf_SetConfig changes
 * nothing. A null record, block or result pointer is reported like a null handle.
 * VekBf_GetBufferSize, VekBf_SetConfig, VekBf_GetConfig and VekBf_GetLibVersion print as part
 * of their work. VekBf_Run prints only for a null pointer, a zero block, a geometry without
 * steering vectors, and an instance that was never configured or ran out of memory. Each line
 * leaves with one call, so that lines of different threads do not mix.
 */
#ifndef VEK_BF_H
#define VEK_BF_H

/**
 * @file
 * The interface of the library. Its manual is the comment at the head of this file, and the main
 * page of the reference.
 */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @name Version
 * Of this header, to be compared when a host is compiled; the banner of VekBf_GetLibVersion names
 * the version of the algorithm.
 * @{ */
#define VEK_BF_VERSION_MAJOR 2 /**< grows with the SONAME */
#define VEK_BF_VERSION_MINOR 1 /**< grows with what is added */
#define VEK_BF_VERSION_PATCH 0 /**< grows with what is repaired */
/** One number that grows with the version: 20100 is 2.1.0 */
#define VEK_BF_VERSION \
  (VEK_BF_VERSION_MAJOR * 10000 + VEK_BF_VERSION_MINOR * 100 + VEK_BF_VERSION_PATCH)
/** @} */

/** @name Sizes of the interface
 * @{ */
#define VEK_BF_MAX_MICS 4       /**< microphones an array may have */
#define VEK_BF_BLOCK_FRAMES 128 /**< frames in, and samples out, per VekBf_Run */
#define VEK_BF_LAG_SAMPLES 384  /**< samples by which the output lags the input */
/** @} */

/** @name Results
 * The numbering reads as decimal digits; 0x30000408 is never produced.
 * @{ */
#define VEK_BF_OK 0u                         /**< done */
#define VEK_BF_ERR_NULL_HANDLE 0x30000402u   /**< a null handle, record, block or result pointer */
#define VEK_BF_ERR_SAMPLE_RATE 0x30000403u   /**< sampleRate outside 8000 to 48000 */
#define VEK_BF_ERR_BIT_WIDTH 0x30000404u     /**< bitWidth is not 16 */
#define VEK_BF_ERR_SOUND_SPEED 0x30000405u   /**< soundSpeed below 1 */
#define VEK_BF_ERR_MIC_NUM 0x30000406u       /**< micNum above 4 */
#define VEK_BF_ERR_GEOMETRY 0x30000407u      /**< geometry above 3 */
#define VEK_BF_ERR_VAD_THRESHOLD 0x30000409u /**< vadThreshold outside 0 to 1 */
#define VEK_BF_ERR_INTENSITY 0x30000410u     /**< intensity above 10 */
/** @} */

/* C++ fixes the width of the enumerations; in C they have 32 bits on every supported ABI. */
#ifdef __cplusplus
#define VEK_BF_ENUM_WIDTH : int32_t
#else
#define VEK_BF_ENUM_WIDTH
#endif

/** Shape of the array; see Angles in the manual. */
typedef enum VekBfGeometry VEK_BF_ENUM_WIDTH {
  VEK_BF_UNIFORM_LINEAR_ARRAY = 0,    /**< microphones on the x axis */
  VEK_BF_UNIFORM_TRIANGLE_ARRAY = 1,  /**< microphones at 0, 90, 180, 270 degrees on a circle */
  VEK_BF_UNIFORM_RECTANGLE_ARRAY = 2, /**< accepted, without steering vectors: not to be used */
  VEK_BF_UNIFORM_CIRCULAR_ARRAY = 3   /**< accepted, without steering vectors: not to be used */
} VekBfGeometry;

/** Beamformer to run. */
typedef enum VekBfAlgorithm VEK_BF_ENUM_WIDTH {
  VEK_FIXED_BF = 0,   /**< delay-and-sum */
  VEK_ADAPTIVE_BF = 1 /**< generalised sidelobe canceller gated by a speech-presence probability */
} VekBfAlgorithm;

#undef VEK_BF_ENUM_WIDTH

/** The array and the signal; copied by VekBf_Init, checked by VekBf_SetConfig. */
typedef struct VekBfInit {
  uint32_t sampleRate;      /**< Hz, 8000 to 48000 */
  int32_t bitWidth;         /**< bits per input sample: 16 */
  int32_t micNum;           /**< microphones, and channels of the input, 1 to 4; below: silence */
  int32_t soundSpeed;       /**< metres per second, at least 1 */
  VekBfAlgorithm algorithm; /**< never checked: 1 is adaptive, anything else fixed */
  VekBfGeometry geometry;   /**< 0 to 3 */
  float micCoordinate[VEK_BF_MAX_MICS][2]; /**< x, y of each microphone, metres */
} VekBfInit;

/**
 * What may change with every configuration. The threshold belongs to the detector's own decision on
 * speech, which no output sample depends on.
 */
typedef struct VekBfConfig {
  float vadThreshold; /**< probability above which a frame counts as speech, 0 to 1 */
  uint32_t intensity; /**< 0 to 10, tenths of presence gain: below, the reference is attenuated */
} VekBfConfig;

/** An instance: the address of the working buffer. */
typedef struct VekBfInstance *VekBfHandle;

/**
 * Prints the version banner.
 *
 * @return the number of characters printed, newline included
 */
int32_t VekBf_GetLibVersion(void);

/**
 * Tells the size of the working buffer, and prints a line that says so.
 *
 * @return the size in bytes, always 82352
 */
uint32_t VekBf_GetBufferSize(void);

/**
 * Makes an instance of the buffer: zeroes it and copies the record into it.
 *
 * Checks nothing but its two pointers. At most four coordinate pairs are copied, none when micNum
 * is 0 or negative. An instance that is still configured must be released with VekBf_Free first.
 *
 * @param workBufAddress VekBf_GetBufferSize bytes, aligned for a pointer
 * @param bfInit the array and the signal
 * @return the handle, which is the buffer's address; null (with a line) if either pointer is null
 */
VekBfHandle VekBf_Init(void *workBufAddress, const VekBfInit *bfInit);

/**
 * Checks everything and makes the instance ready.
 *
 * Checks, in this order and stopping at the first fault: handle, sample rate, bit width, speed of
 * sound, microphone number, geometry, threshold, intensity. Then allocates the transform and the
 * detector, clears all signal history, sets the angle to 90 degrees and prints one line.
 *
 * @param handle the instance
 * @param config the two run-time values
 * @return VEK_BF_OK, or the code of the first fault
 */
uint32_t VekBf_SetConfig(VekBfHandle handle, const VekBfConfig *config);

/**
 * Prints the configuration on standard output.
 *
 * @param handle the instance
 * @return VEK_BF_OK, also for a null handle
 */
uint32_t VekBf_GetConfig(VekBfHandle handle);

/**
 * Tells the number of 16-bit samples that one VekBf_Run consumes: micNum x 128.
 *
 * @param handle the instance
 * @param samples where the number is written to
 * @return VEK_BF_OK, or VEK_BF_ERR_NULL_HANDLE
 */
uint32_t VekBf_GetInputSamples(VekBfHandle handle, uint32_t *samples);

/**
 * Processes one block. `in` and `out` may be the same memory.
 *
 * @param handle the instance
 * @param in micNum x 128 interleaved samples; at least 128 values are read whatever micNum is
 * @param out where the 128 samples of the beam are written to
 * @param angle the direction to steer to, degrees
 * @return VEK_BF_OK, or VEK_BF_ERR_NULL_HANDLE
 */
uint32_t VekBf_Run(VekBfHandle handle, const int16_t *in, int16_t *out, int32_t angle);

/**
 * Releases the transform and the detector and zeroes the buffer.
 *
 * @param handle the instance
 * @return VEK_BF_OK, or VEK_BF_ERR_NULL_HANDLE
 */
uint32_t VekBf_Free(VekBfHandle handle);

#ifdef __cplusplus
}

static_assert(sizeof(VekBfInit) == 56 && sizeof(VekBfConfig) == 8, "layout of the records");
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(VekBfInit) == 56 && sizeof(VekBfConfig) == 8, "layout of the records");
#else
/* Of a negative size, and thus refused, where the layout is another one (-fshort-enums). */
typedef char VekBfLayoutOfTheRecords[sizeof(VekBfInit) == 56 && sizeof(VekBfConfig) == 8 ? 1 : -1];
#endif

#endif /* VEK_BF_H */
