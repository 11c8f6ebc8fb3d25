/* SPDX-License-Identifier: MIT */
/*
 * A host application: includes the public header alone, links the shared library, and takes an
 * instance through its life. Compiled as C99, as C11 and as C++, with every warning an error.
 */
#include "vek_bf.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* Layout of the public records, which cross the boundary in binary form. */
#if defined(__cplusplus)
#define AT_COMPILE_TIME(name, condition) static_assert(condition, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define AT_COMPILE_TIME(name, condition) _Static_assert(condition, #name)
#else
#define AT_COMPILE_TIME(name, condition) typedef char name[(condition) ? 1 : -1]
#endif

AT_COMPILE_TIME(init_size, sizeof(VekBfInit) == 56);
AT_COMPILE_TIME(sample_rate_offset, offsetof(VekBfInit, sampleRate) == 0);
AT_COMPILE_TIME(bit_width_offset, offsetof(VekBfInit, bitWidth) == 4);
AT_COMPILE_TIME(mic_num_offset, offsetof(VekBfInit, micNum) == 8);
AT_COMPILE_TIME(sound_speed_offset, offsetof(VekBfInit, soundSpeed) == 12);
AT_COMPILE_TIME(algorithm_offset, offsetof(VekBfInit, algorithm) == 16);
AT_COMPILE_TIME(geometry_offset, offsetof(VekBfInit, geometry) == 20);
AT_COMPILE_TIME(coordinate_offset, offsetof(VekBfInit, micCoordinate) == 24);
AT_COMPILE_TIME(config_size, sizeof(VekBfConfig) == 8);
AT_COMPILE_TIME(threshold_offset, offsetof(VekBfConfig, vadThreshold) == 0);
AT_COMPILE_TIME(intensity_offset, offsetof(VekBfConfig, intensity) == 4);
AT_COMPILE_TIME(geometry_width, sizeof(VekBfGeometry) == 4);
AT_COMPILE_TIME(algorithm_width, sizeof(VekBfAlgorithm) == 4);
AT_COMPILE_TIME(handle_width, sizeof(VekBfHandle) == sizeof(void *));
AT_COMPILE_TIME(linear_value, VEK_BF_UNIFORM_LINEAR_ARRAY == 0);
AT_COMPILE_TIME(triangle_value, VEK_BF_UNIFORM_TRIANGLE_ARRAY == 1);
AT_COMPILE_TIME(rectangle_value, VEK_BF_UNIFORM_RECTANGLE_ARRAY == 2);
AT_COMPILE_TIME(circular_value, VEK_BF_UNIFORM_CIRCULAR_ARRAY == 3);
AT_COMPILE_TIME(fixed_value, VEK_FIXED_BF == 0);
AT_COMPILE_TIME(adaptive_value, VEK_ADAPTIVE_BF == 1);
AT_COMPILE_TIME(constants, VEK_BF_MAX_MICS == 4 && VEK_BF_BLOCK_FRAMES == 128 &&
                               VEK_BF_LAG_SAMPLES == 384 && VEK_BF_OK == 0);

#if VEK_BF_VERSION_MAJOR != PROJECT_MAJOR || VEK_BF_VERSION_MINOR != PROJECT_MINOR || \
    VEK_BF_VERSION_PATCH != PROJECT_PATCH
#error "the header's version is not the project's"
#endif
#if VEK_BF_VERSION != PROJECT_MAJOR * 10000 + PROJECT_MINOR * 100 + PROJECT_PATCH
#error "VEK_BF_VERSION does not follow from its parts"
#endif

static int failures = 0;

static void expect(int condition, const char *what) {
  if (condition) return;
  failures++;
  fprintf(stderr, "failed: %s\n", what);
}

/* A 500 Hz tone that reaches both microphones at once: from broadside it must come out. */
static void run_tone(VekBfAlgorithm algorithm) {
  static const int16_t tone[32] = {0,     780,   1531,  2222,  2828,  3326,  3696,  3923,
                                   4000,  3923,  3696,  3326,  2828,  2222,  1531,  780,
                                   0,     -780,  -1531, -2222, -2828, -3326, -3696, -3923,
                                   -4000, -3923, -3696, -3326, -2828, -2222, -1531, -780};
  int16_t in[2 * VEK_BF_BLOCK_FRAMES];
  int16_t out[VEK_BF_BLOCK_FRAMES];
  VekBfInit array;
  VekBfConfig config;
  VekBfHandle beam;
  uint32_t samples = 0;
  void *buffer = malloc(VekBf_GetBufferSize());
  int t, b, loudest = 0;

  memset(&array, 0, sizeof array);
  array.sampleRate = 16000;
  array.bitWidth = 16;
  array.micNum = 2;
  array.soundSpeed = 343;
  array.algorithm = algorithm;
  array.geometry = VEK_BF_UNIFORM_LINEAR_ARRAY;
  array.micCoordinate[1][0] = 0.05f;
  config.vadThreshold = 0.5f;
  config.intensity = 5;

  beam = VekBf_Init(buffer, &array);
  expect((void *)beam == buffer, "the handle is the buffer");
  expect(VekBf_SetConfig(beam, &config) == VEK_BF_OK, "VekBf_SetConfig");
  expect(VekBf_GetConfig(beam) == VEK_BF_OK, "VekBf_GetConfig");
  expect(VekBf_GetInputSamples(beam, &samples) == VEK_BF_OK, "VekBf_GetInputSamples");
  expect(samples == 2 * VEK_BF_BLOCK_FRAMES, "two channels of 128 frames");
  for (t = 0; t < VEK_BF_BLOCK_FRAMES; t++) in[2 * t] = in[2 * t + 1] = tone[t % 32];
  /* The adaptive beamformer starts from the fixed one: in the first output that holds the tone
     neither has had time to take any of it away. */
  for (b = 0; b < 4; b++) expect(VekBf_Run(beam, in, out, 90) == VEK_BF_OK, "VekBf_Run");
  for (t = 0; t < VEK_BF_BLOCK_FRAMES; t++)
    if (out[t] > loudest) loudest = out[t];
  expect(loudest > 1000, "the tone is heard");
  expect(VekBf_Free(beam) == VEK_BF_OK, "VekBf_Free");
  free(buffer);
}

int main(void) {
  VekBfConfig config;
  uint32_t samples = 7;
  int16_t block[VEK_BF_BLOCK_FRAMES];

  memset(&config, 0, sizeof config);
  memset(block, 0, sizeof block);
  expect(VekBf_GetLibVersion() == 57, "length of the banner");
  expect(VekBf_GetBufferSize() == 82352, "size of the working buffer");
  expect(VekBf_Init(NULL, NULL) == NULL, "VekBf_Init(NULL)");
  expect(VekBf_SetConfig(NULL, &config) == VEK_BF_ERR_NULL_HANDLE, "VekBf_SetConfig(NULL)");
  expect(VekBf_GetConfig(NULL) == VEK_BF_OK, "VekBf_GetConfig(NULL)");
  expect(VekBf_GetInputSamples(NULL, &samples) == VEK_BF_ERR_NULL_HANDLE && samples == 7,
         "VekBf_GetInputSamples(NULL)");
  expect(VekBf_Run(NULL, block, block, 0) == VEK_BF_ERR_NULL_HANDLE, "VekBf_Run(NULL)");
  expect(VekBf_Free(NULL) == VEK_BF_ERR_NULL_HANDLE, "VekBf_Free(NULL)");
  run_tone(VEK_FIXED_BF);
  run_tone(VEK_ADAPTIVE_BF);
  return failures != 0;
}
