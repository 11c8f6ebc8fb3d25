// SPDX-License-Identifier: MIT
//
// Without sound: what the page would play, for pictures and for files.
import { Beam } from '../src/beam.js';
import { Engine, kBlock } from './engine.js';
import { beamSettings, positions } from './state.js';
import { rounded } from './wav.js';

/** Runs blocks through an engine and calls `each` with it after every one. */
export function runBlocks(module, setup, material, count, each) {
  const engine = new Engine(module, setup, material);
  for (let block = 0; block < count; ++block) {
    engine.run(block * kBlock);
    each(engine, block);
  }
  return engine;
}

/** What the microphones of the made scene hear: interleaved 16-bit samples. */
export function sceneSamples(module, state, sounds, seconds) {
  const count = positions(state).length;
  const blocks = Math.ceil((seconds * sounds.rate) / kBlock);
  const samples = new Int16Array(blocks * kBlock * count);
  runBlocks(module, { state, rate: sounds.rate }, { sounds }, blocks, (engine, block) => {
    for (let n = 0; n < kBlock; ++n) {
      for (let c = 0; c < count; ++c) samples[(block * kBlock + n) * count + c] = rounded(engine.channels[c][n] * 32768);
    }
  });
  return { rate: sounds.rate, channels: count, frames: blocks * kBlock, samples };
}

/** The beam of a recording, as the tool makes it: as many samples as frames, lined up. */
export function beamOf(module, state, { samples, channels, rate }) {
  const beam = Beam.openSync(module, beamSettings(state), rate, channels);
  const out = new Int16Array(samples.length / channels);
  const first = beam.feed(samples);
  out.set(first);
  const rest = beam.finish();
  out.set(rest, first.length);
  beam.close();
  return out;
}
