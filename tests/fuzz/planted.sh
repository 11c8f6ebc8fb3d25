#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Plants one defect for each fuzz target and shows that the target finds it, and nothing without it. Only the changed
# file is compiled: the rest comes from BUILD, a finished build of the preset fuzz.
#
#   planted.sh TREE BUILD WORK [SECONDS]
set -u
tree=$1 build=$2 work=$3 seconds=${4:-60}
bad=0
mkdir -p "$work"
# What a target's own check and the sanitizers leave; a time or memory limit of libFuzzer's is no finding.
finding='FOUND|ERROR: [A-Z][A-Za-z]*Sanitizer|runtime error'

# plant TARGET FILE FROM TO: the text FROM must be there.
plant() {
  target=$1 file=$tree/$2 name=$(basename "$2" .cpp)
  copy=$work/$name.cpp
  # Without the defect the target has nothing to say about the stored inputs.
  if ! "$build/tests/fuzz/${target}_fuzz" -runs=0 -verbosity=0 -artifact_prefix="$work/" \
    "$tree/tests/fuzz/corpus/$target" \
    "$tree/tests/fuzz/regressions/$target" >"$work/$target.log" 2>&1; then
    echo "$target: fails without a defect: $(grep -m 1 -E "$finding" "$work/$target.log")"
    bad=1
    return
  fi
  sed "s|$3|$4|" "$file" >"$copy"
  if cmp -s "$file" "$copy"; then
    echo "$target: nothing to change in $2"
    bad=1
    return
  fi
  commands=$(ninja -C "$build" -t commands "tests/fuzz/${target}_fuzz")
  compile=$(echo "$commands" | grep -m 1 -e "-c $file\$" | sed "s| -o [^ ]*| -o $work/$name.o|; s| -c $file\$| -I$(dirname "$file") -c $copy|")
  # The changed object comes first, so that the archive's is not taken; an object of the target's own is left out.
  link=$(echo "$commands" | tail -n 1 |
    sed "s|[^ ]*/$name\.cpp\.o||; s| -o [^ ]*| $work/$name.o -o $work/${target}_planted|")
  if ! (cd "$build" && sh -c "$compile" && sh -c "$link") >"$work/$target.build" 2>&1; then
    tail -n 20 "$work/$target.build"
    bad=1
    return
  fi
  VEKBF_FUZZ_SECONDS=$seconds sh "$tree/tests/fuzz/run.sh" "$work/${target}_planted" "$work/$target" \
    "$tree/tests/fuzz/corpus/$target" "$tree/tests/fuzz/regressions/$target" >"$work/$target.log" 2>&1
  status=$?
  found=$(grep -m 1 -E "$finding" "$work/$target.log")
  case $status in
    0 | 124 | 126 | 127) found= ;;
  esac
  if [ -n "$found" ]; then
    echo "$target: found in $2: $found"
  else
    echo "$target: the defect in $2 was not found in $seconds seconds (status $status)"
    tail -n 5 "$work/$target.log"
    bad=1
  fi
}

# A configuration that forgets a table; a smoothing factor one bit off; a radix that is passed over; a check that is
# not made.
plant api src/api/apply_config.cpp '  clear(instance->micDelay);' ''
plant stream src/bf/sidelobe_canceller.cpp '1.0f - rule.keep' '0.99999994f - rule.keep'
plant fft src/fft/factor.cpp 'eight_anywhere \&\& m % 8' 'eight_anywhere \&\& m % 16'
plant wav tools/vekbf/array.cpp ' \&\& std::isfinite(\*value)' ''
exit $bad
