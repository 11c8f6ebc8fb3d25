#!/bin/sh
# SPDX-License-Identifier: MIT
#
# Runs the checks of .clang-tidy over the library's sources, as the library's own targets compile them: once for each
# instruction set, and not again for each variant that a test builds.
#
#   check_tidy.sh CLANG_TIDY PYTHON COMPILE_DATABASE_FOLDER SCRATCH SOURCE...
set -eu
tidy=$1 python=$2 database=$3/compile_commands.json scratch=$4
shift 4
[ -f "$database" ] || { echo "no $database"; exit 1; }
[ $# -gt 0 ] || { echo "nothing to look at"; exit 1; }
mkdir -p "$scratch"
# clang-tidy would take the flags of a file of a similar name for a source that the database lacks.
"$python" - "$database" "$scratch/compile_commands.json" "$@" <<'SELECT'
import json
import sys

commands = [command for command in json.load(open(sys.argv[1])) if " -o src/" in command["command"]]
missing = set(sys.argv[3:]) - {command["file"] for command in commands}
if missing:
    sys.exit("the library compiles none of: " + ", ".join(sorted(missing)))
with open(sys.argv[2], "w") as file:
    json.dump(commands, file)
SELECT
# Flags of another compiler are no finding.
printf '%s\n' "$@" | xargs -P 2 -n 3 "$tidy" --quiet -p "$scratch" --extra-arg=-Wno-unknown-warning-option \
  --extra-arg=-Wno-ignored-optimization-argument
echo "$# sources are clean"
