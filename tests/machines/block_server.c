/* SPDX-License-Identifier: MIT
 *
 * One beamformer behind a pipe, so that a program of this machine can play blocks through a library
 * of another machine or C library. It needs a C compiler, the library and an emulator, nothing
 * else.
 *
 * Numbers are little-endian on the pipe, whatever the machine: 32 bits, samples 16. A request is a
 * letter with its arguments:
 *
 * M  number of one of ROUNDINGS: the floating-point mode of this process from now on; the answer is
 *    1 if arithmetic rounds that way
 *
 * I  sampleRate bitWidth micNum soundSpeed algorithm geometry and 8 coordinates (as the bits of
 *    floats): makes the instance; the answer is 1, or 0 where there is none
 *
 * C  vadThreshold (bits) intensity: VekBf_SetConfig; the answer is its result
 *
 * R  angle count and count samples: VekBf_Run; the answer is its result and 128 samples
 *
 * F  VekBf_Free; the answer is its result */
#include <fenv.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "vek_bf.h"

enum { MAX_SAMPLES = VEK_BF_MAX_MICS * VEK_BF_BLOCK_FRAMES };

static FILE *requests;
static FILE *answers;

static uint32_t read_number(int bytes) {
  uint32_t value = 0;
  for (int i = 0; i < bytes; ++i) {
    const int byte = getc(requests);
    if (byte == EOF) exit(3);
    value |= (uint32_t)byte << (8 * i);
  }
  return value;
}

static uint32_t read_word(void) { return read_number(4); }

static int32_t read_signed(void) { return (int32_t)read_word(); }

static float read_float(void) {
  const uint32_t bits = read_word();
  float value;
  memcpy(&value, &bits, sizeof value);
  return value;
}

static void write_number(uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) putc((int)((value >> (8 * i)) & 0xff), answers);
}

/* Machines that compute by software know the first alone. */
static const int ROUNDINGS[] = {
    FE_TONEAREST,
#ifdef FE_UPWARD
    FE_UPWARD,
    FE_DOWNWARD,
    FE_TOWARDZERO,
#endif
};
enum { ROUNDINGS_KNOWN = sizeof ROUNDINGS / sizeof *ROUNDINGS };

/* Whether quotients are rounded so: one third lies below its nearest float, and minus one third
 * above. */
static int rounds(int rounding) {
  const volatile float three = 3.0f;
  const float nearest = 11184811.0f / 33554432.0f;
  const float below = 11184810.0f / 33554432.0f;
  int up = 1;
  int down = 1;
#ifdef FE_UPWARD
  up = rounding == FE_TONEAREST || rounding == FE_UPWARD;
  down = rounding == FE_TONEAREST || rounding == FE_DOWNWARD;
#else
  (void)rounding;
#endif
  return 1.0f / three == (up ? nearest : below) && -1.0f / three == (down ? -nearest : -below);
}

static uint32_t set_rounding(void) {
  const int rounding = ROUNDINGS[read_word() % ROUNDINGS_KNOWN];
  return fesetround(rounding) == 0 && rounds(rounding);
}

static VekBfHandle make_instance(void **memory) {
  VekBfInit init;
  init.sampleRate = read_word();
  init.bitWidth = read_signed();
  init.micNum = read_signed();
  init.soundSpeed = read_signed();
  init.algorithm = (VekBfAlgorithm)read_signed();
  init.geometry = (VekBfGeometry)read_signed();
  for (int m = 0; m < VEK_BF_MAX_MICS; ++m) {
    for (int axis = 0; axis < 2; ++axis) init.micCoordinate[m][axis] = read_float();
  }
  if (*memory == NULL) *memory = malloc(VekBf_GetBufferSize());
  return VekBf_Init(*memory, &init);
}

static void run(VekBfHandle handle) {
  int16_t in[MAX_SAMPLES] = {0};
  int16_t out[VEK_BF_BLOCK_FRAMES] = {0};
  const int32_t angle = read_signed();
  const uint32_t count = read_word();
  if (count > MAX_SAMPLES) exit(4);
  for (uint32_t i = 0; i < count; ++i) in[i] = (int16_t)read_number(2);
  const int rounding = fegetround();
  write_number(VekBf_Run(handle, in, out, angle), 4);
  if (fegetround() != rounding) exit(8);
  for (int i = 0; i < VEK_BF_BLOCK_FRAMES; ++i) write_number((uint16_t)out[i], 2);
}

int main(void) {
  void *memory = NULL;
  VekBfHandle handle = NULL;
  VekBfConfig config;
  int request;
  /* The library's lines go to standard output; the answers leave by a copy of it. */
  requests = stdin;
  answers = fdopen(dup(STDOUT_FILENO), "wb");
  if (answers == NULL || freopen("/dev/null", "w", stdout) == NULL) return 5;
  while ((request = getc(requests)) != EOF) {
    switch (request) {
      case 'M':
        write_number(set_rounding(), 4);
        break;
      case 'I':
        handle = make_instance(&memory);
        write_number(handle != NULL, 4);
        break;
      case 'C':
        config.vadThreshold = read_float();
        config.intensity = read_word();
        write_number(VekBf_SetConfig(handle, &config), 4);
        break;
      case 'R':
        run(handle);
        break;
      case 'F':
        write_number(VekBf_Free(handle), 4);
        break;
      default:
        return 6;
    }
    fflush(answers);
  }
  free(memory);
  return 0;
}
