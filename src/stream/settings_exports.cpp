// SPDX-License-Identifier: MIT
//
// The exported functions of settings.
#include <stdlib.h>

#include <cmath>
#include <cstring>
#include <new>

#include "stream/array_text.h"
#include "stream/file_text.h"
#include "stream/option_file.h"
#include "stream/settings.h"

using namespace vekbf::stream;

namespace {

constexpr size_t kLongestFile = size_t{1} << 16;  // bytes
constexpr const char* kNoSettings = "there are no settings: out of memory";

const char* line_after(VekStreamSettings& settings, bool done) {
  return done ? nullptr : settings.message.line();
}

Message& new_message(VekStreamSettings& settings) {
  settings.message.clear();
  return settings.message;
}

bool set(VekStreamSettings& settings, const char* name, const char* value, Message& message) {
  if (name == nullptr || value == nullptr) {
    message << (name == nullptr ? "a setting has a name" : name) << ": a value is missing";
    return false;
  }
  const Key key = find_key(text_of(name));
  if (key == kKeyCount) {
    refuse_key(text_of(name), message);
    return false;
  }
  Changes changes(settings, false);
  if (!changes.ready()) {
    message << kNoMemory;
    return false;
  }
  if (!changes.set(key, trimmed(text_of(value)), message)) return false;
  changes.take();
  return true;
}

bool read_file(VekStreamSettings& settings, const char* path, VekStreamOther* other, void* user,
               Message& message) {
  if (path == nullptr) {
    message << "a file of settings has a name";
    return false;
  }
  FileText file{};
  Message fault;
  if (!read_whole(path, kLongestFile, file, fault)) {
    name_file(path, message);
    message << ": " << fault.line();
    return false;
  }
  Changes changes(settings, true);
  if (!changes.ready()) message << kNoMemory;
  const bool read = changes.ready() &&
                    read_options({file.content, file.size}, path, changes, other, user, message);
  if (read) changes.take();
  free(file.content);
  return read;
}

}  // namespace

// -fvisibility=hidden hides all other symbols.
#pragma GCC visibility push(default)

VekStreamSettings* VekStream_NewSettings(void) {
  void* memory = malloc(sizeof(VekStreamSettings));
  if (memory == nullptr) return nullptr;
  auto* settings = new (memory) VekStreamSettings{};
  settings->values = default_values();
  settings->layer = 1;
  return settings;
}

VekStreamSettings* VekStream_CopySettings(const VekStreamSettings* settings) {
  VekStreamSettings* copy = settings != nullptr ? VekStream_NewSettings() : nullptr;
  if (copy == nullptr) return nullptr;
  if (!copy_values(settings->values, copy->values)) {
    free(copy);
    return nullptr;
  }
  copy->layer = settings->layer;
  std::memcpy(copy->setIn, settings->setIn, sizeof copy->setIn);
  return copy;
}

void VekStream_FreeSettings(VekStreamSettings* settings) {
  if (settings == nullptr) return;
  release(settings->values);
  free(settings);
}

const char* VekStream_Set(VekStreamSettings* settings, const char* key, const char* value) {
  if (settings == nullptr) return kNoSettings;
  return line_after(*settings, set(*settings, key, value, new_message(*settings)));
}

const char* VekStream_ReadFileWith(VekStreamSettings* settings, const char* path,
                                   VekStreamOther* other, void* user) {
  if (settings == nullptr) return kNoSettings;
  settings->layer++;
  const bool read = read_file(*settings, path, other, user, new_message(*settings));
  settings->layer++;
  return line_after(*settings, read);
}

const char* VekStream_ReadFile(VekStreamSettings* settings, const char* path) {
  return VekStream_ReadFileWith(settings, path, nullptr, nullptr);
}

const char* VekStream_Check(VekStreamSettings* settings, uint32_t sampleRate, int32_t channels) {
  if (settings == nullptr) return kNoSettings;
  Message& message = new_message(*settings);
  return line_after(*settings, check(settings->values, sampleRate, channels, message));
}

const VekStreamKey* VekStream_Key(size_t index) {
  return index < kKeyCount ? &kSettings[index].key : nullptr;
}

const char* VekStream_Get(VekStreamSettings* settings, const char* name) {
  if (settings == nullptr || name == nullptr) return nullptr;
  const Key key = find_key(text_of(name));
  if (key == kKeyCount) return nullptr;
  const Values& values = settings->values;
  if (key == kGeometry) return geometry_word(geometry_of(values));
  return values.text[key] != nullptr ? values.text[key] : kSettings[key].key.initial;
}

double VekStream_GetNumber(VekStreamSettings* settings, const char* name) {
  if (settings == nullptr || name == nullptr) return NAN;
  const Values& values = settings->values;
  switch (find_key(text_of(name))) {
    case kSoundSpeed:
      return values.soundSpeed;
    case kForce:
      return values.force ? 1 : 0;
    case kIntensity:
      return values.intensity;
    case kVadThreshold:
      return values.vadThreshold;
    case kAngle:
      if (values.findAngle) return NAN;
      return values.angle;
    case kAngleStart:
      if (!values.hasAngleStart) return NAN;
      return values.angleStart;
    case kHold:
      return values.hold;
    case kFocus:
      return values.focus;
    case kPreGain:
      return values.preGain;
    case kKeepTime:
      return values.keepTime ? 1 : 0;
    default:
      return NAN;
  }
}

const char* VekStream_GetArray(VekStreamSettings* settings, uint32_t sampleRate, VekBfInit* array) {
  if (settings == nullptr) return kNoSettings;
  if (!check_array(settings->values, new_message(*settings))) return settings->message.line();
  if (array != nullptr) *array = array_of(settings->values, sampleRate);
  return nullptr;
}

void VekStream_GetConfig(const VekStreamSettings* settings, VekBfConfig* config) {
  if (settings != nullptr && config != nullptr) *config = config_of(settings->values);
}

void VekStream_GetDirectionConfig(const VekStreamSettings* settings, VekDirConfig* config) {
  if (settings != nullptr && config != nullptr) *config = direction_of(settings->values);
}

int32_t VekStream_GetPicks(const VekStreamSettings* settings, int32_t picks[VEK_BF_MAX_MICS]) {
  if (settings == nullptr || picks == nullptr) return 0;
  const Picks taken = picks_of(settings->values);
  for (int32_t p = 0; p < taken.count; p++) picks[p] = taken.channel[p];
  return taken.count;
}

#pragma GCC visibility pop
