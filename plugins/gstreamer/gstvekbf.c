/* SPDX-License-Identifier: MIT */
/*
 * GStreamer element "vekbf": the channels of a microphone array in, one beam out, lined up by
 * timestamps. It delays: at most VEK_STREAM_DELAY frames are held back, which is the latency that
 * it reports; the rest comes at the end.
 */
#include <gst/base/gstbasetransform.h>
#include <gst/gst.h>

#include "vek_stream.h"

GST_DEBUG_CATEGORY_STATIC(vekbf_debug);
#define GST_CAT_DEFAULT vekbf_debug

/* A step in the timestamps larger than jitter: the beam starts a new signal. */
#define MAX_JITTER (40 * GST_MSECOND)
/* A gap that is filled with silence; a longer one ends the signal. */
#define MAX_FILLED_GAP GST_SECOND

/* Properties that are settings of the companion by the same name come first. */
enum {
  PROP_CONFIG = 1,
  PROP_ARRAY,
  PROP_MICS,
  PROP_GEOMETRY,
  PROP_ALGORITHM,
  PROP_INTENSITY,
  PROP_SOUND_SPEED,
  PROP_PRE_GAIN,
  PROP_KEEP_TIME,
  PROP_SECTOR,
  PROP_SETTINGS,
  PROP_ANGLE = PROP_SETTINGS,
  PROP_FOLLOW,
  PROP_DIRECTION,
  PROP_CONFIDENCE,
  PROP_ZERO_BLOCKS,
  PROP_CLIPPED,
  PROP_WRAPS
};

typedef struct {
  GstBaseTransform parent;
  /* Under the object lock. */
  gchar *text[PROP_SETTINGS]; /* what was set, as the companion reads it; NULL: not set */
  gint angle;
  gboolean steered; /* `angle` was set; otherwise the configuration's holds */
  gboolean follow;  /* the beam finds its talker */
  VekDirState talker;
  gint rate;
  VekStreamCounts counts;
  /* Of the streaming thread. */
  VekStreamSettings *settings;
  VekStream *stream; /* NULL until the caps are known */
  gint format;       /* VEK_STREAM_S16 or VEK_STREAM_F32 */
  gboolean swapped;  /* samples are of the other byte order */
  gsize frameBytes, sampleBytes;
  gboolean refused;  /* the caps; they are offered again with every buffer */
  gboolean ended;    /* the stream was drained: it begins anew with the next frame */
  GstClockTime base; /* timestamp of the first frame since the beginning */
  guint64 framesIn, framesOut;
  gboolean discont; /* the next buffer is not the continuation of the last one */
  GstBuffer *input;
  GstMapInfo map;
  gsize used; /* bytes of `input` that were taken */
} GstVekBf;
typedef struct {
  GstBaseTransformClass parent_class;
} GstVekBfClass;

GType gst_vekbf_get_type(void);
#define GST_VEKBF(object) ((GstVekBf *)(object))
G_DEFINE_TYPE(GstVekBf, gst_vekbf, GST_TYPE_BASE_TRANSFORM)

#define FORMATS "format = (string) { S16LE, S16BE, F32LE, F32BE }, layout = (string) interleaved, "
#define RATES "rate = (int) [ 8000, 48000 ]"
static GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("audio/x-raw, " FORMATS RATES ", channels = (int) [ 1, 64 ]"));
static GstStaticPadTemplate src_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS,
                            GST_STATIC_CAPS("audio/x-raw, " FORMATS RATES ", channels = (int) 1"));

/* ---- properties ---- */

static GType algorithm_get_type(void) {
  static gsize type = 0;
  static const GEnumValue values[] = {{VEK_FIXED_BF, "Delay and sum", "fixed"},
                                      {VEK_ADAPTIVE_BF, "Sidelobe canceller", "adaptive"},
                                      {0, NULL, NULL}};
  if (g_once_init_enter(&type))
    g_once_init_leave(&type, g_enum_register_static("GstVekBfAlgorithm", values));
  return (GType)type;
}

/* The value as the companion's settings spell it, for any property before PROP_SETTINGS. */
static gchar *text_of(const GValue *value) {
  if (G_VALUE_HOLDS_STRING(value)) return g_value_dup_string(value);
  if (G_VALUE_HOLDS_BOOLEAN(value)) return g_strdup(g_value_get_boolean(value) ? "yes" : "no");
  if (G_VALUE_HOLDS_INT(value)) return g_strdup_printf("%d", g_value_get_int(value));
  if (G_VALUE_HOLDS_DOUBLE(value)) {
    gchar number[G_ASCII_DTOSTR_BUF_SIZE];
    return g_strdup(g_ascii_dtostr(number, sizeof number, g_value_get_double(value)));
  }
  return g_strdup(g_value_get_enum(value) == VEK_ADAPTIVE_BF ? "adaptive" : "fixed");
}

static void value_of(const gchar *text, GValue *value) {
  if (G_VALUE_HOLDS_STRING(value)) {
    g_value_set_string(value, text);
  } else if (G_VALUE_HOLDS_BOOLEAN(value)) {
    g_value_set_boolean(value, g_str_equal(text, "yes"));
  } else if (G_VALUE_HOLDS_INT(value)) {
    g_value_set_int(value, (gint)g_ascii_strtoll(text, NULL, 10));
  } else if (G_VALUE_HOLDS_DOUBLE(value)) {
    g_value_set_double(value, g_ascii_strtod(text, NULL));
  } else {
    g_value_set_enum(value, g_str_equal(text, "adaptive") ? VEK_ADAPTIVE_BF : VEK_FIXED_BF);
  }
}

static void set_property(GObject *object, guint id, const GValue *value, GParamSpec *spec) {
  GstVekBf *const self = GST_VEKBF(object);
  GST_OBJECT_LOCK(self);
  if (id < PROP_SETTINGS) {
    g_free(self->text[id]);
    self->text[id] = text_of(value);
  } else if (id == PROP_ANGLE) {
    self->angle = g_value_get_int(value);
    self->steered = TRUE;
  } else if (id == PROP_FOLLOW) {
    self->follow = g_value_get_boolean(value);
  } else {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
  }
  GST_OBJECT_UNLOCK(self);
}

static void get_property(GObject *object, guint id, GValue *value, GParamSpec *spec) {
  GstVekBf *const self = GST_VEKBF(object);
  GST_OBJECT_LOCK(self);
  if (id < PROP_SETTINGS) {
    if (self->text[id] != NULL) {
      value_of(self->text[id], value);
    } else {
      g_param_value_set_default(spec, value);
    }
  } else {
    switch (id) {
      case PROP_ANGLE:
        g_value_set_int(value, self->angle);
        break;
      case PROP_FOLLOW:
        g_value_set_boolean(value, self->follow);
        break;
      case PROP_DIRECTION:
        g_value_set_int(value, self->talker.angle);
        break;
      case PROP_CONFIDENCE:
        g_value_set_float(value, self->talker.confidence);
        break;
      case PROP_ZERO_BLOCKS:
        g_value_set_uint64(value, self->counts.zeroBlocks);
        break;
      case PROP_CLIPPED:
        g_value_set_uint64(value, self->counts.clipped);
        break;
      case PROP_WRAPS:
        g_value_set_uint64(value, self->counts.wraps);
        break;
      default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    }
  }
  GST_OBJECT_UNLOCK(self);
}

/* ---- beginning and end ---- */

static const char *const kKeys[PROP_SETTINGS] = {
    [PROP_ARRAY] = "array",         [PROP_MICS] = "mics",
    [PROP_GEOMETRY] = "geometry",   [PROP_ALGORITHM] = "algorithm",
    [PROP_INTENSITY] = "intensity", [PROP_SOUND_SPEED] = "sound-speed",
    [PROP_PRE_GAIN] = "pre-gain",   [PROP_KEEP_TIME] = "keep-time",
    [PROP_SECTOR] = "sector",
};

/* The configuration file first, so that properties win. */
static const char *settings_from_properties(GstVekBf *self) {
  const char *fault = NULL;
  if (self->text[PROP_CONFIG] != NULL)
    fault = VekStream_ReadFile(self->settings, self->text[PROP_CONFIG]);
  for (guint id = PROP_CONFIG + 1; id < PROP_SETTINGS && fault == NULL; id++) {
    if (self->text[id] != NULL) fault = VekStream_Set(self->settings, kKeys[id], self->text[id]);
  }
  if (fault == NULL && self->follow) fault = VekStream_Set(self->settings, "angle", "auto");
  return fault != NULL ? fault : VekStream_Check(self->settings, 0, 0);
}

static gboolean start(GstBaseTransform *transform) {
  GstVekBf *const self = GST_VEKBF(transform);
  gchar *fault;
  VekStreamSettings *const settings = VekStream_NewSettings();
  GST_OBJECT_LOCK(self);
  VekStream_FreeSettings(self->settings);
  self->settings = settings;
  self->refused = FALSE;
  fault = g_strdup(settings_from_properties(self));
  GST_OBJECT_UNLOCK(self);
  if (fault == NULL) return TRUE;
  GST_ELEMENT_ERROR(self, LIBRARY, SETTINGS, ("%s", fault), (NULL));
  g_free(fault);
  return FALSE;
}

static void drop_input(GstVekBf *self) {
  if (self->input == NULL) return;
  gst_buffer_unmap(self->input, &self->map);
  gst_buffer_unref(self->input);
  self->input = NULL;
}

static gboolean stop(GstBaseTransform *transform) {
  GstVekBf *const self = GST_VEKBF(transform);
  drop_input(self);
  VekStream_Close(self->stream);
  self->stream = NULL;
  return TRUE;
}

static void begin(GstVekBf *self) {
  self->ended = FALSE;
  self->base = GST_CLOCK_TIME_NONE;
  self->framesIn = self->framesOut = 0;
  self->discont = TRUE;
}

static void finalize(GObject *object) {
  GstVekBf *const self = GST_VEKBF(object);
  stop(GST_BASE_TRANSFORM(object));
  VekStream_FreeSettings(self->settings);
  for (guint id = 0; id < PROP_SETTINGS; id++) g_free(self->text[id]);
  G_OBJECT_CLASS(gst_vekbf_parent_class)->finalize(object);
}

/* ---- caps ---- */

/* The channels that the input may have, as a field of caps. Settings are there from READY to PAUSED
 * on. */
static void restrict_channels(GstVekBf *self, GstStructure *caps) {
  VekBfInit array;
  int32_t picks[VEK_BF_MAX_MICS];
  int32_t picked = 0;
  gboolean known;
  GST_OBJECT_LOCK(self);
  known = self->settings != NULL && VekStream_GetArray(self->settings, 0, &array) == NULL;
  if (known) picked = VekStream_GetPicks(self->settings, picks);
  GST_OBJECT_UNLOCK(self);
  if (!known) {
    gst_structure_set(caps, "channels", GST_TYPE_INT_RANGE, 1, VEK_STREAM_MAX_CHANNELS, NULL);
  } else if (picked == 0) {
    gst_structure_set(caps, "channels", G_TYPE_INT, array.micNum, NULL);
  } else {
    int32_t last = 1;
    for (int32_t i = 0; i < picked; i++) last = MAX(last, picks[i]);
    if (last == VEK_STREAM_MAX_CHANNELS) {
      gst_structure_set(caps, "channels", G_TYPE_INT, last, NULL);
    } else {
      gst_structure_set(caps, "channels", GST_TYPE_INT_RANGE, last, VEK_STREAM_MAX_CHANNELS, NULL);
    }
  }
}

static GstCaps *transform_caps(GstBaseTransform *transform, GstPadDirection direction,
                               GstCaps *caps, GstCaps *filter) {
  GstCaps *other = gst_caps_copy(caps);
  for (guint i = 0; i < gst_caps_get_size(other); i++) {
    GstStructure *const structure = gst_caps_get_structure(other, i);
    /* Microphones have no loudspeaker positions. */
    gst_structure_remove_field(structure, "channel-mask");
    if (direction == GST_PAD_SINK) {
      gst_structure_set(structure, "channels", G_TYPE_INT, 1, NULL);
    } else {
      restrict_channels(GST_VEKBF(transform), structure);
    }
  }
  if (filter != NULL) {
    GstCaps *const both = gst_caps_intersect_full(filter, other, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(other);
    other = both;
  }
  return other;
}

/* By hand: the audio library's reader refuses more than two channels without a channel mask, which
   is how sources of microphone arrays come. */
static gboolean set_caps(GstBaseTransform *transform, GstCaps *in, GstCaps *out) {
  GstVekBf *const self = GST_VEKBF(transform);
  const GstStructure *const structure = gst_caps_get_structure(in, 0);
  const gchar *const format = gst_structure_get_string(structure, "format");
  gchar *fault;
  int rate, channels;
  (void)out;
  if (format == NULL || !gst_structure_get_int(structure, "rate", &rate) ||
      !gst_structure_get_int(structure, "channels", &channels)) {
    return FALSE;
  }
  self->format = format[0] == 'F' ? VEK_STREAM_F32 : VEK_STREAM_S16;
  self->swapped = g_str_has_suffix(format, G_BYTE_ORDER == G_LITTLE_ENDIAN ? "BE" : "LE");
  self->sampleBytes = self->format == VEK_STREAM_F32 ? sizeof(float) : sizeof(int16_t);
  self->frameBytes = self->sampleBytes * (gsize)channels;
  /* Other threads ask the settings for the channels. */
  GST_OBJECT_LOCK(self);
  VekStream_Close(self->stream);
  fault = g_strdup(VekStream_Open(self->settings, (uint32_t)rate, channels, &self->stream));
  GST_OBJECT_UNLOCK(self);
  if (fault != NULL) {
    if (!self->refused) GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("%s", fault), (NULL));
    self->refused = TRUE;
    g_free(fault);
    return FALSE;
  }
  begin(self);
  GST_OBJECT_LOCK(self);
  self->rate = rate;
  GST_OBJECT_UNLOCK(self);
  gst_element_post_message(GST_ELEMENT(self), gst_message_new_latency(GST_OBJECT(self)));
  return TRUE;
}

/* ---- sound ---- */

static void swap_bytes(const GstVekBf *self, void *samples, gsize bytes) {
  if (self->sampleBytes == sizeof(guint16)) {
    guint16 *const words = samples;
    for (gsize i = 0; i < bytes / sizeof *words; i++) words[i] = GUINT16_SWAP_LE_BE(words[i]);
  } else {
    guint32 *const words = samples;
    for (gsize i = 0; i < bytes / sizeof *words; i++) words[i] = GUINT32_SWAP_LE_BE(words[i]);
  }
}

static GstClockTime duration_of(const GstVekBf *self, guint64 frames) {
  return gst_util_uint64_scale_int(frames, GST_SECOND, self->rate);
}

static GstClockTime time_of_input(const GstVekBf *self) {
  return self->base + duration_of(self, self->framesIn);
}

/* All samples that are ready, as one buffer; NULL where none is. */
static GstBuffer *take_ready(GstVekBf *self) {
  const gsize frames = VekStream_Available(self->stream);
  const gsize bytes = frames * self->sampleBytes;
  GstBuffer *buffer;
  GstMapInfo map;
  if (frames == 0) return NULL;
  buffer = gst_buffer_new_allocate(NULL, bytes, NULL);
  if (!gst_buffer_map(buffer, &map, GST_MAP_WRITE)) {
    gst_buffer_unref(buffer);
    return NULL;
  }
  VekStream_Read(self->stream, self->format, map.data, 1, frames);
  if (self->swapped) swap_bytes(self, map.data, bytes);
  gst_buffer_unmap(buffer, &map);
  if (GST_CLOCK_TIME_IS_VALID(self->base)) {
    GST_BUFFER_PTS(buffer) = self->base + duration_of(self, self->framesOut);
    GST_BUFFER_DURATION(buffer) =
        duration_of(self, self->framesOut + frames) - duration_of(self, self->framesOut);
  }
  GST_BUFFER_OFFSET(buffer) = self->framesOut;
  self->framesOut += frames;
  GST_BUFFER_OFFSET_END(buffer) = self->framesOut;
  if (self->discont) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
  self->discont = FALSE;
  return buffer;
}

static void keep_results(GstVekBf *self) {
  VekStreamCounts counts;
  VekDirState talker;
  VekStream_GetCounts(self->stream, &counts);
  VekStream_GetDirection(self->stream, &talker);
  GST_OBJECT_LOCK(self);
  self->counts = counts;
  self->talker = talker;
  GST_OBJECT_UNLOCK(self);
}

/* The angle of the block that begins now: a control source's at the time of its first frame, else
 * the property's. */
static void steer(GstVekBf *self) {
  gboolean steered;
  gint angle;
  if (GST_CLOCK_TIME_IS_VALID(self->base)) {
    const GstClockTime now = gst_segment_to_stream_time(&GST_BASE_TRANSFORM(self)->segment,
                                                        GST_FORMAT_TIME, time_of_input(self));
    if (GST_CLOCK_TIME_IS_VALID(now)) gst_object_sync_values(GST_OBJECT(self), now);
  }
  GST_OBJECT_LOCK(self);
  steered = self->steered && !self->follow;
  angle = self->angle;
  GST_OBJECT_UNLOCK(self);
  if (steered) VekStream_Steer(self->stream, angle);
}

/* Takes frames up to the end of a block; returns how many. NULL samples are silence. */
static gsize feed(GstVekBf *self, const guint8 *samples, gsize frames) {
  static const void *const silence[VEK_STREAM_MAX_CHANNELS];
  gsize part;
  if (self->ended) {
    const char *const fault = VekStream_Restart(self->stream);
    if (fault != NULL) GST_ELEMENT_WARNING(self, RESOURCE, NO_SPACE_LEFT, ("%s", fault), (NULL));
    self->ended = FALSE;
  }
  part = VekStream_FramesToBlock(self->stream);
  if (part == VEK_BF_BLOCK_FRAMES) steer(self);
  part = MIN(part, frames);
  if (samples == NULL) {
    VekStream_Write(self->stream, self->format, silence, 1, part);
  } else if (self->swapped) {
    guint8 copy[VEK_BF_BLOCK_FRAMES * VEK_STREAM_MAX_CHANNELS * sizeof(float)];
    memcpy(copy, samples, part * self->frameBytes);
    swap_bytes(self, copy, part * self->frameBytes);
    VekStream_WriteInterleaved(self->stream, self->format, copy, part);
  } else {
    VekStream_WriteInterleaved(self->stream, self->format, samples, part);
  }
  self->framesIn += part;
  return part;
}

/* The tail of the signal goes out; what comes next begins anew. */
static GstFlowReturn drain(GstVekBf *self) {
  GstFlowReturn flow = GST_FLOW_OK;
  GstBuffer *buffer;
  if (self->stream == NULL || self->framesIn == 0) return flow;
  VekStream_Finish(self->stream);
  while (flow == GST_FLOW_OK && (buffer = take_ready(self)) != NULL) {
    flow = gst_pad_push(GST_BASE_TRANSFORM_SRC_PAD(self), buffer);
  }
  keep_results(self);
  begin(self);
  self->ended = TRUE;
  return flow;
}

/* `is_discont` is not asked: the base class leaves it set until a first buffer has been pushed, and
   an element that holds samples back would begin anew for ever. */
static GstFlowReturn submit_input_buffer(GstBaseTransform *transform, gboolean is_discont,
                                         GstBuffer *input) {
  GstVekBf *const self = GST_VEKBF(transform);
  const GstClockTime time = GST_BUFFER_PTS(input);
  (void)is_discont;
  if (self->stream == NULL) {
    gst_buffer_unref(input);
    return GST_FLOW_NOT_NEGOTIATED;
  }
  if (self->framesIn > 0 && GST_CLOCK_TIME_IS_VALID(self->base) && GST_CLOCK_TIME_IS_VALID(time)) {
    const GstClockTimeDiff step = GST_CLOCK_DIFF(time_of_input(self), time);
    if (GST_BUFFER_IS_DISCONT(input) || ABS(step) > MAX_JITTER) {
      const GstFlowReturn flow = drain(self);
      if (flow != GST_FLOW_OK) {
        gst_buffer_unref(input);
        return flow;
      }
    }
  }
  if (self->framesIn == 0) self->base = time;
  drop_input(self);
  if (!gst_buffer_map(input, &self->map, GST_MAP_READ)) {
    gst_buffer_unref(input);
    return GST_FLOW_ERROR;
  }
  self->input = input;
  self->used = 0;
  return GST_FLOW_OK;
}

static GstFlowReturn generate_output(GstBaseTransform *transform, GstBuffer **output) {
  GstVekBf *const self = GST_VEKBF(transform);
  *output = NULL;
  while (self->input != NULL && *output == NULL) {
    const gsize frames = (self->map.size - self->used) / self->frameBytes;
    if (frames == 0) {
      drop_input(self);
      keep_results(self);
    } else {
      self->used += feed(self, self->map.data + self->used, frames) * self->frameBytes;
      *output = take_ready(self);
    }
  }
  return GST_FLOW_OK;
}

/* ---- events and queries ---- */

static GstFlowReturn fill_with_silence(GstVekBf *self, guint64 frames) {
  GstFlowReturn flow = GST_FLOW_OK;
  while (frames > 0 && flow == GST_FLOW_OK) {
    GstBuffer *buffer;
    frames -= feed(self, NULL, (gsize)frames);
    buffer = take_ready(self);
    if (buffer != NULL) flow = gst_pad_push(GST_BASE_TRANSFORM_SRC_PAD(self), buffer);
  }
  return flow;
}

static gboolean sink_event(GstBaseTransform *transform, GstEvent *event) {
  GstVekBf *const self = GST_VEKBF(transform);
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_EOS:
    case GST_EVENT_SEGMENT:
    case GST_EVENT_CAPS:
      drain(self);
      break;
    case GST_EVENT_FLUSH_STOP:
      drop_input(self);
      begin(self);
      self->ended = TRUE;
      break;
    case GST_EVENT_GAP: {
      GstClockTime at, length;
      gst_event_parse_gap(event, &at, &length);
      if (self->framesIn > 0 && GST_CLOCK_TIME_IS_VALID(length) && length <= MAX_FILLED_GAP) {
        fill_with_silence(self,
                          gst_util_uint64_scale_round(length, (guint64)self->rate, GST_SECOND));
        gst_event_unref(event);
        return TRUE;
      }
      drain(self);
      break;
    }
    default:
      break;
  }
  return GST_BASE_TRANSFORM_CLASS(gst_vekbf_parent_class)->sink_event(transform, event);
}

static gboolean query(GstBaseTransform *transform, GstPadDirection direction, GstQuery *question) {
  GstVekBf *const self = GST_VEKBF(transform);
  gboolean live;
  GstClockTime least, most, own;
  gint rate;
  if (direction != GST_PAD_SRC || GST_QUERY_TYPE(question) != GST_QUERY_LATENCY) {
    return GST_BASE_TRANSFORM_CLASS(gst_vekbf_parent_class)->query(transform, direction, question);
  }
  if (!gst_pad_peer_query(GST_BASE_TRANSFORM_SINK_PAD(transform), question)) return FALSE;
  GST_OBJECT_LOCK(self);
  rate = self->rate;
  GST_OBJECT_UNLOCK(self);
  if (rate == 0) return FALSE;
  own = gst_util_uint64_scale_int_ceil(VEK_STREAM_DELAY, GST_SECOND, rate);
  gst_query_parse_latency(question, &live, &least, &most);
  gst_query_set_latency(question, live, least + own,
                        GST_CLOCK_TIME_IS_VALID(most) ? most + own : most);
  return TRUE;
}

/* ---- the element ---- */

static void gst_vekbf_init(GstVekBf *self) {
  self->angle = 90;
  self->talker.angle = -1;
  gst_base_transform_set_qos_enabled(GST_BASE_TRANSFORM(self), FALSE);
  gst_base_transform_set_gap_aware(GST_BASE_TRANSFORM(self), TRUE);
}

static void install_properties(GObjectClass *object) {
  const GParamFlags live = G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING;
  const GParamFlags fixed = G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY;
  const GParamFlags result = G_PARAM_READABLE | G_PARAM_STATIC_STRINGS;
  const struct {
    guint id;
    GParamSpec *spec;
  } properties[] = {
      {PROP_CONFIG,
       g_param_spec_string("config", "Configuration",
                           "File of settings, as vekbf --config; properties that are set win", NULL,
                           fixed)},
      {PROP_ARRAY,
       g_param_spec_string("array", "Array",
                           "line:N:SPACING or square:SIDE, lengths in mm, cm or m; or the "
                           "name or the file of an array",
                           NULL, fixed)},
      {PROP_MICS,
       g_param_spec_string("mics", "Microphones",
                           "Positions in metres, in channel order: x,y; x,y; ...", NULL, fixed)},
      {PROP_GEOMETRY, g_param_spec_string("geometry", "Geometry",
                                          "How mics are read: linear or triangle", NULL, fixed)},
      {PROP_ALGORITHM, g_param_spec_enum("algorithm", "Algorithm", "Beamformer",
                                         algorithm_get_type(), VEK_FIXED_BF, fixed)},
      {PROP_INTENSITY,
       g_param_spec_int("intensity", "Intensity", "Strength of the adaptive beamformer's gate", 0,
                        10, 3, fixed)},
      {PROP_SOUND_SPEED, g_param_spec_int("sound-speed", "Speed of sound", "Metres per second", 1,
                                          10000, 343, fixed)},
      {PROP_PRE_GAIN,
       g_param_spec_double("pre-gain", "Pre-gain", "Gain in dB before the samples become 16 bits",
                           -60, 60, 0, fixed)},
      {PROP_KEEP_TIME, g_param_spec_boolean("keep-time", "Keep time",
                                            "Keep time through digital silence", TRUE, fixed)},
      {PROP_ANGLE, g_param_spec_int("angle", "Angle", "Look direction in degrees", -360, 360, 90,
                                    live | GST_PARAM_CONTROLLABLE)},
      {PROP_SECTOR,
       g_param_spec_string("sector", "Sector", "Where a talker is looked for: FROM,TO in degrees",
                           NULL, fixed)},
      {PROP_FOLLOW,
       g_param_spec_boolean("follow", "Follow", "The beam finds its talker; angle is not read",
                            FALSE, fixed)},
      {PROP_DIRECTION,
       g_param_spec_int("direction", "Direction",
                        "Degrees where the talker is, with follow; -1: not heard yet", -1, 359, -1,
                        result)},
      {PROP_CONFIDENCE,
       g_param_spec_float("confidence", "Confidence", "Of the direction", 0, 1, 0, result)},
      {PROP_ZERO_BLOCKS,
       g_param_spec_uint64("zero-blocks", "Zero blocks", "Blocks of digital silence so far", 0,
                           G_MAXUINT64, 0, result)},
      {PROP_CLIPPED,
       g_param_spec_uint64("clipped", "Clipped", "Input samples beyond 16 bits so far", 0,
                           G_MAXUINT64, 0, result)},
      {PROP_WRAPS, g_param_spec_uint64("wraps", "Wraps", "Sums that left the 16-bit range so far",
                                       0, G_MAXUINT64, 0, result)},
  };
  for (gsize i = 0; i < G_N_ELEMENTS(properties); i++) {
    g_object_class_install_property(object, properties[i].id, properties[i].spec);
  }
}

static void gst_vekbf_class_init(GstVekBfClass *class) {
  GObjectClass *const object = G_OBJECT_CLASS(class);
  GstElementClass *const element = GST_ELEMENT_CLASS(class);
  GstBaseTransformClass *const transform = GST_BASE_TRANSFORM_CLASS(class);
  GST_DEBUG_CATEGORY_INIT(vekbf_debug, "vekbf", 0, "microphone-array beamformer");
  object->set_property = set_property;
  object->get_property = get_property;
  object->finalize = finalize;
  install_properties(object);
  gst_type_mark_as_plugin_api(algorithm_get_type(), 0);
  gst_element_class_add_static_pad_template(element, &sink_template);
  gst_element_class_add_static_pad_template(element, &src_template);
  gst_element_class_set_static_metadata(
      element, "Microphone-array beamformer", "Filter/Effect/Audio",
      "Steers a microphone array to one direction", "VekBf developers <vekbf@example.org>");
  transform->start = start;
  transform->stop = stop;
  transform->transform_caps = transform_caps;
  transform->set_caps = set_caps;
  transform->submit_input_buffer = submit_input_buffer;
  transform->generate_output = generate_output;
  transform->sink_event = sink_event;
  transform->query = query;
  transform->passthrough_on_same_caps = FALSE;
}

static gboolean plugin_init(GstPlugin *plugin) {
  return gst_element_register(plugin, "vekbf", GST_RANK_NONE, gst_vekbf_get_type());
}

#define PACKAGE "vekbf"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, vekbf, "Microphone-array beamforming",
                  plugin_init, VEKBF_VERSION, "MIT/X11", "VekBf", "https://example.org")
