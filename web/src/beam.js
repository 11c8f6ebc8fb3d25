// SPDX-License-Identifier: MIT
import { imports } from './module.js';
import { decode, encode } from './text.js';

/** @typedef {Float32Array | Int16Array} Samples floating-point samples have full scale 1.0 */

/**
 * The words of the option file; lengths in mm, cm or m, angles in degrees. See Beam.settings for all of them.
 *
 * @typedef {Record<string, string | number | boolean | readonly string[]>} Settings
 */

/**
 * One setting.
 *
 * @typedef {object} Setting
 * @property {string} name
 * @property {string} values words as `fixed|adaptive`, or a placeholder such as `DEGREES`
 * @property {string | null} initial the default
 * @property {string} help one line
 */

/**
 * What happened since the stream was opened or restarted.
 *
 * @typedef {object} Counts
 * @property {number} frames taken
 * @property {number} blocks of 128 frames
 * @property {number} zeroBlocks of these, digital silence
 * @property {number} clipped input samples beyond the 16-bit range
 * @property {number} notNumbers input samples that were not-a-number
 * @property {number} wraps steps of more than half the range in the output: a sum left the 16-bit range, almost always
 */

/**
 * What the direction finder knew after the last block.
 *
 * @typedef {object} Direction
 * @property {number} angle whole degrees; -1 until a talker was heard
 * @property {boolean} heard the last update counted
 * @property {number} confidence 0 to 1: lead over the best direction elsewhere
 * @property {number} age blocks since evidence last agreed with the angle
 */

/** Frames that go through the module's memory at once. */
const kRoom = 1024;
const kMaxChannels = 64;
/** Bytes of one sample, at most. */
const kSampleBytes = 4;
/** VEK_DIR_MAP_DEGREES */
const kMapDegrees = 360;

/** A setting, an angle or a file that cannot be taken; the message is one line that says what would be right. */
export class BeamError extends Error {
  /** @param {string} message */
  constructor(message) {
    super(message);
    this.name = 'BeamError';
  }
}

/** One instance of the module, with the views of its memory. */
class Engine {
  /** @param {WebAssembly.Instance} instance */
  constructor(instance) {
    this.calls = /** @type {import('./module.js').Exports} */ (/** @type {unknown} */ (instance.exports));
    this.calls._initialize();
    this.buffer = this.calls.memory.buffer;
    this.bytes = new Uint8Array(this.buffer);
    this.ints = new Int16Array(this.buffer);
    this.words = new Uint32Array(this.buffer);
    this.floats = new Float32Array(this.buffer);
  }

  /** Renews the views after calls that allocate: memory that has grown is another buffer. */
  look() {
    if (this.buffer === this.calls.memory.buffer) return;
    this.buffer = this.calls.memory.buffer;
    this.bytes = new Uint8Array(this.buffer);
    this.ints = new Int16Array(this.buffer);
    this.words = new Uint32Array(this.buffer);
    this.floats = new Float32Array(this.buffer);
  }

  /** @param {number} size */
  take(size) {
    const block = this.calls.malloc(size);
    if (block === 0) throw new BeamError('out of memory');
    this.look();
    return block;
  }

  /** @param {string} text */
  place(text) {
    const encoded = encode(text);
    const block = this.take(encoded.length);
    this.bytes.set(encoded, block);
    return block;
  }

  /** @param {number} text of the module, or 0 */
  read(text) {
    this.look();
    return text === 0 ? null : decode(this.bytes, text);
  }

  /** @param {number} fault a line of the module, or 0 for none */
  expect(fault) {
    const line = this.read(fault);
    if (line !== null) throw new BeamError(line);
  }
}

/**
 * @param {Engine} engine
 * @param {Settings} settings
 * @returns {number}
 */
function settingsOf(engine, settings) {
  const made = engine.calls.VekStream_NewSettings();
  try {
    for (const [key, given] of Object.entries(settings)) {
      // A list is the positions of mics.
      const value = typeof given === 'boolean' ? (given ? 'yes' : 'no')
        : Array.isArray(given) ? given.join('; ') : String(given);
      if (key.includes('\0') || value.includes('\0')) throw new BeamError(`${key.split('\0')[0]} holds a zero character`);
      const texts = [engine.place(key), engine.place(value)];
      const fault = engine.read(engine.calls.VekStream_Set(made, texts[0], texts[1]));
      for (const text of texts) engine.calls.free(text);
      if (fault !== null) throw new BeamError(fault);
    }
  } catch (fault) {
    engine.calls.VekStream_FreeSettings(made);
    throw fault;
  }
  return made;
}

/**
 * The beam of a microphone array over one signal.
 *
 * There are two ways of time; the first call decides. Lined up (`feed`, `finish`): as many samples come out as frames go
 * in, and sample n is the beam of frame n; up to 511 frames are held back until `finish`. Constant delay (`process`):
 * each call gives as many samples as it takes frames, 511 late; the first 511 are zeros.
 *
 * The samples do not depend on how the sound is cut into calls, and are those of the library on any other machine.
 */
export class Beam {
  /** Samples by which the output of `process` is late. */
  static delay = 511;

  /** @type {Engine} */ #engine;
  /** @type {number} */ #stream;
  /** @type {number} */ #channels;
  /** @type {number} scratch memory: pointers of the channels, the samples of each, the output */ #pointers;
  /** @type {number} */ #in;
  /** @type {number} */ #evidence;
  /** @type {number} */ #out;
  /** @type {boolean} whether 16-bit samples were fed last */ #integers = false;

  /**
   * Opens a beam. In a page; wherever it may take a while.
   *
   * @param {WebAssembly.Module} module from `load`
   * @param {Settings} settings at least an array: { array: 'line:4:35mm' }
   * @param {number} sampleRate in Hz, 8000 to 48000
   * @param {number} channels of the frames, 1 to 64
   * @returns {Promise<Beam>}
   */
  static async open(module, settings, sampleRate, channels) {
    return new Beam(await WebAssembly.instantiate(module, imports(module)), settings, sampleRate, channels);
  }

  /**
   * `open` at once. In workers, worklets and node; browsers may refuse it in a page.
   *
   * @param {WebAssembly.Module} module
   * @param {Settings} settings
   * @param {number} sampleRate
   * @param {number} channels
   */
  static openSync(module, settings, sampleRate, channels) {
    return new Beam(new WebAssembly.Instance(module, imports(module)), settings, sampleRate, channels);
  }

  /**
   * The settings that there are.
   *
   * @param {WebAssembly.Module} module
   * @returns {Promise<Setting[]>}
   */
  static async settings(module) {
    const engine = new Engine(await WebAssembly.instantiate(module, imports(module)));
    /** @type {Setting[]} */
    const list = [];
    for (let index = 0; ; ++index) {
      const key = engine.calls.VekStream_Key(index);
      if (key === 0) return list;
      const [name, values, initial, help] = [0, 1, 2, 3].map((field) => engine.read(engine.words[key / 4 + field]));
      list.push({ name: name ?? '', values: values ?? '', initial, help: help ?? '' });
    }
  }

  /**
   * @param {WebAssembly.Instance} instance
   * @param {Settings} settings
   * @param {number} sampleRate
   * @param {number} channels
   */
  constructor(instance, settings, sampleRate, channels) {
    if (!Number.isInteger(channels) || channels < 1 || channels > kMaxChannels) {
      throw new BeamError(`channels is a whole number from 1 to ${kMaxChannels}, not ${channels}`);
    }
    if (!Number.isInteger(sampleRate) || sampleRate < 0 || sampleRate > 0xffffffff) {
      throw new BeamError(`the sample rate is a whole number from 8000 to 48000, not ${sampleRate}`);
    }
    const engine = new Engine(instance);
    const made = settingsOf(engine, settings);
    const place = engine.take(4);
    engine.expect(engine.calls.VekStream_Open(made, sampleRate, channels, place));
    engine.look();
    this.#stream = engine.words[place / 4];
    engine.calls.VekStream_FreeSettings(made);
    engine.calls.free(place);
    this.#engine = engine;
    this.#channels = channels;
    this.#pointers = engine.take(4 * channels);
    this.#in = engine.take(kRoom * channels * kSampleBytes);
    this.#out = engine.take(kRoom * kSampleBytes);
    this.#evidence = engine.take(kSampleBytes * kMapDegrees);
  }

  /** Channels of the frames. */
  get channels() {
    return this.#channels;
  }

  /**
   * The angle of the block that was begun last, in degrees from +x towards +y. What is set holds from the next block on;
   * a line hears 0 to 180, 90 is broadside.
   */
  get angle() {
    return this.#engine.calls.VekStream_GetAngle(this.#stream);
  }
  set angle(degrees) {
    if (!Number.isFinite(degrees) || Math.abs(degrees) > 0x7fffffff) {
      throw new BeamError(`angle is a whole number of degrees, such as 60, not ${degrees}`);
    }
    this.#engine.calls.VekStream_Steer(this.#stream, Math.round(degrees));
  }

  /** Lets the settings steer again from the next block on, as before `angle` was set. */
  steerAsSet() {
    this.#engine.calls.VekStream_SteerAsSet(this.#stream);
  }

  /**
   * Where the talker is; null unless the setting `angle` is auto. The finder listens on while `angle` is set by hand.
   *
   * @returns {Direction | null}
   */
  get direction() {
    const { calls, words, floats } = this.#engine;
    if (calls.VekStream_GetDirection(this.#stream, this.#evidence) === 0) return null;
    const at = this.#evidence / 4;
    return { angle: words[at] | 0, heard: words[at + 1] !== 0, confidence: floats[at + 2], age: words[at + 3] };
  }

  /**
   * The evidence of the finder's last update by degree, for pictures: larger is more, the mean is 0.
   *
   * @param {Float32Array} degrees takes 360 values
   * @returns {boolean} false, with nothing written, unless the setting `angle` is auto
   */
  readMap(degrees) {
    if (this.#engine.calls.VekStream_GetMap(this.#stream, this.#evidence) === 0) return false;
    const at = this.#evidence / 4;
    degrees.set(this.#engine.floats.subarray(at, at + kMapDegrees));
    return true;
  }

  /** @returns {Counts} */
  get counts() {
    const place = this.#engine.take(48);
    this.#engine.calls.VekStream_GetCounts(this.#stream, place);
    const values = Array.from(new BigUint64Array(this.#engine.buffer, place, 6), Number);
    this.#engine.calls.free(place);
    const [frames, blocks, zeroBlocks, clipped, notNumbers, wraps] = values;
    return { frames, blocks, zeroBlocks, clipped, notNumbers, wraps };
  }

  /**
   * Lined up: takes interleaved frames, any number, and gives the samples that are ready.
   *
   * @template {Samples} T
   * @param {T} frames
   * @returns {T} of the same kind
   */
  feed(frames) {
    if (frames.length % this.#channels !== 0) {
      throw new BeamError(`${frames.length} samples are no whole number of frames of ${this.#channels} channels`);
    }
    const engine = this.#engine;
    const integers = (this.#integers = frames instanceof Int16Array);
    const memory = integers ? engine.ints : engine.floats;
    const at = this.#in / memory.BYTES_PER_ELEMENT;
    const most = kRoom * this.#channels;
    /** @type {Samples[]} */
    const ready = [];
    for (let from = 0; from < frames.length;) {
      const part = frames.subarray(from, Math.min(from + most, frames.length));
      memory.set(part, at);
      const taken = engine.calls.VekStream_WriteInterleaved(
        this.#stream, integers ? 0 : 1, this.#in, part.length / this.#channels);
      if (taken === 0) break;  // after finish, or after process
      from += taken * this.#channels;
      this.#read(ready);
    }
    return /** @type {T} */ (this.#joined(ready));
  }

  /**
   * Lined up: no frame will come any more; gives all that is left, of the kind that was fed last.
   *
   * @returns {Samples}
   */
  finish() {
    this.#engine.calls.VekStream_Finish(this.#stream);
    /** @type {Samples[]} */
    const ready = [];
    this.#read(ready);
    return this.#joined(ready);
  }

  /**
   * Constant delay: takes as many frames as `out` has room for and fills it. Allocates nothing; for audio callbacks.
   *
   * @param {readonly (Samples | null | undefined)[]} channels one for each channel, all of the kind of `out`; a missing
   * one is silent
   * @param {Samples} out may be one of the channels
   */
  process(channels, out) {
    const engine = this.#engine;
    const integers = out instanceof Int16Array;
    const memory = integers ? engine.ints : engine.floats;
    const size = memory.BYTES_PER_ELEMENT;
    const outAt = this.#out / size;
    for (let from = 0; from < out.length; from += kRoom) {
      const to = Math.min(from + kRoom, out.length);
      for (let c = 0; c < this.#channels; ++c) {
        const samples = channels[c];
        const at = this.#in + c * kRoom * kSampleBytes;
        const given = samples !== null && samples !== undefined && samples.length >= to;
        engine.words[this.#pointers / 4 + c] = given ? at : 0;
        if (given) memory.set(from === 0 && to === samples.length ? samples : samples.subarray(from, to), at / size);
      }
      engine.calls.VekStream_Process(this.#stream, integers ? 0 : 1, this.#pointers, 1, this.#out, 1, to - from);
      for (let i = from; i < to; ++i) out[i] = memory[outAt + i - from];
    }
  }

  /** Begins a new signal, as after opening; the angle stays. */
  restart() {
    this.#engine.expect(this.#engine.calls.VekStream_Restart(this.#stream));
  }

  /** Releases the stream. What is fed later gives nothing, what is processed gives silence. */
  close() {
    this.#engine.calls.VekStream_Close(this.#stream);
    this.#stream = 0;
  }

  /** @param {Samples[]} ready takes what the stream can give now */
  #read(ready) {
    const engine = this.#engine;
    const memory = this.#integers ? engine.ints : engine.floats;
    const at = this.#out / memory.BYTES_PER_ELEMENT;
    for (;;) {
      const count = engine.calls.VekStream_Read(this.#stream, this.#integers ? 0 : 1, this.#out, 1, kRoom);
      if (count === 0) return;
      ready.push(memory.slice(at, at + count));
    }
  }

  /** @param {Samples[]} parts */
  #joined(parts) {
    if (parts.length === 1) return parts[0];
    const length = parts.reduce((sum, part) => sum + part.length, 0);
    const whole = this.#integers ? new Int16Array(length) : new Float32Array(length);
    let at = 0;
    for (const part of parts) {
      whole.set(part, at);
      at += part.length;
    }
    return whole;
  }
}
