// SPDX-License-Identifier: MIT
//
// The package in node: the samples of the C interface whatever the chunks, the kinds of samples and the way of time.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { pathToFileURL } from 'node:url';
import { Worker } from 'node:worker_threads';
import { byHand, noise } from './by_hand.mjs';

const folder = pathToFileURL(`${process.env.VEKBF_PACKAGE}/`);
const { Beam, BeamError, load } = await import(new URL('src/index.js', folder));
const module = await load();

// As in by_hand.c.
const channels = 4;
const frames = 16000;
const turn = 64 * 128;
const settings = { array: 'line:4:35mm', algorithm: 'adaptive', angle: 60 };
const sound = noise(channels, frames);
const floats = Float32Array.from(sound, (x) => x / 32768);
const planes = Array.from({ length: channels }, (_, c) => floats.filter((_, i) => i % channels === c));
const expected = byHand();

let seed = 7;
const below = (count) => {
  seed = (Math.imul(seed, 1103515245) + 12345) & 0x7fffffff;
  return (seed >> 8) % count;
};

/** Everything in chunks of up to `most` frames, the angle changed at the turn. */
function feed(beam, samples, most) {
  const out = [];
  for (let at = 0; at < frames;) {
    if (at === turn) beam.angle = 120;
    const end = Math.min(at + below(most + 1), at < turn ? turn : frames);
    out.push(...beam.feed(samples.subarray(channels * at, channels * end)));
    at = end;
  }
  out.push(...beam.finish());
  return out;
}

test('the expected samples are sound', () => {
  assert.equal(expected.length, frames);
  assert.ok(expected.filter((x) => x !== 0).length > frames / 2);
});

for (const most of [1, 127, 1000, 9000]) {
  test(`16-bit samples in chunks of up to ${most} frames`, async () => {
    const beam = await Beam.open(module, settings, 16000, channels);
    assert.deepEqual(feed(beam, sound, most), expected);
    assert.equal(beam.counts.frames, frames);
    assert.equal(beam.counts.blocks, frames / 128);
  });
}

test('floating-point samples, and a second signal after restarting', async () => {
  const beam = await Beam.open(module, settings, 16000, channels);
  for (let signal = 0; signal < 2; ++signal) {
    assert.deepEqual(feed(beam, floats, 700).map((x) => x * 32768), expected);
    beam.restart();
    beam.angle = 60;
  }
});

for (const kind of [Float32Array, Int16Array]) {
  test(`constant delay, ${kind.name}, chunks of any length`, () => {
    const beam = Beam.openSync(module, settings, 16000, channels);
    const scale = kind === Int16Array ? 32768 : 1;
    const inputs = planes.map((plane) => kind.from(plane, (x) => x * scale));
    const out = new kind(frames);
    for (let at = 0; at < frames;) {
      if (at === turn) beam.angle = 120;
      const end = Math.min(at + below(3000), at < turn ? turn : frames);
      const part = out.subarray(at, end);
      beam.process(inputs.map((plane) => plane.subarray(at, end)), part);
      at = end;
    }
    const late = Array.from(out, (x) => (x * 32768) / scale);
    assert.ok(late.slice(0, Beam.delay).every((x) => x === 0));
    assert.deepEqual(late.slice(Beam.delay), expected.slice(0, frames - Beam.delay));
  });
}

test('missing channels are silent, and a closed beam gives silence', () => {
  const beam = Beam.openSync(module, settings, 16000, channels);
  const out = new Float32Array(256).fill(1);
  beam.process([], out);
  assert.ok(out.every((x) => x === 0));
  beam.close();
  out.fill(1);
  beam.process(planes.map((plane) => plane.subarray(0, 256)), out);
  assert.ok(out.every((x) => x === 0));
  assert.equal(beam.feed(sound).length, 0);
});

test('faults say in one line what would be right', async () => {
  for (const [bad, word] of [
    [{}, /^array is missing/], [{ array: 'line:9:1m' }, /^array is line:N:SPACING/],
    [{ ...settings, angle: 'north \u{1f600}\ud800' }, /^angle is a whole number.*north/],
    [{ ...settings, nonsense: 1 }, /^'nonsense' is not a setting/], [{ ...settings, angle: '6\0' }, /zero character/],
    [{ ...settings, 'angle-track': '/etc/hostname' }, /^angle-track/],
  ]) {
    await assert.rejects(Beam.open(module, bad, 16000, 4), (fault) => {
      assert.ok(fault instanceof BeamError);
      assert.match(fault.message, word);
      assert.ok(!fault.message.includes('\n'));
      return true;
    });
  }
  await assert.rejects(Beam.open(module, settings, 96000, 4), /96000/);
  await assert.rejects(Beam.open(module, settings, 16000, 3), BeamError);
  await assert.rejects(Beam.open(module, settings, 16000, 65), /1 to 64/);
  const beam = await Beam.open(module, settings, 16000, 4);
  assert.throws(() => beam.feed(new Int16Array(3)), /whole number of frames/);
  assert.throws(() => { beam.angle = Number.NaN; }, /whole number of degrees/);
});

test('values of every kind: switches, lists, numbers', async () => {
  const beam = await Beam.open(module, { mics: ['0,0', '0.05,0'], 'keep-time': false, 'pre-gain': -3 }, 8000, 2);
  assert.equal(beam.angle, 90);
  const list = await Beam.settings(module);
  assert.ok(list.some(({ name, initial }) => name === 'algorithm' && initial === 'fixed'));
});

/** Bursts of noise that reach all microphones of a line at once: a talker straight ahead. */
const ahead = Float32Array.from({ length: channels * frames }, (_, i) => {
  const frame = Math.floor(i / channels);
  return frame % 3000 < 2000 ? sound[frame] / 32768 : 0;
});

test('the direction finder tells the talker, and the beam follows until it is steered by hand', () => {
  const beam = Beam.openSync(module, { array: 'line:4:35mm', angle: 'auto', 'angle-start': 20 }, 16000, channels);
  assert.deepEqual(beam.direction, { angle: -1, heard: false, confidence: 0, age: 0 });
  assert.equal(beam.angle, 20);
  beam.feed(ahead);
  const { angle, confidence } = beam.direction;
  assert.ok(Math.abs(angle - 90) <= 2, `${angle} degrees`);
  assert.ok(confidence > 0.1 && confidence <= 1, `${confidence}`);
  assert.ok(Math.abs(beam.angle - 90) <= 2, `${beam.angle} degrees`);
  const map = new Float32Array(360);
  assert.ok(beam.readMap(map));
  assert.ok(Math.abs(map.indexOf(Math.max(...map)) - 90) <= 2 && Math.min(...map) < 0);
  beam.angle = 150;
  beam.feed(ahead.subarray(0, 256 * channels));
  assert.equal(beam.angle, 150);
  beam.steerAsSet();
  beam.feed(ahead.subarray(0, 256 * channels));
  assert.ok(Math.abs(beam.angle - 90) <= 2, `${beam.angle} degrees`);
  const fixed = Beam.openSync(module, settings, 16000, channels);
  assert.equal(fixed.direction, null);
  assert.equal(fixed.readMap(map), false);
});

test('the processor of the audio graph steers by its parameter, or by the finder until the parameter changes', async () => {
  let Processor;
  Object.assign(globalThis, {
    sampleRate: 16000,
    AudioWorkletProcessor: class { port = { posted: [], postMessage(data) { this.posted.push(data); } }; },
    registerProcessor: (_, processor) => { Processor = processor; },
  });
  await import(new URL('src/worklet.js', folder));
  const out = [[new Float32Array(128)]];
  const run = (processor, angle) => processor.process([planes.map((plane) => plane.subarray(0, 128))], out, { angle: [angle] });
  const byHand = new Processor({ processorOptions: { module, settings, channels } });
  assert.deepEqual(byHand.port.posted, [{ fault: null }]);
  assert.equal(run(byHand, 33), true);
  assert.equal(byHand.beam.angle, 33);
  const auto = new Processor({ processorOptions: { module, settings: { ...settings, angle: 'auto', 'angle-start': 20 }, channels } });
  run(auto, 90);
  assert.equal(auto.beam.angle, 20);
  run(auto, 91);
  assert.equal(auto.beam.angle, 91);
  auto.port.onmessage({ data: 'steer as set' });
  run(auto, 91);
  assert.equal(auto.beam.angle, auto.beam.direction.angle < 0 ? 20 : auto.beam.direction.angle);
  auto.port.onmessage({ data: 'counts' });
  assert.equal(auto.port.posted.at(-1).counts.frames, 3 * 128);
  const wrong = new Processor({ processorOptions: { module, settings: {}, channels } });
  assert.match(wrong.port.posted[0].fault, /^array is missing/);
  assert.equal(run(wrong, 90), false);
});

test('the module can be posted to a worker', async () => {
  const code = `import { parentPort, workerData } from 'node:worker_threads';
    const { Beam } = await import(workerData.at);
    const beam = Beam.openSync(workerData.module, { array: 'line:4:35mm' }, 16000, 4);
    parentPort.postMessage(beam.angle);`;
  const worker = new Worker(new URL(`data:text/javascript,${encodeURIComponent(code)}`),
    { workerData: { module, at: new URL('src/beam.js', folder).href } });
  const angle = await new Promise((resolve, reject) => worker.on('message', resolve).on('error', reject));
  assert.equal(angle, 90);
});

test('the module may come as bytes, and asks for nothing but what is not there', async () => {
  const bytes = readFileSync(new URL('vekbf.wasm', folder));
  const beam = await Beam.open(await load(bytes), settings, 16000, channels);
  assert.equal(beam.feed(sound).length, frames - (frames % 128) - 384);
});
