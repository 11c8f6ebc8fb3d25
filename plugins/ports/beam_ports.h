/* SPDX-License-Identifier: MIT */
/*
 * The beam behind hosts that connect ports: one buffer of floats for each microphone and for the
 * beam, one float for each control. LADSPA and LV2 plug-ins are this and their host's descriptor.
 *
 * Ports in the order of their indices: `mics` microphones, the beam, then the controls of the
 * enumeration below.
 */
#ifndef BEAM_PORTS_H
#define BEAM_PORTS_H

#include "vek_stream.h"

enum BeamControl {
  BEAM_ANGLE,     /* degrees; read in every run */
  BEAM_SPACING,   /* mm between neighbours; 0: not set. This and the rest are read in beam_start */
  BEAM_SQUARE,    /* 0: the microphones are a line, else the corners of a square */
  BEAM_ADAPTIVE,  /* 0: delay-and-sum, else the adaptive canceller */
  BEAM_INTENSITY, /* 0 to 10 */
  BEAM_FOLLOW, /* not 0: the beam follows the talker. Set when the beam starts, it can be switched
                  off and on */
  BEAM_DIRECTION,  /* output: degrees where the talker is; -1: not known, or not looked for */
  BEAM_CONFIDENCE, /* output: 0 to 1, of the direction */
  BEAM_LATENCY,    /* output: VEK_STREAM_DELAY */
  BEAM_CONTROLS
};

enum { BEAM_MIN_MICS = 2, BEAM_MAX_PORTS = VEK_BF_MAX_MICS + 1 + BEAM_CONTROLS };

/* The file that describes an array which the controls cannot describe; the environment variable
 * names another one. */
#define BEAM_ARRAY_FILE "/etc/vekbf/array.conf"
#define BEAM_ARRAY_VARIABLE "VEKBF_CONFIG"

typedef struct BeamPorts BeamPorts;

/* A plug-in instance for `mics` microphones. NULL, and one line on standard error, where the rate
   is not 8000 to 48000 Hz; NULL where out of memory. */
BeamPorts *beam_new(int mics, double sampleRate);
void beam_delete(BeamPorts *beam);

void beam_connect(BeamPorts *beam, unsigned long port, float *data);

/* Begins a new signal with the array that the controls describe. Where Spacing is not set the array
   is read from BEAM_ARRAY_FILE. What is wrong is said in one line on standard error, and the beam
   is silent. Allocates. */
void beam_start(BeamPorts *beam);
void beam_stop(BeamPorts *beam);

/* `frames` frames in, as many samples out, VEK_STREAM_DELAY late. Allocates nothing, takes no lock,
   makes no system call. The beam's buffer may be that of a microphone. */
void beam_run(BeamPorts *beam, unsigned long frames);

#endif
