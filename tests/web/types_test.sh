#!/bin/sh
# SPDX-License-Identifier: MIT
#
# A host in TypeScript is checked against the types of the package, and a wrong one is refused.
#
#   types_test.sh TSC PACKAGE SCRATCH
set -eu
tsc=$1 package=$2 scratch=$3
rm -rf "$scratch"
mkdir -p "$scratch/node_modules"
ln -s "$package" "$scratch/node_modules/vekbf"
cat >"$scratch/host.ts" <<'END'
import { Beam, BeamError, createBeamNode, load } from 'vekbf';
export async function host(context: AudioContext, frames: Int16Array): Promise<Int16Array> {
  const module: WebAssembly.Module = await load();
  const beam = await Beam.open(module, { array: 'line:4:35mm', angle: 60, 'keep-time': true }, 16000, 4);
  beam.angle = 75;
  const node: AudioWorkletNode = await createBeamNode(context, { module, settings: {}, channels: 4 });
  node.disconnect();
  if (beam.counts.clipped > 0) throw new BeamError('clipped');
  return beam.feed(frames);
}
END
sed 's/beam.angle = 75/beam.angle = "75"/' "$scratch/host.ts" >"$scratch/wrong.ts"
check() { "$tsc" --noEmit --strict --target ES2022 --module ES2022 --moduleResolution node --lib ES2022,DOM "$scratch/$1"; }
check host.ts
if check wrong.ts >"$scratch/output"; then echo "a wrong host is not refused"; exit 1; fi
grep -q "'string' is not assignable to type 'number'" "$scratch/output"
