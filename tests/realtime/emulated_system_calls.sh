#!/bin/sh
# SPDX-License-Identifier: MIT
#
# VekBf_Run under the user-mode emulator, which lists the system calls of its program: none in a block, but for
# writing where the block has a line to print.
#
#   emulated_system_calls.sh MARKED_BLOCKS EMULATOR...
set -eu
program=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# blocks_and_calls ARGUMENT...: how many blocks there were, and the names of the system calls within them.
blocks_and_calls() {
  "$emulator" -strace "$@" >/dev/null 2>"$work/log"
  sed -n 's/^[0-9]* \([a-z_0-9]*\)(.*/\1/p' "$work/log" | awk '
    $1 == "sched_yield" { inside = !inside; blocks += inside; next }
    inside { calls[$1] = 1 }
    END { printf "%d", blocks; for (name in calls) printf " %s", name; printf "\n" }'
}

emulator=$1
shift
bad=0
expect() {
  if [ "$2" = "$3" ]; then
    echo "$1: $2"
  else
    echo "$1: expected \"$3\", got \"$2\"" >&2
    bad=1
  fi
}
expect 'streams without lines' "$(blocks_and_calls "$@" "$program" silent)" "800"
expect 'streams with lines' "$(blocks_and_calls "$@" "$program" speaking)" "80 write"
expect 'a call planted' "$(blocks_and_calls "$@" "$program" silent planted)" "800 getppid"
exit $bad
