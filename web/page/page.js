// SPDX-License-Identifier: MIT
//
// The page: state in, pictures and sound out.
import secondSound from 'made/second.mp3';
import talkerSound from 'made/talker.mp3';
import wasm from 'made/vekbf.wasm';
import { Beam } from '../src/beam.js';
import { Dial } from './dial.js';
import { kBlock } from './engine.js';
import { beamOf, runBlocks, sceneSamples } from './offline.js';
import { Pattern } from './pattern.js';
import { Overview, Spectrogram, onColors } from './pictures.js';
import { Player, makeNode } from './player.js';
import { makeSounds } from './scene.js';
import {
  beamSettings, commandLine, fromLink, heardAngle, optionFile, presets, ranges, sound, toLink,
} from './state.js';
import { FileFault, readWav, writeWav } from './wav.js';

const kSceneRate = 16000;
const kSavedSeconds = 20;
/** From the beginning of the scene, where both people talk. */
const kPreviewSeconds = 8;

const $ = (id) => document.getElementById(id);
const minus = (text) => text.replace('-', '\u2212');
const decibels = (db) => `${db > 0 ? '+' : ''}${minus(db.toFixed(1))} dB`;

let state = fromLink(location.hash.slice(1));
let module;
let material = {};
let file = null; // { name, rate, channels, frames, samples }
let live = null; // { stream, rate, channels }
let player;
let pattern;
let looks = state.angle;
let report = null;
let wanted = { picture: true, pattern: true, preview: true };
let mapAt = null;
let bufferedPreview = 0;

const dial = new Dial($('dial'), (change) => update(change));
const pictures = { microphone: new Spectrogram($('before')), beam: new Spectrogram($('after')) };
const overview = new Overview($('overview'));

function say(fault) {
  $('fault').textContent = fault ?? '';
  $('fault').hidden = !fault;
}

function rate() {
  if (state.source === 'file' && file) return file.rate;
  if (state.source === 'live' && live) return live.rate;
  return kSceneRate;
}

/** The number of channels that come in, where the source says it. */
function channels() {
  if (state.source === 'file') return file?.channels;
  if (state.source === 'live') return live?.channels;
  return undefined;
}

const setup = () => ({ state, rate: rate(), channels: channels() });

function materialOf() {
  if (state.source === 'scene') return { sounds: material.sounds };
  return state.source === 'file' ? { recording: file } : {};
}

const ready = () => (state.source === 'scene' ? Boolean(material.sounds) : state.source === 'file' ? file !== null : true);

/** What needs another beam; the rest changes within it. */
const kBuilt = ['shape', 'mics', 'spacing', 'algorithm', 'intensity', 'speed', 'channels'];
const kPatterned = ['shape', 'mics', 'spacing', 'speed', 'angle', 'frequency', 'source'];

function update(change) {
  const former = state;
  state = sound({ ...state, ...change });
  if (state.source !== 'scene' && state.hear === 'talker') state.hear = 'beam';
  const changed = Object.keys(state).filter((key) => state[key] !== former[key]);
  if (changed.length === 0) return;
  const built = changed.some((key) => kBuilt.includes(key));
  if (changed.includes('source')) {
    say();
    stop();
    if (state.source !== 'live') dropLive();
  }
  if (built) fit();
  if (!state.follow || !player?.playing) looks = state.angle;
  if (player?.playing) {
    if (changed.includes('angle')) player.steer(heardAngle(state, state.angle));
    player.change(state, built);
  } else {
    wanted.preview = true;
  }
  if (changed.some((key) => kPatterned.includes(key))) wanted.pattern = true;
  show();
  speak();
}

/** Says whether the array and the channels of a file go together. */
function fit() {
  if (state.source !== 'file' || !file) return say();
  try {
    Beam.openSync(module, beamSettings(state), file.rate, file.channels).close();
    say();
  } catch (error) {
    say(error.message);
  }
}

// Controls.

const kUnits = {
  mics: (value) => String(value),
  spacing: (value) => `${value} mm`,
  intensity: (value) => String(value),
  speed: (value) => `${value} m/s`,
  frequency: (value) => `${value} Hz`,
  talkerDb: loudness, secondDb: loudness, noiseDb: loudness,
};

function loudness(value) {
  return value <= -30 ? 'off' : minus(`${value} dB`);
}

function wire() {
  for (const [key, text] of Object.entries(kUnits)) {
    const input = $(key);
    [input.min, input.max, input.step] = ranges[key];
    input.addEventListener('input', () => update({ [key]: Number(input.value) }));
    input.setAttribute('aria-valuetext', text(state[key]));
  }
  for (const key of ['hear', 'shape', 'algorithm', 'source']) {
    for (const input of document.getElementsByName(key)) input.addEventListener('change', () => update({ [key]: input.value }));
  }
  for (const key of ['equal', 'follow']) $(key).addEventListener('change', () => update({ [key]: $(key).checked, ...(key === 'follow' ? { angle: looks } : {}) }));
  $('preset').append(...presets.map(({ name }, i) => new Option(name, String(i))), new Option('By hand', ''));
  $('preset').addEventListener('change', () => {
    const { name, ...array } = presets[Number($('preset').value)] ?? {};
    if (name) update(array);
  });
  $('play').addEventListener('click', () => (player.playing ? stop() : play()));
  document.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || event.target.closest('input, select, textarea, button')) return;
    const hear = { 1: 'microphone', 2: 'beam', 3: 'talker' }[event.key];
    if (hear && (hear !== 'talker' || state.source === 'scene')) update({ hear });
    if (event.key === ' ') {
      event.preventDefault();
      $('play').click();
    }
  });
  $('file').addEventListener('change', () => $('file').files[0] && take($('file').files[0]));
  const drop = document.querySelector('.drop');
  for (const type of ['dragover', 'drop']) {
    document.addEventListener(type, (event) => {
      event.preventDefault();
      drop.classList.toggle('over', type === 'dragover');
      if (type === 'drop' && event.dataTransfer.files[0]) take(event.dataTransfer.files[0]);
    });
  }
  $('channels').addEventListener('change', () => update({ channels: $('channels').value.replace(/\s+/g, '') }));
  $('copy-command').addEventListener('click', () => copy($('command').value, 'The command is copied.'));
  $('copy-link').addEventListener('click', () => copy(link(), 'The link is copied; it opens this page as it is set now.'));
  $('save-options').addEventListener('click', () => save(optionFile(state), 'vekbf.conf', 'text/plain'));
  $('save-beam').addEventListener('click', () => {
    try {
      const recording = state.source === 'file' && file ? file : sceneSamples(module, state, material.sounds, kSavedSeconds);
      save(writeWav(beamOf(module, state, recording), 1, recording.rate), 'beam.wav', 'audio/wav');
    } catch (error) {
      say(error.message);
    }
  });
  $('save-microphones').addEventListener('click', () => {
    const made = sceneSamples(module, state, material.sounds, kSavedSeconds);
    save(writeWav(made.samples, made.channels, made.rate), 'microphones.wav', 'audio/wav');
  });
  addEventListener('hashchange', () => update(fromLink(location.hash.slice(1))));
  onColors(() => { wanted.pattern = true; });
}

function link() {
  const text = toLink(state);
  return `${location.href.split('#')[0]}${text ? `#${text}` : ''}`;
}

async function copy(text, done) {
  try {
    await navigator.clipboard.writeText(text);
    $('took').textContent = done;
  } catch {
    // Not every browser lets a page from the file system copy.
    $('command').value = text;
    $('command').select();
    $('took').textContent = 'Copying is not allowed here; the text is selected above.';
  }
}

function save(content, name, type) {
  const anchor = document.createElement('a');
  anchor.href = URL.createObjectURL(new Blob([content], { type }));
  anchor.download = name;
  anchor.click();
  setTimeout(() => URL.revokeObjectURL(anchor.href), 10000);
  $('took').textContent = `${name} is saved.`;
}

async function take(given) {
  try {
    if (given.size > 1e9) throw new FileFault('The file is larger than 1 GB; use the tool for it.');
    const read = readWav(await given.arrayBuffer());
    stop();
    file = { ...read, name: given.name };
    const mics = Math.min(4, read.channels);
    const note = read.channels > 4 ? `Channels 1 to 4 of ${read.channels} are taken; choose others below.` : '';
    $('file-note').textContent = `${given.name}: ${(read.frames / read.rate).toFixed(1)} s, ${read.channels} channels, ${read.rate} Hz. ${note} ${read.note}`;
    $('channels-field').hidden = read.channels <= 4;
    const picks = read.channels > 4 ? '1,2,3,4' : '';
    $('channels').value = picks;
    update({ source: 'file', channels: picks, ...(state.mics === mics ? {} : { shape: 'line', mics }) });
    wanted.preview = wanted.pattern = true;
    fit();
    if (read.note) say(read.note);
    show();
  } catch (error) {
    say(error instanceof FileFault ? error.message : `The file cannot be read: ${error.message}`);
  }
}

// Sound.

async function openLive() {
  if (!navigator.mediaDevices) throw new Error('This browser gives no microphones to a page that is opened this way.');
  const stream = await navigator.mediaDevices.getUserMedia({
    audio: { channelCount: { ideal: state.mics }, echoCancellation: false, noiseSuppression: false, autoGainControl: false },
  });
  const settings = stream.getAudioTracks()[0].getSettings();
  live = { stream, rate: settings.sampleRate ?? 48000, channels: Math.min(4, settings.channelCount ?? 1) };
  $('live-note').textContent = `The browser gives ${live.channels} ${live.channels === 1 ? 'channel' : 'channels'} at ${live.rate} Hz.`;
  if (state.mics !== live.channels) update({ shape: 'line', mics: live.channels });
}

function dropLive() {
  live?.stream.getTracks().forEach((track) => track.stop());
  live = null;
}

async function play() {
  say();
  try {
    if (!ready()) throw new Error(state.source === 'file' ? 'Choose a WAV file first.' : 'The speech is still being unpacked.');
    if (state.source === 'live') await openLive();
    for (const picture of Object.values(pictures)) picture.reset(rate());
    await player.start(setup(), materialOf(), live?.stream);
    report = null;
  } catch (error) {
    dropLive();
    say(error.name === 'NotAllowedError' ? 'The browser does not give the microphones to this page.'
      : error.name === 'NotFoundError' ? 'There is no microphone.' : error.message);
  }
  show();
}

function stop() {
  if (!player?.playing) return;
  player.stop();
  dropLive();
  wanted.picture = true;
  show();
}

function heard(data) {
  if ('fault' in data) { // the answer to another array
    if (data.fault) say(data.fault);
    return;
  }
  pictures.microphone.add(data.microphone);
  pictures.beam.add(data.beam);
  report = data;
  if (data.map) mapAt = data.map;
  wanted.picture = true;
}

/** Without sound: the last seconds of what would be heard. */
function preview() {
  for (const picture of Object.values(pictures)) picture.reset(rate());
  report = null;
  wanted.picture = true;
  if (!ready() || state.source === 'live') return;
  try {
    const blocks = Math.ceil((kPreviewSeconds * rate()) / kBlock);
    const map = new Float32Array(360);
    const engine = runBlocks(module, setup(), materialOf(), blocks, ({ out }) => {
      pictures.microphone.add(out.microphone);
      pictures.beam.add(out.beam);
    });
    mapAt = engine.beam.readMap(map) ? map : null;
    report = { ...engine.measures, ...engine.heard, still: true };
    engine.close();
  } catch (error) {
    say(error.message);
  }
  wanted.picture = true;
}

// Pictures.

function level(id, samples) {
  const meter = $(`level-${id}`);
  let sum = 0;
  for (const x of samples ?? []) sum += x * x;
  const db = samples ? Math.max(-60, 10 * Math.log10(sum / samples.length + 1e-9)) : -60;
  meter.firstElementChild.style.width = `${(100 * (db + 60)) / 60}%`;
  meter.setAttribute('aria-valuenow', db.toFixed(0));
}

function figures() {
  const { before, after, direction } = report ?? {};
  const known = state.source === 'scene' && before !== null && before !== undefined && after !== null;
  const gain = known ? after - before : 0;
  $('gain').textContent = known ? decibels(gain) : '–';
  $('gain').classList.toggle('worse', known && gain < -0.5);
  $('ratios').textContent = known ? `${minus(before.toFixed(1))} dB at microphone 0, ${minus(after.toFixed(1))} dB in the beam` : 'measured over the last seconds';
  $('looks').textContent = `${heardAngle(state, looks)}°`;
  $('finder').textContent = report === null ? ''
    : !direction ? 'One microphone has no direction'
      : direction.angle < 0 ? 'The direction finder has heard nobody yet'
        : `Heard at ${direction.angle}°, confidence ${Math.round(100 * direction.confidence)} %`;
  dial.drawDirection(direction ?? null, direction ? mapAt : null);
}

function drawPattern() {
  const angle = heardAngle(state, looks);
  pattern.measure(state, angle, rate());
  dial.drawPattern(pattern.around(pattern.binOf(state.frequency)));
  overview.draw(pattern, state, angle);
  $('cross-angle').style.left = `${100 * overview.share.left}%`;
  $('cross-frequency').style.top = `${100 * overview.share.top}%`;
}

/** At most one picture for each of the screen's. */
function frame() {
  if (wanted.preview && !player.playing && performance.now() - bufferedPreview > 250) {
    wanted.preview = false;
    preview();
    bufferedPreview = performance.now();
  }
  if (wanted.picture) {
    wanted.picture = false;
    const angle = report && state.follow ? report.angle : state.angle;
    if (angle !== looks) {
      looks = angle;
      wanted.pattern = true;
    }
    for (const picture of Object.values(pictures)) picture.draw();
    level('microphone', player.playing ? report?.microphone : null);
    level('beam', player.playing ? report?.beam : null);
    figures();
    dial.draw(state, looks);
  }
  if (wanted.pattern) {
    wanted.pattern = false;
    drawPattern();
  }
  requestAnimationFrame(frame);
}

let speech = 0;

/** Tells a screen reader, once the hand is still, what the change has brought. */
function speak() {
  clearTimeout(speech);
  speech = setTimeout(() => {
    const clearer = $('gain').textContent;
    $('spoken').textContent = `Beam at ${heardAngle(state, looks)} degrees. ${state.source === 'scene' && report ? `Talker A against the rest: ${clearer}.` : ''}`;
  }, 1200);
}

function show() {
  document.body.className = `${state.source} ${state.algorithm} ${state.shape}`;
  for (const [key, text] of Object.entries(kUnits)) {
    const input = $(key);
    input.value = String(state[key]);
    input.setAttribute('aria-valuetext', text(state[key]));
    input.parentElement.querySelector('output').textContent = text(state[key]);
  }
  for (const key of ['hear', 'shape', 'algorithm', 'source']) {
    for (const input of document.getElementsByName(key)) input.checked = input.value === state[key];
  }
  $('equal').checked = state.equal;
  $('follow').checked = state.follow;
  $('follow').disabled = state.mics < 2;
  const preset = presets.findIndex(({ shape, mics, spacing }) => shape === state.shape && mics === state.mics && (spacing === state.spacing || mics === 1));
  $('preset').value = preset < 0 ? '' : String(preset);
  $('axis-left').textContent = state.shape === 'line' ? '180°' : '360°';
  $('command').value = commandLine(state, state.source === 'file' && file ? file.name : 'microphones.wav');
  $('options').value = optionFile(state);
  $('save-beam').disabled = state.source === 'live' || (state.source === 'file' && !file);
  const playing = player.playing;
  $('play').setAttribute('aria-pressed', String(playing));
  $('play').lastElementChild.textContent = playing ? 'Stop' : 'Play';
  const name = { microphone: 'microphone 0', beam: 'the beam', talker: 'talker A alone' }[state.hear];
  $('state').textContent = playing ? `Playing ${name}` : 'Nothing plays until you ask';
  $('time-note').textContent = `${playing ? 'The last 8 seconds' : 'Eight seconds, as they would sound'}. What stands out above and not below is gone.`;
  wanted.picture = true;
  dial.draw(state, looks);
}

async function decoded(bytes) {
  const context = new OfflineAudioContext(1, 1, kSceneRate);
  const buffer = await context.decodeAudioData(bytes.slice().buffer);
  return buffer.getChannelData(0);
}

async function begin() {
  module = await WebAssembly.compile(wasm);
  player = new Player(module, heard);
  pattern = new Pattern(module);
  wire();
  show();
  requestAnimationFrame(frame);
  const [talker, second] = await Promise.all([decoded(talkerSound), decoded(secondSound)]);
  material = { sounds: makeSounds(talker, second, kSceneRate) };
  wanted.preview = true;
}

const begun = begin().catch((error) => say(`The page does not work in this browser: ${error.message}`));

/** For the console and for tests: the page's own parts on samples. */
globalThis.vekbfPage = {
  begun,
  get state() { return state; },
  get playing() { return player.playing; },
  get report() { return report; },
  update,
  beamOfWav: (buffer, change) => beamOf(module, { ...state, source: 'file', ...change }, readWav(buffer)),
  /** Through the audio graph: `angles` are [seconds, degrees]. */
  async worklet(buffer, change, angles = []) {
    const recording = readWav(buffer);
    const context = new OfflineAudioContext(1, Math.ceil(recording.frames / kBlock) * kBlock, recording.rate);
    const node = await makeNode(context, module, {
      state: { ...state, source: 'file', hear: 'beam', ...change }, rate: recording.rate, channels: recording.channels,
    }, { recording });
    for (const [seconds, degrees] of angles) node.parameters.get('angle').setValueAtTime(degrees, seconds);
    node.connect(context.destination);
    return (await context.startRendering()).getChannelData(0);
  },
  link,
  scene: (seconds) => sceneSamples(module, state, material.sounds, seconds),
  pattern: () => pattern,
  openBeam: (settings, hertz, count) => Beam.openSync(module, settings, hertz, count),
};
