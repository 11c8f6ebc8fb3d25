// SPDX-License-Identifier: MIT
//
// Microseconds of one block of a Beam, the best of many runs: blocks.mjs PACKAGE. The cases are those of blocks.c.
import { pathToFileURL } from 'node:url';

const { Beam, load } = await import(new URL('src/index.js', pathToFileURL(`${process.argv[2]}/`)));
const module = await load();
const frames = 128;
const blocks = 40;
const runs = 400;
let state = 1;
const sound = Array.from({ length: 4 }, () => Float32Array.from({ length: frames * blocks }, () => {
  state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
  return (state >>> 18) / 65536 - 0.125;
}));

for (const [array, algorithm, mics] of [
  ['line:2:50mm', 'fixed', 2], ['line:4:35mm', 'fixed', 4], ['line:4:35mm', 'adaptive', 4], ['square:64mm', 'adaptive', 4],
]) {
  const beam = Beam.openSync(module, { array, algorithm }, 16000, mics);
  const cut = Array.from({ length: blocks }, (_, b) => sound.slice(0, mics).map((channel) => channel.subarray(b * frames, (b + 1) * frames)));
  const out = new Float32Array(frames);
  let best = Infinity;
  for (let run = 0; run < runs; ++run) {
    const start = performance.now();
    for (const channels of cut) {
      beam.angle = 60;
      beam.process(channels, out);
    }
    best = Math.min(best, (1000 * (performance.now() - start)) / blocks);
  }
  console.log(`${algorithm} ${array} ${best.toFixed(2)}`);
}
