// SPDX-License-Identifier: MIT
//
// The page in chromium, opened from the file system: its samples are those of the library, its controls do what they
// say by pointer and keyboard, what is wrong it says in one sentence, and it asks no network for anything.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { existsSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, afterEach, before, beforeEach, test } from 'node:test';
import { pathToFileURL } from 'node:url';
import { byHand, noise } from '../by_hand.mjs';

const { VEKBF_PAGE, VEKBF_CHROMIUM, VEKBF_TOOL, VEKBF_NODE_MODULES, VEKBF_PICTURES } = process.env;
const require = createRequire(join(VEKBF_NODE_MODULES, 'x.js'));
const puppeteer = require('puppeteer-core');
const axe = readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8');

const scratch = mkdtempSync(join(tmpdir(), 'vekbf-page-'));
let browser;
let page;
let complaints;

before(async () => {
  browser = await puppeteer.launch({
    executablePath: VEKBF_CHROMIUM,
    args: ['--no-sandbox', '--use-fake-device-for-media-stream', '--use-fake-ui-for-media-stream', '--mute-audio'],
  });
});

after(async () => {
  await browser?.close();
  rmSync(scratch, { recursive: true });
});

async function open(link = '', width = 1280) {
  page = await browser.newPage();
  page.on('console', (line) => ['error', 'warn'].includes(line.type()) && complaints.push(line.text()));
  page.on('pageerror', (error) => complaints.push(error.message));
  page.on('request', (request) => !/^(file|data|blob):/.test(request.url()) && complaints.push(`request: ${request.url()}`));
  await page.setViewport({ width, height: 900 });
  await page.goto(pathToFileURL(VEKBF_PAGE).href + link);
  await page.waitForFunction(() => globalThis.vekbfPage?.report, { timeout: 30000 });
}

beforeEach(() => { complaints = []; });

afterEach(async () => {
  await page?.close();
  assert.deepEqual(complaints, []);
});

/** A WAV file of 16-bit frames, or of other samples already in bytes. */
function wav(samples, channels, rate, { form = 1, bits = 16, size = samples.byteLength } = {}) {
  const head = Buffer.alloc(44);
  head.write('RIFF', 0);
  head.writeUInt32LE((36 + size) >>> 0, 4);
  head.write('WAVEfmt ', 8);
  head.writeUInt32LE(16, 16);
  head.writeUInt16LE(form, 20);
  head.writeUInt16LE(channels, 22);
  head.writeUInt32LE(rate, 24);
  head.writeUInt32LE((rate * channels * bits) / 8, 28);
  head.writeUInt16LE((channels * bits) / 8, 32);
  head.writeUInt16LE(bits, 34);
  head.write('data', 36);
  head.writeUInt32LE(size, 40);
  return Buffer.concat([head, Buffer.from(samples.buffer, samples.byteOffset, samples.byteLength)]);
}

const inPage = (call, file, ...rest) => page.evaluate(
  async (text, name, others) => {
    const bytes = Uint8Array.from(atob(text), (letter) => letter.charCodeAt(0)).buffer;
    return Array.from(await vekbfPage[name](bytes, ...others));
  }, file.toString('base64'), call, rest);

const samplesOf = (file) => Array.from(new Int16Array(file.buffer.slice(file.byteOffset + 44, file.byteOffset + file.length)));

/** The tool on a file, with the words that the page shows for it. */
function tool(file, command) {
  const input = join(scratch, 'microphones.wav');
  writeFileSync(input, file);
  const words = command.replaceAll('\\\n', ' ').trim().split(/\s+/);
  assert.deepEqual(words.slice(0, 4), ['vekbf', 'process', 'microphones.wav', 'beam.wav']);
  execFileSync(VEKBF_TOOL, words.slice(1), { cwd: scratch });
  return samplesOf(readFileSync(join(scratch, 'beam.wav')));
}

const state = (name) => page.$eval('body', (_, key) => vekbfPage.state[key], name);
const settle = () => page.evaluate(() => new Promise((done) => { requestAnimationFrame(() => requestAnimationFrame(done)); }));

const picture = async (name) => {
  if (!VEKBF_PICTURES) return;
  mkdirSync(VEKBF_PICTURES, { recursive: true });
  await page.screenshot({ path: join(VEKBF_PICTURES, `${name}.png`), fullPage: true });
};

async function accessible(name, schemes) {
  await page.evaluate(axe);
  for (const scheme of schemes) {
    await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: scheme }]);
    await settle();
    await picture(`${name}-${scheme}`);
    const { violations, passes } = await page.evaluate(() => globalThis.axe.run(document, { resultTypes: ['violations'] }));
    assert.ok(passes.length > 20, 'the rules were applied');
    assert.deepEqual(violations.map(({ id, nodes }) => `${id}: ${nodes.map(({ html, any }) => html + any.map(({ message }) => message)).join('; ')}`), [], `${name}, ${scheme}`);
  }
}

test('the angle of the audio graph holds from the next block on: the samples of the C interface', async () => {
  // As in by_hand.c: 60 degrees, and 120 from block 64 on.
  await open();
  const expected = byHand();
  assert.equal(expected.length, 16000);
  const set = { shape: 'line', mics: 4, spacing: 35, algorithm: 'adaptive', angle: 60 };
  const heard = await inPage('worklet', wav(noise(4, 16000), 4, 16000), set, [[(64 * 128) / 16000, 120]]);
  assert.ok(heard.slice(0, 511).every((x) => x === 0));
  assert.deepEqual(heard.slice(511).map((x) => x * 32768), expected.slice(0, heard.length - 511));
  const late = await inPage('worklet', wav(noise(4, 16000), 4, 16000), set, [[(65 * 128) / 16000, 120]]);
  assert.notDeepEqual(late, heard);
});

test('the beam is the tool\'s, by the page\'s own command, and through the audio graph', { skip: !existsSync(VEKBF_TOOL) && 'the tool is not built' }, async () => {
  await open();
  const sound = noise(4, 20000);
  sound.fill(0, 4 * 6000, 4 * 9000); // digital silence: whole blocks of zeros
  const line = wav(sound, 4, 16000);
  const pair = wav(noise(2, 15000), 2, 48000);
  for (const [file, change] of [
    [line, { mics: 4, spacing: 35, angle: 60 }],
    [line, { mics: 4, spacing: 80, angle: 133, algorithm: 'adaptive', intensity: 7, speed: 350 }],
    [line, { shape: 'square', mics: 4, spacing: 64, angle: 250, algorithm: 'adaptive' }],
    [line, { mics: 2, spacing: 50, angle: 0, channels: '4,2' }],
    [line, { mics: 4, spacing: 35, angle: 20, follow: true }],
    [line, { shape: 'square', mics: 3, spacing: 64, angle: 10, channels: '1,2,3' }],
    [pair, { mics: 2, spacing: 120, angle: 45 }],
  ]) {
    const set = { source: 'file', shape: 'line', mics: 4, algorithm: 'fixed', follow: false, channels: '', speed: 343, ...change };
    await page.evaluate((to) => vekbfPage.update(to), set);
    const command = await page.$eval('#command', (area) => area.value);
    const expected = tool(file, command);
    assert.deepEqual(await inPage('beamOfWav', file, set), expected, command);
    const heard = await inPage('worklet', file, set);
    // (The graph plays a file again and again: behind its last whole block the beginning follows.)
    const compared = Math.floor(expected.length / 128) * 128 - 511;
    assert.deepEqual(heard.slice(511, 511 + compared).map((x) => x * 32768), expected.slice(0, compared), command);
    const options = join(scratch, 'vekbf.conf');
    writeFileSync(options, await page.$eval('#options', (area) => area.value));
    assert.deepEqual(tool(file, `vekbf process microphones.wav beam.wav --config ${options}`), expected, command);
  }
});

test('at equal loudness the beam is as loud as microphone 0', async () => {
  await open();
  const sound = noise(4, 48000);
  const file = wav(sound, 4, 16000);
  const set = { shape: 'line', mics: 4, spacing: 80, algorithm: 'fixed', angle: 30, channels: '' };
  const level = (samples) => 10 * Math.log10(samples.slice(-16000).reduce((sum, x) => sum + x * x, 0) / 16000);
  const microphone = level(Array.from(sound.filter((_, i) => i % 4 === 0), (x) => x / 32768));
  const plain = level(await inPage('worklet', file, set));
  const equal = level(await inPage('worklet', file, { ...set, equal: true }));
  assert.ok(plain < microphone - 5, `${plain} and ${microphone} dB`);
  assert.ok(Math.abs(equal - microphone) < 0.5, `${equal} and ${microphone} dB`);
});

test('files of other samples are rounded as the tool rounds them', { skip: !existsSync(VEKBF_TOOL) && 'the tool is not built' }, async () => {
  await open();
  const values = Float32Array.from(noise(2, 4000), (x, i) => (i % 50 === 0 ? 1.5 : i % 51 === 0 ? (x + 0.5) / 32768 : x / 32768.3));
  const deep = Int32Array.from(noise(2, 4000), (x, i) => x * 65536 + (i % 3 === 0 ? 32768 : i * 5));
  const bytes = Buffer.alloc(3 * deep.length);
  deep.forEach((x, i) => bytes.writeIntLE(x >> 8, 3 * i, 3));
  const set = { source: 'file', shape: 'line', mics: 2, spacing: 50, angle: 90 };
  await page.evaluate((to) => vekbfPage.update(to), set);
  const command = await page.$eval('#command', (area) => area.value);
  for (const file of [wav(values, 2, 16000, { form: 3, bits: 32 }), wav(deep, 2, 16000, { bits: 32 }), wav(bytes, 2, 16000, { bits: 24 })]) {
    assert.deepEqual(await inPage('beamOfWav', file, set), tool(file, command));
  }
});

test('the scene: the beam lifts talker A where it looks at the talker, and not elsewhere', async () => {
  await open();
  const gain = async (change) => {
    await page.evaluate((to) => { vekbfPage.update(to); }, change);
    await page.waitForFunction((angle) => vekbfPage.report.angle === angle, {}, change.angle);
    return page.evaluate(() => vekbfPage.report.after - vekbfPage.report.before);
  };
  const towards = await gain({ angle: 60 });
  const away = await gain({ angle: 130 });
  assert.ok(towards > 2.5, `${towards} dB`);
  assert.ok(away < towards - 3, `${away} dB`);
  assert.equal(await page.evaluate(() => vekbfPage.playing), false);
  // A talker straight ahead reaches all microphones at once; one from 0 degrees reaches the last one first, by whole
  // samples: 7 * 343 / 16000 m between neighbours.
  const lag = await page.evaluate(() => {
    vekbfPage.update({ secondDb: -30, noiseDb: -30, talker: 0, spacing: 150 });
    const { samples, channels, frames } = vekbfPage.scene(2);
    const at = (frame, c) => samples[frame * channels + c];
    let best = [-Infinity, 0];
    for (let shift = -30; shift <= 30; ++shift) {
      let sum = 0;
      for (let n = 40; n < frames - 40; ++n) sum += at(n, 0) * at(n - shift, 3);
      if (sum > best[0]) best = [sum, shift];
    }
    return best[1];
  });
  assert.equal(lag, Math.round((0.45 / 343) * 16000));
});

test('the pattern is what a plane wave through the library gives', async () => {
  await open();
  const pairs = await page.evaluate(async () => {
    vekbfPage.update({ shape: 'square', spacing: 64, angle: 200 });
    await new Promise((done) => { requestAnimationFrame(() => requestAnimationFrame(done)); });
    const pattern = vekbfPage.pattern();
    const radius = 0.064 / Math.SQRT2;
    const places = [[radius, 0], [0, radius], [-radius, 0], [0, -radius]];
    return [[200, 1000], [20, 1000], [95, 3000], [310, 5000]].map(([degrees, hertz]) => {
      const beam = vekbfPage.openBeam({ array: 'square:64mm', angle: 200 }, 16000, 4);
      const frames = 8192;
      const waves = places.map(([x, y]) => {
        const early = (x * Math.cos((degrees * Math.PI) / 180) + y * Math.sin((degrees * Math.PI) / 180)) / 343;
        return Float32Array.from({ length: frames }, (_, n) => 0.25 * Math.sin(2 * Math.PI * hertz * (n / 16000 + early)));
      });
      const out = new Float32Array(frames);
      beam.process(waves, out);
      const rest = out.subarray(frames / 2);
      const direct = Math.sqrt((2 * rest.reduce((sum, x) => sum + x * x, 0)) / rest.length) / 0.25;
      return [pattern.gain(degrees, pattern.binOf(hertz)), direct];
    });
  });
  for (const [measured, direct] of pairs) assert.ok(Math.abs(measured - direct) < 0.02, `${measured} and ${direct}`);
  assert.ok(pairs[0][1] > 0.7 && pairs[1][1] < 0.6);
});

test('by pointer: the beam and the talkers are dragged, while it plays too', async () => {
  await open();
  const box = await page.$eval('#dial', (svg) => { const { x, y, width, height } = svg.getBoundingClientRect(); return { x: x + width / 2, y: y + height / 2, unit: width / svg.viewBox.baseVal.width }; });
  const point = (degrees, radius) => [box.x + radius * box.unit * Math.cos((degrees * Math.PI) / 180), box.y - radius * box.unit * Math.sin((degrees * Math.PI) / 180)];
  const drag = async (from, to, radius) => {
    await page.mouse.move(...point(from, radius));
    await page.mouse.down();
    await page.mouse.move(...point(to, radius), { steps: 4 });
    await page.mouse.up();
  };
  await drag(60, 110, 164);
  assert.equal(await state('angle'), 110);
  await drag(145, 170, 207);
  assert.equal(await state('second'), 170);
  assert.equal(await page.evaluate(() => vekbfPage.playing), false);
  await page.click('#play');
  await page.waitForFunction(() => vekbfPage.playing && vekbfPage.report?.position > 0);
  await drag(110, 75, 164);
  await page.waitForFunction(() => vekbfPage.report.angle === 75, { timeout: 3000 });
  // Another array while it plays, and the finder steering.
  await page.evaluate(() => vekbfPage.update({ shape: 'square', spacing: 64 }));
  await page.click('#follow');
  await page.waitForFunction(() => vekbfPage.report.direction?.angle >= 0 && vekbfPage.report.angle === vekbfPage.report.direction.angle, { timeout: 8000 });
  for (const hear of ['microphone', 'talker', 'beam']) await page.click(`#hear label:has([value=${hear}])`);
  await picture('playing');
  await page.click('#play');
  assert.equal(await page.evaluate(() => vekbfPage.playing), false);
});

test('by keyboard alone', async () => {
  await open();
  const press = async (key, times = 1) => { for (let i = 0; i < times; ++i) await page.keyboard.press(key); };
  const focus = () => page.evaluate(() => document.activeElement.getAttribute('aria-label') ?? document.activeElement.id);
  for (let i = 0; i < 12 && await focus() !== 'Beam direction'; ++i) await press('Tab');
  assert.equal(await focus(), 'Beam direction');
  await press('ArrowLeft', 3);
  await press('PageDown');
  assert.equal(await state('angle'), 53);
  const [now, text] = await page.$eval('.knob.angle', (knob) => [knob.getAttribute('aria-valuenow'), knob.getAttribute('aria-valuetext')]);
  assert.deepEqual([now, text], ['53', '53 degrees']);
  await page.waitForFunction(() => /^Beam at 53 degrees\. Talker A .* dB\.$/.test(document.getElementById('spoken').textContent), { timeout: 10000 });
  await press('End');
  await press('ArrowUp');
  assert.equal(await state('angle'), 180); // a line ends there
  await press('1');
  assert.equal(await state('hear'), 'microphone');
  await press('Space');
  await page.waitForFunction(() => vekbfPage.playing);
  await press('Space');
  await page.waitForFunction(() => !vekbfPage.playing);
});

test('wrong files get one sentence, and what is usable is used', async () => {
  await open();
  await page.click('#source label:has([value=file])');
  const input = await page.$('#file');
  const put = async (name, content) => {
    const path = join(scratch, name);
    writeFileSync(path, content);
    await page.$eval('#fault', (element) => { element.hidden = true; });
    await page.$eval('#file', (element) => { element.value = ''; });
    await input.uploadFile(path);
    await page.waitForFunction((file) => !document.getElementById('fault').hidden || document.getElementById('file-note').textContent.includes(file), {}, name);
    await settle();
    return page.$eval('#fault', (element) => (element.hidden ? '' : element.textContent));
  };
  const sound = noise(4, 8000);
  for (const [name, content, words] of [
    ['mono.wav', wav(noise(1, 8000), 1, 16000), /^The file has one channel; .*two to four microphones/],
    ['fast.wav', wav(sound, 4, 96000), /^The file has 96000 samples a second; the library takes 8000 to 48000\.$/],
    ['text.wav', Buffer.from('this is a letter, and no sound at all, though it is long enough for a head'), /^This is not a WAV file/],
    ['nothing.wav', Buffer.alloc(0), /^This is not a WAV file/],
    ['head.wav', wav(sound, 4, 16000).subarray(0, 30), /^The file is cut off before its sound begins\.$/],
    ['silent.wav', wav(sound, 4, 16000).subarray(0, 44), /^There is no sound in the file\.$/],
    ['law.wav', wav(sound, 4, 16000, { form: 6, bits: 8 }), /^The samples have a form/],
  ]) {
    const said = await put(name, content);
    assert.match(said, words, name);
    assert.equal(said.match(/[.]( |$)/g).length, 1, `one sentence: ${said}`);
  }
  assert.match(await put('short.wav', wav(sound, 4, 16000, { size: 4 * sound.byteLength })), /^The file is cut off: 0\.5 of 2\.0 seconds/);
  assert.equal(await put('good.wav', wav(sound, 4, 16000)), '');
  assert.equal(await put('eight.wav', wav(noise(8, 4000), 8, 16000)), '');
  assert.match(await page.$eval('#file-note', (note) => note.textContent), /Channels 1 to 4 of 8 are taken/);
  const choose = async (channels) => {
    await page.$eval('#channels', (field, text) => { field.value = text; field.dispatchEvent(new Event('change')); }, channels);
    return page.$eval('#fault', (element) => (element.hidden ? '' : element.textContent));
  };
  assert.match(await choose('1,3,9,7'), /channel/);
  assert.equal(await choose('1, 3, 5, 7'), '');
  assert.match(await page.$eval('#command', (area) => area.value), /--channels 1,3,5,7/);
  await page.click('#play');
  await page.waitForFunction(() => vekbfPage.playing && vekbfPage.report?.position > 0);
  await page.click('#play');
});

test('live microphones', async () => {
  await open();
  await page.click('#source label:has([value=live])');
  await page.click('#play');
  await page.waitForFunction(() => vekbfPage.playing && vekbfPage.report?.microphone?.some((x) => Math.abs(x) > 0.01), { timeout: 15000 });
  assert.match(await page.$eval('#live-note', (note) => note.textContent), /gives [1-4] channels? at \d+ Hz/);
  await page.click('#play');
});

test('the link restores what is set, and a wrong one does no harm', async () => {
  await open('#shape=square&spacing=64&angle=200&talker=210&follow=true&hear=microphone&mics=9&nonsense=1&secondDb=x');
  assert.deepEqual(await page.evaluate(() => {
    const { shape, spacing, angle, talker, follow, hear, mics, secondDb } = vekbfPage.state;
    return { shape, spacing, angle, talker, follow, hear, mics, secondDb };
  }), { shape: 'square', spacing: 64, angle: 200, talker: 210, follow: true, hear: 'microphone', mics: 4, secondDb: -4 });
  const link = await page.evaluate(() => vekbfPage.link());
  const set = await page.evaluate(() => vekbfPage.state);
  await page.close();
  await open(link.slice(link.indexOf('#')));
  assert.deepEqual(await page.evaluate(() => vekbfPage.state), set);
});

test('what is saved are the files', async () => {
  await open();
  const session = await page.createCDPSession();
  await session.send('Browser.setDownloadBehavior', { behavior: 'allow', downloadPath: scratch });
  for (const [button, name] of [['#save-microphones', 'microphones.wav'], ['#save-beam', 'beam.wav'], ['#save-options', 'vekbf.conf']]) {
    rmSync(join(scratch, name), { force: true });
    await page.click(button);
    for (let i = 0; i < 100 && !existsSync(join(scratch, name)); ++i) await new Promise((done) => { setTimeout(done, 50); });
  }
  const microphones = readFileSync(join(scratch, 'microphones.wav'));
  const beam = samplesOf(readFileSync(join(scratch, 'beam.wav')));
  assert.equal(microphones.readUInt16LE(22), 4);
  assert.equal(beam.length, 20 * 16000);
  assert.deepEqual(beam, await inPage('beamOfWav', microphones, {}));
  assert.match(readFileSync(join(scratch, 'vekbf.conf'), 'utf8'), /^array = line:4:80mm\n/);
});

test('accessible, and nothing sticks out, in every state', async () => {
  await open();
  for (const [name, change, width, schemes] of [
    ['scene', {}, 1280, ['light', 'dark']],
    ['square', { shape: 'square', spacing: 64, algorithm: 'adaptive', follow: true }, 1280, []],
    ['telephone', { shape: 'line', follow: false }, 390, []],
    ['one', { mics: 1 }, 390, []],
    ['live', { source: 'live', mics: 2 }, 390, ['dark']],
    ['file', { source: 'file' }, 1280, ['light']],
  ]) {
    await page.setViewport({ width, height: 900 });
    await page.evaluate((to) => { vekbfPage.update(to); }, change);
    if (name === 'file') await page.click('#play'); // says that there is no file yet
    await settle();
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), true, name);
    await picture(name);
    await accessible(name, schemes);
  }
});
