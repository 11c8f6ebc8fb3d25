// SPDX-License-Identifier: MIT
//
// The plain model: every operation of the library once more, as scalar loops that call the
// mathematics library per value, written for reading. Tests and benchmarks compare the library with
// it bit for bit. It works on the library's own records but includes none of its code, prints
// nothing, and its records are released by its own free operations.
#pragma once

#include <cstdint>

#include "base/instance.h"
#include "fft/fft.h"
#include "fft/fft_engine.h"
#include "noise/mcra2.h"
#include "noise/vad.h"
#include "vek_bf.h"

namespace reference {

int32_t fft_factor(int32_t n, int32_t* factors, int32_t flags);
RealFftPlan* fft_plan_alloc(int32_t size);
void fft_complex(Complex* out, const Complex* in, const ComplexFftConfig* config, int32_t inverse);
void fft_real_forward(Complex* out, const float* in, RealFftPlan* plan);
void fft_real_inverse(float* out, const Complex* in, RealFftPlan* plan);

FftState* fft_init(const FftInitParams* params);
void do_fft(FftState* state, float* in, float* out, int32_t direction);
void fft_free(FftState* state);

void compute_steering(Instance* instance, int32_t angle);
void fixed_frame(Instance* instance);
void adaptive_frame(Instance* instance);

Mcra2State* mcra2_init(const Mcra2InitParams* params);
void mcra2_run(Mcra2State* state, const float* power);
void mcra2_free(Mcra2State* state);

VadState* vad_init(const VadInitParams* params);
float vad_run(VadState* state, const float* power);
void vad_free(VadState* state);

// The exported functions, by the names of the interface without its prefix.
VekBfHandle init(void* workBufAddress, const VekBfInit* bfInit);
uint32_t set_config(VekBfHandle handle, const VekBfConfig* config);
uint32_t get_input_samples(VekBfHandle handle, uint32_t* samples);
uint32_t run(VekBfHandle handle, const int16_t* in, int16_t* out, int32_t angle);
uint32_t free_instance(VekBfHandle handle);

}  // namespace reference
