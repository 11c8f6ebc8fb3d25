#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Every public header compiles alone, as every supported standard of C and C++, without a warning.
#
#   check_header.sh INCLUDE_FOLDER C_COMPILER CXX_COMPILER [FLAG...]
set -u
include=$1 cc=$2 cxx=$3
shift 3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
bad=0

# In a folder of their own: a file's own folder comes first among those of quoted headers.
mkdir "$scratch/hosts" "$scratch/planted"

# What a host writes that includes a header twice and calls everything: one file for each public header.
cat >"$scratch/hosts/vek_bf.c" <<'END'
#include "vek_bf.h"
#include "vek_bf.h"
uint32_t all(void *buffer, const VekBfInit *init, const VekBfConfig *config, const int16_t *in, int16_t *out);
uint32_t all(void *buffer, const VekBfInit *init, const VekBfConfig *config, const int16_t *in, int16_t *out) {
  uint32_t samples = VekBf_GetBufferSize() + (uint32_t)VekBf_GetLibVersion();
  VekBfHandle handle = VekBf_Init(buffer, init);
  return VekBf_SetConfig(handle, config) | VekBf_GetConfig(handle) | VekBf_GetInputSamples(handle, &samples) |
         VekBf_Run(handle, in, out, 90) | VekBf_Free(handle);
}
END
cat >"$scratch/hosts/vek_direction.c" <<'END'
#include "vek_direction.h"
#include "vek_direction.h"
uint32_t all(void *buffer, const VekBfInit *init, const VekDirConfig *config, const int16_t *in, VekDirState *state);
uint32_t all(void *buffer, const VekBfInit *init, const VekDirConfig *config, const int16_t *in, VekDirState *state) {
  float map[VEK_DIR_MAP_DEGREES];
  VekDirHandle handle = VekDir_Init(buffer, init);
  return VekDir_GetBufferSize() | VekDir_CheckArray(init) | VekDir_SetConfig(handle, config) |
         VekDir_Run(handle, in, state) | VekDir_Pause(handle, 1) | VekDir_GetMap(handle, map);
}
END
cat >"$scratch/hosts/vek_stream.c" <<'END'
#include "vek_stream.h"
#include "vek_stream.h"
const char *other(void *user, const char *key, const char *value);
const char *other(void *user, const char *key, const char *value) { return user != NULL ? key : value; }
size_t all(const void *const *in, void *out, VekStreamCounts *counts, VekBfInit *array, VekBfConfig *config);
size_t all(const void *const *in, void *out, VekStreamCounts *counts, VekBfInit *array, VekBfConfig *config) {
  int32_t picks[VEK_BF_MAX_MICS];
  VekStream *stream = NULL;
  VekStreamSettings *settings = VekStream_NewSettings();
  VekStreamSettings *copy = VekStream_CopySettings(settings);
  const VekStreamKey *key = VekStream_Key(0);
  const char *fault = VekStream_Set(settings, key->name, key->values);
  if (fault == NULL) fault = VekStream_ReadFile(settings, key->initial);
  if (fault == NULL) fault = VekStream_ReadFileWith(settings, key->help, other, out);
  if (fault == NULL) fault = VekStream_Check(settings, 16000, VEK_STREAM_MAX_CHANNELS);
  if (fault == NULL) fault = VekStream_Get(settings, "angle");
  if (fault == NULL) fault = VekStream_GetArray(settings, 16000, array);
  if (fault == NULL) fault = VekStream_Open(settings, 16000, VekStream_GetPicks(settings, picks), &stream);
  VekDirConfig finder;
  VekStream_GetDirectionConfig(settings, &finder);
  if (fault == NULL) fault = VekStream_Restart(stream);
  VekStream_GetConfig(settings, config);
  VekDirState heard;
  float map[VEK_DIR_MAP_DEGREES];
  VekStream_PauseDirection(stream, VekStream_GetDirection(stream, &heard) + VekStream_GetMap(stream, map));
  VekStream_SteerAsSet(stream);
  VekStream_Steer(stream, VekStream_GetAngle(stream) + (int32_t)VekStream_GetNumber(settings, "angle"));
  VekStream_Process(stream, VEK_STREAM_F32, in, 1, out, 1, VEK_STREAM_DELAY);
  VekStream_ProcessInterleaved(stream, VEK_STREAM_F64, in, out, VEK_STREAM_ROOM);
  VekStream_Finish(stream);
  VekStream_GetCounts(stream, counts);
  size_t count = VekStream_Write(stream, VEK_STREAM_S16, in, 1, VekStream_FramesToBlock(stream)) +
                 VekStream_WriteInterleaved(stream, VEK_STREAM_S16, in[0], 1) +
                 VekStream_Read(stream, VEK_STREAM_S16, out, 1, VekStream_Available(stream)) +
                 (size_t)(counts->frames + counts->blocks + counts->zeroBlocks + counts->clipped +
                          counts->notNumbers + counts->wraps);
  VekStream_Close(stream);
  VekStream_FreeSettings(copy);
  VekStream_FreeSettings(settings);
  return count;
}
END

compile() {
  folder=$1 compiler=$2 standard=$3 file=$4
  shift 4
  "$compiler" "$@" -std="$standard" -Wall -Wextra -Wpedantic -Wconversion -Werror -fsyntax-only -iquote "$folder" "$file"
}

try() {
  header=$1 compiler=$2 standard=$3 file=$4
  shift 4
  compile "$include" "$compiler" "$standard" "$file" "$@" || { echo "$header: $compiler -std=$standard: refused"; bad=1; }
  if compile "$scratch/planted" "$compiler" "$standard" "$file" "$@" 2>/dev/null; then
    echo "$header: $compiler -std=$standard: a planted conversion was not found"
    bad=1
  fi
}

# A compiler that gives enumerations fewer bytes is refused by C of every standard. (C++ states their width.)
for standard in c99 c11 c17; do
  if compile "$include" "$cc" $standard "$scratch/hosts/vek_bf.c" "$@" -fshort-enums 2>/dev/null; then
    echo "vek_bf: $cc -std=$standard: records of another layout pass"
    bad=1
  fi
done

for path in "$include"/*.h; do
  header=$(basename "$path" .h)
  host=$scratch/hosts/$header
  [ -e "$host.c" ] || { echo "$header.h: no host calls it here"; bad=1; continue; }
  cp "$host.c" "$host.cpp"
  # The warnings are on: this must not pass. (The header is no system header, whose warnings are kept quiet.)
  rm -f "$scratch"/planted/*
  cp "$include"/*.h "$scratch/planted"
  echo 'static inline int narrowed(double x) { return x; }' >>"$scratch/planted/$header.h"
  for standard in c99 c11 c17; do try "$header" "$cc" $standard "$host.c" "$@"; done
  for standard in c++11 c++14 c++17 c++20; do try "$header" "$cxx" $standard "$host.cpp" "$@"; done
done
exit $bad
