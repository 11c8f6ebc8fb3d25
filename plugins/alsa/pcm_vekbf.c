/* SPDX-License-Identifier: MIT */
/*
 * ALSA plug-in of type "vekbf": the channels of its slave in, one channel of beam out,
 * VEK_STREAM_DELAY frames late (an external plug-in cannot report a delay). Settings are fields of
 * its definition: the words of the tool's option file, with _ for -, and
 * - slave.pcm: the device with the microphones;
 * - config: an option file, read before the other fields;
 * - angle_file: a text file with the angle, read with every transfer, so that any program can turn
 *   the beam.
 */
#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "vek_stream.h"

typedef struct {
  snd_pcm_extplug_t ext;
  VekStreamSettings *settings;
  VekStream *stream;   /* NULL before the first prepare */
  char *angleFile;     /* NULL: the angle is the configuration's */
  int angleDescriptor; /* -1 while the file is not there */
} Beam;

enum { MAX_NUMBER = 15, SAMPLE_BITS = 16 };

/* An empty file, or one without a number, leaves the angle as it is: another program may be writing
 * it. */
static void read_angle(Beam *beam) {
  char text[MAX_NUMBER + 1];
  char *end;
  long angle;
  ssize_t length;
  if (beam->angleDescriptor < 0) return;
  length = pread(beam->angleDescriptor, text, MAX_NUMBER, 0);
  if (length <= 0) return;
  text[length] = '\0';
  if (strncmp(text, "auto", 4) == 0) {
    VekStream_SteerAsSet(beam->stream);
    return;
  }
  angle = strtol(text, &end, 10);
  if (end != text && angle >= INT32_MIN && angle <= INT32_MAX)
    VekStream_Steer(beam->stream, (int32_t)angle);
}

static void *sample_of(const snd_pcm_channel_area_t *area, snd_pcm_uframes_t offset) {
  return (char *)area->addr + (area->first + area->step * offset) / 8;
}

static snd_pcm_sframes_t transfer(snd_pcm_extplug_t *ext, const snd_pcm_channel_area_t *to,
                                  snd_pcm_uframes_t to_offset, const snd_pcm_channel_area_t *from,
                                  snd_pcm_uframes_t from_offset, snd_pcm_uframes_t frames) {
  Beam *const beam = ext->private_data;
  const void *channels[VEK_STREAM_MAX_CHANNELS];
  for (unsigned c = 0; c < ext->slave_channels; c++) {
    if (from[c].step != from[0].step) return -EINVAL;
    channels[c] = sample_of(&from[c], from_offset);
  }
  read_angle(beam);
  VekStream_Process(beam->stream, VEK_STREAM_S16, channels, (ptrdiff_t)(from[0].step / SAMPLE_BITS),
                    sample_of(&to[0], to_offset), (ptrdiff_t)(to[0].step / SAMPLE_BITS), frames);
  return (snd_pcm_sframes_t)frames;
}

/* Called with every prepare and reset, and so after an overrun too. */
static int begin(snd_pcm_extplug_t *ext) {
  Beam *const beam = ext->private_data;
  const char *fault;
  VekStream_Close(beam->stream);
  fault = VekStream_Open(beam->settings, ext->rate, (int32_t)ext->slave_channels, &beam->stream);
  if (fault != NULL) {
    SNDERR("vekbf: %s", fault);
    return -EINVAL;
  }
  if (beam->angleFile != NULL && beam->angleDescriptor < 0) {
    beam->angleDescriptor = open(beam->angleFile, O_RDONLY | O_CLOEXEC);
    if (beam->angleDescriptor < 0)
      SNDERR("vekbf: angle_file %s: %s; the angle is that of the definition", beam->angleFile,
             strerror(errno));
  }
  return 0;
}

static int check_rate(snd_pcm_extplug_t *ext, snd_pcm_hw_params_t *params) {
  Beam *const beam = ext->private_data;
  const char *const fault =
      VekStream_Check(beam->settings, ext->rate, (int32_t)ext->slave_channels);
  (void)params;
  if (fault == NULL) return 0;
  SNDERR("vekbf: %s", fault);
  return -EINVAL;
}

static void release(Beam *beam) {
  VekStream_Close(beam->stream);
  VekStream_FreeSettings(beam->settings);
  if (beam->angleDescriptor >= 0) close(beam->angleDescriptor);
  free(beam->angleFile);
  free(beam);
}

static int closed(snd_pcm_extplug_t *ext) {
  release(ext->private_data);
  return 0;
}

static void dump(snd_pcm_extplug_t *ext, snd_output_t *out) {
  const Beam *const beam = ext->private_data;
  snd_output_printf(out, "VekBf beam of %u channels at %d degrees, %d frames late\n",
                    ext->slave_channels, VekStream_GetAngle(beam->stream), VEK_STREAM_DELAY);
  snd_output_printf(out, "Its setup is:\n");
  snd_pcm_dump_setup(ext->pcm, out);
}

static const snd_pcm_extplug_callback_t callbacks = {
    .transfer = transfer, .init = begin, .hw_params = check_rate, .close = closed, .dump = dump};

/* One field of the definition as a setting. */
static const char *set_field(VekStreamSettings *settings, const char *name, snd_config_t *field) {
  char key[64];
  char *text = NULL;
  const char *fault;
  size_t i;
  for (i = 0; name[i] != '\0' && i < sizeof key - 1; i++)
    key[i] = (char)(name[i] == '_' ? '-' : name[i]);
  key[i] = '\0';
  if (snd_config_get_ascii(field, &text) < 0) return "a field is neither a text nor a number";
  fault = VekStream_Set(settings, key, text);
  free(text);
  return fault;
}

static const char *read_fields(Beam *beam, snd_config_t *conf, snd_config_t **slave) {
  snd_config_iterator_t i, next;
  snd_config_t *file;
  const char *fault = NULL;
  if (snd_config_search(conf, "config", &file) >= 0) {
    const char *path;
    if (snd_config_get_string(file, &path) < 0) return "config is the name of a file";
    if (*path != '\0') fault = VekStream_ReadFile(beam->settings, path);
  }
  snd_config_for_each(i, next, conf) {
    snd_config_t *const field = snd_config_iterator_entry(i);
    const char *name, *text;
    if (fault != NULL) break;
    if (snd_config_get_id(field, &name) < 0) continue;
    if (strcmp(name, "comment") == 0 || strcmp(name, "type") == 0 || strcmp(name, "hint") == 0 ||
        strcmp(name, "config") == 0) {
      continue;
    }
    if (strcmp(name, "slave") == 0) {
      *slave = field;
    } else if (strcmp(name, "angle_file") == 0) {
      if (snd_config_get_string(field, &text) < 0) return "angle_file is the name of a file";
      free(beam->angleFile);
      beam->angleFile = *text != '\0' ? strdup(text) : NULL;
    } else if (snd_config_get_string(field, &text) < 0 || *text != '\0') {
      /* (An empty text is a parameter that was not given.) */
      fault = set_field(beam->settings, name, field);
    }
  }
  if (fault == NULL && *slave == NULL)
    return "slave is missing: slave.pcm names the device with the microphones";
  return fault != NULL ? fault : VekStream_Check(beam->settings, 0, 0);
}

static void restrict_channels(Beam *beam) {
  VekBfInit array;
  int32_t picks[VEK_BF_MAX_MICS];
  const int32_t picked = VekStream_GetPicks(beam->settings, picks);
  snd_pcm_extplug_set_param(&beam->ext, SND_PCM_EXTPLUG_HW_CHANNELS, 1);
  if (picked == 0) {
    VekStream_GetArray(beam->settings, 0, &array);
    snd_pcm_extplug_set_slave_param(&beam->ext, SND_PCM_EXTPLUG_HW_CHANNELS,
                                    (unsigned)array.micNum);
  } else {
    int32_t last = 1;
    for (int32_t i = 0; i < picked; i++) last = picks[i] > last ? picks[i] : last;
    snd_pcm_extplug_set_slave_param_minmax(&beam->ext, SND_PCM_EXTPLUG_HW_CHANNELS, (unsigned)last,
                                           VEK_STREAM_MAX_CHANNELS);
  }
}

SND_PCM_PLUGIN_DEFINE_FUNC(vekbf) {
  snd_config_t *slave = NULL;
  const char *fault;
  int error;
  Beam *const beam = calloc(1, sizeof *beam);
  if (beam == NULL) return -ENOMEM;
  beam->angleDescriptor = -1;
  beam->settings = VekStream_NewSettings();
  fault = read_fields(beam, conf, &slave);
  if (fault == NULL && stream != SND_PCM_STREAM_CAPTURE) fault = "it captures, it does not play";
  if (fault != NULL) {
    SNDERR("vekbf: %s", fault);
    release(beam);
    return -EINVAL;
  }
  beam->ext.version = SND_PCM_EXTPLUG_VERSION;
  beam->ext.name = "VekBf beam";
  beam->ext.callback = &callbacks;
  beam->ext.private_data = beam;
  error = snd_pcm_extplug_create(&beam->ext, name, root, slave, stream, mode);
  if (error < 0) {
    release(beam);
    return error;
  }
  restrict_channels(beam);
  snd_pcm_extplug_set_param(&beam->ext, SND_PCM_EXTPLUG_HW_FORMAT, SND_PCM_FORMAT_S16);
  snd_pcm_extplug_set_slave_param(&beam->ext, SND_PCM_EXTPLUG_HW_FORMAT, SND_PCM_FORMAT_S16);
  *pcmp = beam->ext.pcm;
  return 0;
}

#if defined(__clang__)
#pragma clang diagnostic ignored "-Wextra-semi" /* the macro of ALSA's header ends in two */
#endif
SND_PCM_PLUGIN_SYMBOL(vekbf)
