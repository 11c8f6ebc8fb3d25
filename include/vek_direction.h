/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The direction finder: the array's signals in, the direction of the talker out, in the whole
 * degrees that VekBf_Run takes. This header is its manual.
 *
 * ## Call order
 *
 * 1. VekDir_GetBufferSize(): the caller allocates that many bytes
 * 2. VekDir_Init(): makes a finder of the buffer, ready to run with the default settings
 * 3. VekDir_SetConfig(): optional, at any time between two blocks
 * 4. VekDir_Run(): once per block of 128 frames
 *
 * There is nothing to release: all memory is in the caller's buffer, and a finder ends when the
 * buffer is used for something else. VekDir_Init on the same buffer starts afresh.
 *
 * ## Example
 *
 * The angle found with a block steers the next block, as in vek_stream.h, so that both give the
 * same samples. `*angle` starts as the direction to look in until a talker is heard, such as 90.
 * The finder adds no delay.
 *
 * @code{.c}
 * #include "vek_direction.h"
 *
 * uint32_t enhance(VekDirHandle finder, VekBfHandle beam, const int16_t *in, int16_t *out,
 *                  int32_t *angle)
 * {
 *     VekDirState talker;
 *     uint32_t error = VekBf_Run(beam, in, out, *angle);
 *     if (error == VEK_BF_OK)
 *         error = VekDir_Run(finder, in, &talker);
 *     if (error == VEK_DIR_OK && talker.angle >= 0)
 *         *angle = talker.angle;
 *     return error;
 * }
 * @endcode
 *
 * ## What it does
 *
 * Steered response power with the phase transform: every second block each microphone's last 512
 * samples are transformed, and the phase differences of the pairs of microphones are compared with
 * those that each whole degree would give.
 *
 * - Weights. From the power of each bin three estimates are subtracted: steady noise (estimated as
 *   in the beam), late reverberation (the power of the bin some 30 ms and more before, decaying)
 *   and the sound just before (its power one transform earlier, at 16 kHz). A bin counts by the
 *   share of its power that remains. So the onsets of speech decide, which reach the microphones
 *   directly; the steady noise of a fan does not, however directional it is. At most 96 bins count
 *   in a transform, those with the largest weights in each band.
 * - Reverberation. Late reverberation arrives from all sides alike and pulls the phase difference
 *   of a pair towards that of sound from broadside. Its part is subtracted.
 * - Sharpening. In the low bins of close microphones the phase difference changes little with the
 *   direction. There it is multiplied by two, four or eight, as if the pair were that much farther
 *   apart, while the result stays within about half a turn. The response over all bins is squared
 *   before the tracker takes it, which narrows its peaks.
 * - Tracking. About every 32 ms the evidence goes to a tracker on the grid of degrees (a max-sum
 *   filter). It follows a talker who moves at once, and a talker elsewhere when there is enough
 *   evidence.
 *
 * The algorithm consists of sums, products, quotients, square roots and comparisons: the results
 * are the same, bit for bit, on every machine.
 *
 * Sources: C. H. Knapp and G. C. Carter, "The generalized correlation method for estimation of time
 * delay", IEEE Trans. ASSP 24 (1976) 320-327; J. H. DiBiase, "A high-accuracy, low-latency
 * technique for talker localization in reverberant environments using microphone arrays", Brown
 * University (2000); the noise of a bin as in S. Rangachari and P. C. Loizou, Speech Communication
 * 48 (2006) 220-231; its late reverberation as in K. Lebart, J. M. Boucher and P. N. Denbigh, "A
 * new method based on spectral subtraction for speech dereverberation", Acta Acustica 87 (2001)
 * 359-366, and its coherence between two microphones as in E. A. P. Habets and S. Gannot,
 * "Generating sensor signals in isotropic noise fields", JASA 122 (2007) 3464-3470; sharper
 * responses of single bins as in B. Loesch and B. Yang, "Blind source separation based on
 * time-frequency sparseness in the presence of spatial aliasing", LVA/ICA (2010); the steering as a
 * Fourier series in the angle by the expansion of C. G. J. Jacobi and C. T. Anger.
 *
 * ## What it cannot know
 *
 * Which of two people is meant: the one who is louder for longer wins, and a television is a
 * talker. Give a sector where there is more than one voice. Any sound that begins counts, not only
 * speech: call VekDir_Pause while the device itself plays. Channels that are swapped, inverted or
 * skewed give a wrong angle with high confidence. Distance and elevation are not found; a line of
 * microphones does not know its front from its back.
 *
 * ## Arrays and angles
 *
 * The array is described by the record of the beamformer, VekBfInit, and read as the beamformer
 * reads it; its algorithm is not read. Two to four microphones.
 *
 * - VEK_BF_UNIFORM_LINEAR_ARRAY: microphones on the x axis, at any spacing, also unequal ones.
 *   Angles 0 to 180, from the positive x axis. For a talker above or below the plane of the array
 *   it is the angle between the x axis and the talker, which is what the beam wants.
 * - VEK_BF_UNIFORM_TRIANGLE_ARRAY: microphones 0 to 3 at 0, 90, 180 and 270 degrees on a circle of
 *   the radius |x| of microphone 0. Angles 0 to 359. (Two microphones are a line that stands across
 *   135 degrees: front and back are then alike, and a sector must decide.)
 * - The other two shapes have no steering vectors and are refused, and so is one microphone.
 *
 * Sample rates from 8000 to 48000 Hz; time constants are scaled, so that settings mean the same at
 * each.
 *
 * ## Signals
 *
 * Input: micNum x 128 signed 16-bit samples, interleaved by frame, microphone 0 first: the blocks
 * of VekBf_Run. A zero block (the beam's rule: the squares of the first 128 values add up to 0
 * modulo 2^32) leaves everything as it is.
 *
 * ## Memory
 *
 * The buffer must be aligned to 8 bytes, as every malloc result is. The finder keeps no pointer to
 * any other memory of the caller. A byte-wise copy of the buffer to another address is not a second
 * finder.
 *
 * No function allocates, locks, makes a system call or prints. VekDir_Init fills tables and takes a
 * few milliseconds; VekDir_Run has a bound on its work in every block, whatever the signal.
 *
 * ## Threads
 *
 * Finders share nothing: each may run in a thread of its own. One finder must not be used by two
 * threads at the same time.
 *
 * ## The caller's floating-point mode
 *
 * May be any, as for VekBf_Run: it is put aside and put back.
 */
#ifndef VEK_DIRECTION_H
#define VEK_DIRECTION_H

#include <stdint.h>

#include "vek_bf.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Degrees of a map: the length of what VekDir_GetMap fills. */
#define VEK_DIR_MAP_DEGREES 360

/** @name Limits of the settings
 * @{ */
#define VEK_DIR_MAX_HOLD_MS 10000u /**< longest hold, milliseconds */
#define VEK_DIR_MAX_FOCUS_DB 96u   /**< weakest focus, decibels */
/** @} */

/** @name Results of the direction finder
 * @{ */
#define VEK_DIR_OK 0u                       /**< done */
#define VEK_DIR_ERR_NULL_HANDLE 0x30000502u /**< a null handle, record, block or result pointer */
#define VEK_DIR_ERR_SAMPLE_RATE 0x30000503u /**< sampleRate outside 8000 to 48000 */
#define VEK_DIR_ERR_BIT_WIDTH 0x30000504u   /**< bitWidth is not 16 */
#define VEK_DIR_ERR_SOUND_SPEED 0x30000505u /**< soundSpeed below 1 */
#define VEK_DIR_ERR_MIC_NUM 0x30000506u     /**< micNum is not 2, 3 or 4 */
#define VEK_DIR_ERR_GEOMETRY 0x30000507u    /**< neither a line nor the corners of a square */
#define VEK_DIR_ERR_MIC_COORDINATE 0x30000508u /**< positions that tell no directions apart */
#define VEK_DIR_ERR_HOLD 0x30000509u           /**< holdMs above VEK_DIR_MAX_HOLD_MS */
#define VEK_DIR_ERR_FOCUS 0x30000510u          /**< focusDb above VEK_DIR_MAX_FOCUS_DB */
/** @} */

/** Settings. All zero: every direction, and the defaults. */
typedef struct VekDirConfig {
  /**
   * First and last degree of the sector in which a talker is looked for, counter-clockwise from the
   * one to the other, both included, taken modulo 360; equal: all directions. A sound counts only
   * if the strongest direction of all lies inside. On a line a degree and its negative are one
   * direction, which is inside if either is.
   */
  int32_t sectorFrom;
  int32_t sectorTo; /**< see sectorFrom */
  uint32_t holdMs;  /**< milliseconds of sound a talker elsewhere needs to be followed; 0: 130 */
  uint32_t focusDb; /**< sound more than this below the recent loudest is not followed, dB; 0: 15 */
} VekDirConfig;

/** What is known after a block. */
typedef struct VekDirState {
  int32_t angle;    /**< whole degrees as VekBf_Run takes them; -1: nothing heard yet */
  int32_t heard;    /**< 1 while the last update counted, else 0; 0 for a zero block */
  float confidence; /**< 0 to 1: lead over the best direction elsewhere; 0 while the angle is -1 */
  uint32_t age; /**< blocks, zero blocks apart, since evidence last agreed with the angle; at most
                   2^32 - 1 */
} VekDirState;

/** A direction finder: the address of its buffer. */
typedef struct VekDirInstance *VekDirHandle;

/**
 * Tells the size of the buffer of a direction finder.
 *
 * @return the size in bytes, a constant of at most 131072
 */
uint32_t VekDir_GetBufferSize(void);

/**
 * Tells whether VekDir_Init would take an array. Checks, in this order and stopping at the first
 * fault: sample rate, bit width, speed of sound, number of microphones, geometry, positions. The
 * positions must be finite, and two of them at least a millimetre apart and near enough to each
 * other for the phase of speech to tell directions.
 *
 * @param array the array and the signal
 * @return VEK_DIR_OK, or the code of the first fault
 */
uint32_t VekDir_CheckArray(const VekBfInit *array);

/**
 * Makes a direction finder of the buffer, with the default settings and nothing heard.
 *
 * @param buffer VekDir_GetBufferSize bytes, aligned to 8 bytes
 * @param array the array and the signal; the record of the beamformer
 * @return the handle, which is the buffer's address; null if a pointer is null, the buffer is not
 * aligned, or VekDir_CheckArray refuses the array
 */
VekDirHandle VekDir_Init(void *buffer, const VekBfInit *array);

/**
 * Changes the settings between two blocks. What is known stays, but an angle outside the new
 * sector is forgotten.
 *
 * @param handle the finder
 * @param config the settings
 * @return VEK_DIR_OK, or the code of the first fault, with nothing changed
 */
uint32_t VekDir_SetConfig(VekDirHandle handle, const VekDirConfig *config);

/**
 * Takes one block.
 *
 * @param handle the finder
 * @param in micNum x 128 interleaved samples
 * @param state where what is known after the block is written to
 * @return VEK_DIR_OK, or VEK_DIR_ERR_NULL_HANDLE
 */
uint32_t VekDir_Run(VekDirHandle handle, const int16_t *in, VekDirState *state);

/**
 * Pauses the finder, or lets it go on: while it is paused no sound counts, and the angle stays. A
 * call that repeats the state has no effect, so a host may call it with every block.
 *
 * @param handle the finder
 * @param on not 0: paused; 0: going on
 * @return VEK_DIR_OK, or VEK_DIR_ERR_NULL_HANDLE
 */
uint32_t VekDir_Pause(VekDirHandle handle, int32_t on);

/**
 * Gives the evidence of the last update by degree, for pictures: larger is more, the mean of all
 * directions is 0. On a line the map of 181 to 359 degrees mirrors the other half. All zero before
 * the first update.
 *
 * @param handle the finder
 * @param map where VEK_DIR_MAP_DEGREES values are written to
 * @return VEK_DIR_OK, or VEK_DIR_ERR_NULL_HANDLE
 */
uint32_t VekDir_GetMap(VekDirHandle handle, float map[VEK_DIR_MAP_DEGREES]);

#ifdef __cplusplus
}

static_assert(sizeof(VekDirConfig) == 16 && sizeof(VekDirState) == 16, "layout of the records");
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
_Static_assert(sizeof(VekDirConfig) == 16 && sizeof(VekDirState) == 16, "layout of the records");
#endif

#endif /* VEK_DIRECTION_H */
