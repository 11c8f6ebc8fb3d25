/* SPDX-License-Identifier: MIT */
/*
 * LADSPA plug-in: two, three or four microphones in, one beam out. A label has a fixed number of
 * ports, so there is one label for each number of microphones.
 */
#include <ladspa.h>

#include "beam_ports.h"

/* "vek" as bytes; the number of microphones is added. */
enum { FIRST_ID = 0x76656b };

static LADSPA_Handle instantiate(const LADSPA_Descriptor *descriptor, unsigned long rate) {
  return beam_new((int)(descriptor->UniqueID - FIRST_ID), (double)rate);
}
static void connect_port(LADSPA_Handle handle, unsigned long port, LADSPA_Data *data) {
  beam_connect(handle, port, data);
}
static void activate(LADSPA_Handle handle) { beam_start(handle); }
static void run(LADSPA_Handle handle, unsigned long frames) { beam_run(handle, frames); }
static void deactivate(LADSPA_Handle handle) { beam_stop(handle); }
static void cleanup(LADSPA_Handle handle) { beam_delete(handle); }

#define MIC LADSPA_PORT_INPUT | LADSPA_PORT_AUDIO
#define BEAM LADSPA_PORT_OUTPUT | LADSPA_PORT_AUDIO
#define CONTROL LADSPA_PORT_INPUT | LADSPA_PORT_CONTROL
#define RESULT LADSPA_PORT_OUTPUT | LADSPA_PORT_CONTROL
#define BOUNDED LADSPA_HINT_BOUNDED_BELOW | LADSPA_HINT_BOUNDED_ABOVE

/* Newer hosts know the last port by its name "latency". */
#define AFTER_MICS_NAMES                                                                     \
  "Beam", "Angle", "Spacing (mm)", "Square", "Adaptive", "Intensity", "Follow", "Direction", \
      "Confidence", "latency"
#define AFTER_MICS_KINDS \
  BEAM, CONTROL, CONTROL, CONTROL, CONTROL, CONTROL, CONTROL, RESULT, RESULT, RESULT
/* LADSPA knows defaults only as quarters of the range: the lower quarter of 0 to 360 is 90, of 0 to
   12 it is 3 (more than 10 is taken for 10). Spacing has no plausible default: hosts go on with
   defaults after a misspelt control, and a wrong spacing would be a silently wrong beam. */
#define NO_HINT \
  { 0, 0, 0 }
#define QUARTER_OF(MOST) \
  { BOUNDED | LADSPA_HINT_INTEGER | LADSPA_HINT_DEFAULT_LOW, 0, MOST }
#define SWITCH \
  { LADSPA_HINT_TOGGLED | LADSPA_HINT_DEFAULT_0, 0, 0 }
#define NOT_SET \
  { BOUNDED | LADSPA_HINT_DEFAULT_0, 0, 1000 }
#define AFTER_MICS_HINTS                                                                       \
  NO_HINT, QUARTER_OF(360), NOT_SET, SWITCH, SWITCH, QUARTER_OF(12), SWITCH, NO_HINT, NO_HINT, \
      NO_HINT

static const char *const names2[] = {"Mic 1", "Mic 2", AFTER_MICS_NAMES};
static const char *const names3[] = {"Mic 1", "Mic 2", "Mic 3", AFTER_MICS_NAMES};
static const char *const names4[] = {"Mic 1", "Mic 2", "Mic 3", "Mic 4", AFTER_MICS_NAMES};
static const LADSPA_PortDescriptor kinds2[] = {MIC, MIC, AFTER_MICS_KINDS};
static const LADSPA_PortDescriptor kinds3[] = {MIC, MIC, MIC, AFTER_MICS_KINDS};
static const LADSPA_PortDescriptor kinds4[] = {MIC, MIC, MIC, MIC, AFTER_MICS_KINDS};
static const LADSPA_PortRangeHint hints2[] = {NO_HINT, NO_HINT, AFTER_MICS_HINTS};
static const LADSPA_PortRangeHint hints3[] = {NO_HINT, NO_HINT, NO_HINT, AFTER_MICS_HINTS};
static const LADSPA_PortRangeHint hints4[] = {NO_HINT, NO_HINT, NO_HINT, NO_HINT, AFTER_MICS_HINTS};

#define DESCRIPTOR(MICS)                                                                          \
  {                                                                                               \
    .UniqueID = FIRST_ID + MICS, .Label = "vekbf" #MICS,                                          \
    .Properties = LADSPA_PROPERTY_HARD_RT_CAPABLE, .Name = "VekBf beam of " #MICS " microphones", \
    .Maker = "VekBf developers", .Copyright = "MIT", .PortCount = MICS + 1 + BEAM_CONTROLS,       \
    .PortDescriptors = kinds##MICS, .PortNames = names##MICS, .PortRangeHints = hints##MICS,      \
    .instantiate = instantiate, .connect_port = connect_port, .activate = activate, .run = run,   \
    .deactivate = deactivate, .cleanup = cleanup                                                  \
  }
static const LADSPA_Descriptor descriptors[] = {DESCRIPTOR(2), DESCRIPTOR(3), DESCRIPTOR(4)};

const LADSPA_Descriptor *ladspa_descriptor(unsigned long index) {
  return index < sizeof descriptors / sizeof *descriptors ? &descriptors[index] : NULL;
}
