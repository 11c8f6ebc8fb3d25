// SPDX-License-Identifier: MIT
//
// The eight functions that the shared object exports.
#include <stdio.h>

#include <cstring>

#include "api/apply_config.h"
#include "api/banner.h"
#include "api/check_config.h"
#include "api/null_handle.h"
#include "api/report.h"
#include "api/run_block.h"
#include "base/instance.h"
#include "base/log.h"
#include "base/saturate.h"
#include "simd/float_mode.h"
#include "vek_bf.h"

using vekbf::log_line;
using vekbf::refuse_null;
using vekbf::ScopedIeeeMode;
using vekbf::Severity;

static_assert(vekbf::kHopSize == VEK_BF_BLOCK_FRAMES && vekbf::kMaxMics == VEK_BF_MAX_MICS &&
                  vekbf::kKeptSize == VEK_BF_LAG_SAMPLES,
              "sizes of the public header");

// -fvisibility=hidden hides all other symbols.
#pragma GCC visibility push(default)

int32_t VekBf_GetLibVersion() { return vekbf::print_banner(); }

uint32_t VekBf_GetBufferSize() {
  char text[64];
  snprintf(text, sizeof text, "Working buffer size is %d bytes",
           static_cast<int>(vekbf::kWorkBufferSize));
  log_line(Severity::kMessage, "VekBf_GetBufferSize", text);
  return vekbf::kWorkBufferSize;
}

VekBfHandle VekBf_Init(void* workBufAddress, const VekBfInit* bfInit) {
  if (workBufAddress == nullptr || bfInit == nullptr) {
    log_line(Severity::kError, "VekBf_Init", "The workBufAddress or bfInit is NULL");
    return nullptr;
  }
  // Clears the whole buffer: on 32-bit machines the record does not fill it.
  auto* instance = static_cast<Instance*>(std::memset(workBufAddress, 0, vekbf::kWorkBufferSize));
  instance->sampleRate = bfInit->sampleRate;
  instance->bitWidth = bfInit->bitWidth;
  instance->micNum = bfInit->micNum;
  instance->geometry = bfInit->geometry;
  // micNum is checked later, by the configuration; row_count keeps this copy inside both records.
  std::memcpy(instance->micCoordinate, bfInit->micCoordinate,
              static_cast<size_t>(vekbf::row_count(*instance)) * sizeof(float[2]));
  instance->algorithm = bfInit->algorithm;
  instance->soundSpeed = bfInit->soundSpeed;
  return instance;
}

uint32_t VekBf_SetConfig(VekBfHandle handle, const VekBfConfig* config) {
  const ScopedIeeeMode mode;
  if (handle == nullptr || config == nullptr) return refuse_null("VekBf_SetConfig");
  const vekbf::ConfigFault fault = vekbf::first_fault(*handle, *config);
  if (fault.code != VEK_BF_OK) {
    log_line(Severity::kError, "VekBf_SetConfig", fault.message);
    return fault.code;
  }
  vekbf::apply_config(handle, *config);
  return VEK_BF_OK;
}

uint32_t VekBf_GetConfig(VekBfHandle handle) {
  if (handle == nullptr) {
    refuse_null("VekBf_GetConfig");
  } else {
    vekbf::print_report(*handle);
  }
  // Interface contract: success even without a handle, unlike the other functions.
  return VEK_BF_OK;
}

uint32_t VekBf_GetInputSamples(VekBfHandle handle, uint32_t* samples) {
  if (handle == nullptr || samples == nullptr) return refuse_null("VekBf_GetInputSamples");
  *samples = static_cast<uint32_t>(vekbf::wrapping_mul(handle->micNum, vekbf::kHopSize));
  return VEK_BF_OK;
}

uint32_t VekBf_Run(VekBfHandle handle, const int16_t* in, int16_t* out, int32_t angle) {
  const ScopedIeeeMode mode;
  return vekbf::run_block(handle, in, out, angle);
}

uint32_t VekBf_Free(VekBfHandle handle) {
  if (handle == nullptr) return refuse_null("VekBf_Free");
  vekbf::release_states(handle);
  std::memset(static_cast<void*>(handle), 0, vekbf::kWorkBufferSize);
  return VEK_BF_OK;
}

#pragma GCC visibility pop
