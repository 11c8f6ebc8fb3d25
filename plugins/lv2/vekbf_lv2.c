/* SPDX-License-Identifier: MIT */
/* LV2 plug-in: two, three or four microphones in, one beam out. vekbf.ttl describes its ports. */
#include <lv2/core/lv2.h>

#include <string.h>

#include "beam_ports.h"

static LV2_Handle instantiate(const LV2_Descriptor *descriptor, double rate, const char *bundle,
                              const LV2_Feature *const *features) {
  (void)bundle;
  (void)features;
  return beam_new(descriptor->URI[strlen(descriptor->URI) - 1] - '0', rate);
}
static void connect_port(LV2_Handle handle, uint32_t port, void *data) {
  beam_connect(handle, port, data);
}
static void activate(LV2_Handle handle) { beam_start(handle); }
static void run(LV2_Handle handle, uint32_t frames) { beam_run(handle, frames); }
static void deactivate(LV2_Handle handle) { beam_stop(handle); }
static void cleanup(LV2_Handle handle) { beam_delete(handle); }

#define DESCRIPTOR(MICS) \
  { "urn:vekbf:beam" #MICS, instantiate, connect_port, activate, run, deactivate, cleanup, NULL }
static const LV2_Descriptor descriptors[] = {DESCRIPTOR(2), DESCRIPTOR(3), DESCRIPTOR(4)};

const LV2_Descriptor *lv2_descriptor(uint32_t index) {
  return index < sizeof descriptors / sizeof *descriptors ? &descriptors[index] : NULL;
}
