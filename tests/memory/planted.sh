#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Plants defects of memory in the library and shows that the tests find them. Only the changed file is
# compiled: the rest comes from BUILD, a finished build of one of the presets.
#
#   planted.sh TREE BUILD WORK [EMULATOR...]
set -u
mkdir -p "$3"
tree=$(cd "$1" && pwd) build=$(cd "$2" && pwd) work=$(cd "$3" && pwd)
shift 3
emulator=$*
bad=0
passed=

# What a finding leaves: the words of googletest, of the sanitizers, of process_memory and of plain_scenes. A fault
# says nothing, but ends a test that had begun.
is_found() {
  case $1 in
    0 | 124 | 126 | 127) return 1 ;;
    139) grep -q -F '[ RUN' "$2" && return ;;
  esac
  grep -q -E 'FAILED|ERROR: [A-Z][A-Za-z]*Sanitizer|WARNING: [A-Z][A-Za-z]*Sanitizer|runtime error|^allocation [0-9]+ failing|^failed: ' "$2"
}

# plant PROGRAM FILE FROM TO: the text FROM must be there.
plant() {
  folder=$(dirname "$1") program=$(basename "$1") file=$tree/$2
  # Without a defect the program has nothing to say.
  case " $passed " in
    *" $program "*) ;;
    *)
      # shellcheck disable=SC2086 # the emulator is words
      if ! timeout 300 $emulator "$build/tests/$1" >"$work/$program.log" 2>&1; then
        echo "$program: fails without a defect"
        tail -n 5 "$work/$program.log"
        bad=1
        return
      fi
      passed="$passed $program"
      ;;
  esac
  case "$2" in
    # A header is seen by the one source that is named behind it.
    *.h) source=$tree/$3; shift ;;
    *) source=$file ;;
  esac
  from=$3 to=$4
  name=$(basename "$source" .cpp)
  rm -rf "$work/src"
  cp -r "$tree/src" "$work/src"
  changed=$work/${file#"$tree"/}
  sed "s|$from|$to|" "$file" >"$changed"
  if cmp -s "$file" "$changed"; then
    echo "$program: nothing to change in $file"
    bad=1
    return
  fi
  commands=$(ninja -C "$build" -t commands "tests/$folder/$program")
  # The changed folder of headers comes before the tree's.
  compile=$(echo "$commands" | grep -m 1 -e "-c $source\$" |
    sed "s| -o [^ ]*| -o $work/$name.o|; s| -I$tree/| -I$work/src&|; s| -c $source\$| -c $work/${source#"$tree"/}|")
  link=$(echo "$commands" | tail -n 1 | sed "s| -o [^ ]*| $work/$name.o -o $work/$program|")
  if ! (cd "$build" && sh -c "$compile" && sh -c "$link") >"$work/$program.build" 2>&1; then
    tail -n 20 "$work/$program.build"
    bad=1
    return
  fi
  # shellcheck disable=SC2086 # the emulator is words
  timeout 300 $emulator "$work/$program" >"$work/$program.log" 2>&1
  status=$?
  if is_found $status "$work/$program.log"; then
    echo "$program: found in ${file#"$tree"/}: $from -> ${to:-nothing}"
  else
    echo "$program: the defect in ${file#"$tree"/} was not found (status $status)"
    tail -n 5 "$work/$program.log"
    bad=1
  fi
}

if grep -q -e '-fsanitize=memory' "$build/CMakeCache.txt"; then
  # Arrays of the detector and of the transform that are not cleared.
  plant memory/plain_scenes src/noise/arrays.h src/noise/mcra2.cpp 'calloc(length, sizeof(float))' 'malloc(length * sizeof(float))'
  plant memory/plain_scenes src/fft/fft.cpp 'calloc(count < 1 ? 0 : static_cast<size_t>(count), sizeof(float))' \
    'malloc(count < 1 ? 0 : 4 * static_cast<size_t>(count))'
  exit $bad
fi
if grep -q -e '-fsanitize=thread' "$build/CMakeCache.txt"; then
  # Instances share a number.
  plant realtime/parallel_test src/api/run_block.cpp '  instance->steerAngle = angle;' '  static volatile int angles = 0; angles = angles + angle; instance->steerAngle = angle;'
  exit $bad
fi
if grep -q -e '-fsanitize=address' "$build/CMakeCache.txt"; then
  # One float too many; an angle that overflows; a detector that is not given back.
  plant memory/plain_scenes src/fft/fft.cpp 'i < count; ++i) out' 'i <= count; ++i) out'
  plant memory/plain_scenes src/api/run_block.cpp '  instance->steerAngle = angle;' '  instance->steerAngle = angle + angle;'
  plant memory/plain_scenes src/api/apply_config.cpp '  if (instance->vadState != nullptr) vad_free(instance->vadState);' ''
  exit $bad
fi
# Blocks are kept, or released twice, when memory runs out; a failure is taken for success; one float too many.
plant memory/every_allocation_test src/noise/arrays.h src/noise/mcra2.cpp '      free_arrays(state, arrays);' ''
plant memory/every_allocation_test src/noise/vad.cpp 'if (state->mcra == nullptr) {' 'if (false) {'
plant memory/every_allocation_test src/api/apply_config.cpp '  if (instance->vadState != nullptr) vad_free(instance->vadState);' ''
plant memory/every_allocation_test src/fft/fft.cpp 'if (!is_complete(\*state))' 'if (!is_complete(*state) \&\& size == 7)'
plant memory/process_memory src/fft/fft.cpp 'if (!is_complete(\*state))' 'if (!is_complete(*state) \&\& size == 7)'
plant memory/guarded_heap_test src/fft/fft.cpp 'i < count; ++i) out' 'i <= count; ++i) out'
plant memory/guarded_heap_test src/noise/mcra2.cpp 'k < binCount; ++k) {' 'k <= binCount; ++k) {'
# A block's zero test reads one sample too many; the output is one sample too long; a record is copied too far.
plant realtime/guard_pages_test src/api/framing.cpp 'for (int i = 0; i < kHopSize; ++i) sum' 'for (int i = 0; i <= kHopSize; ++i) sum'
plant realtime/guard_pages_test src/api/framing.cpp 'memcpy(out, overlap, kHopSize' 'memcpy(out, overlap, (kHopSize + 1)'
plant realtime/guard_pages_test src/api/exports.cpp 'usable_mics(\*instance)) \* sizeof' 'usable_mics(*instance) + 1) * sizeof'
exit $bad
