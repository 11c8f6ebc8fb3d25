// SPDX-License-Identifier: MIT
//
// The made scene: plane waves of two talkers and a noise on the microphones, which have a little noise of their own.
// The delays are fractional, by a windowed sinc (T. I. Laakso et al., "Splitting the unit delay", 1996). A source that
// has moved is faded from its old place to the new one within a block, so that nothing clicks.
import { kAir } from './state.js';

export const kBlock = 128;
/** Half the length of the sinc, and a delay that all paths have, so that no sample is asked for that is to come. */
const kReach = 24;
const kBase = 64;
/** Root mean square of the talker at 0 dB, and of the microphones' own noise; full scale is 1. */
const kTalkerLevel = 0.06;
const kSelfLevel = 0.0012;
const kNoiseSeconds = 4;

/** Uniform numbers from -1 to 1, the same on every machine (Numerical Recipes' generator). */
function generator(seed) {
  let state = seed;
  return () => {
    state = (Math.imul(state, 1664525) + 1013904223) | 0;
    return state / 0x80000000;
  };
}

function scaled(signal, level) {
  let sum = 0;
  let count = 0;
  for (const x of signal) {
    if (x === 0) continue;
    sum += x * x;
    ++count;
  }
  const factor = level / Math.sqrt(sum / count);
  return signal.map((x) => x * factor);
}

/** A fan: air, low-pitched for the most part, and the hum of the motor. It repeats without a seam. */
function fan(rate) {
  const length = kNoiseSeconds * rate;
  const random = generator(7);
  const white = Float32Array.from({ length }, random);
  const signal = new Float32Array(length);
  let low = 0;
  for (let pass = 0; pass < 2; ++pass) {
    for (let i = 0; i < length; ++i) {
      low += 0.12 * (white[i] - low);
      signal[i] = low + 0.25 * white[i] + 0.06 * Math.sin((2 * Math.PI * 120 * i) / rate);
    }
  }
  return signal;
}

/** The sounds of a scene: speech as it was recorded, the rest made here. */
export function makeSounds(talker, second, rate) {
  return {
    rate,
    talker: scaled(talker, kTalkerLevel),
    second: scaled(second, kTalkerLevel),
    noise: scaled(fan(rate), kTalkerLevel),
    self: [1, 2, 3, 4].map((seed) => {
      const random = generator(seed);
      return Float32Array.from({ length: 3 * rate }, () => kSelfLevel * Math.sqrt(3) * random());
    }),
  };
}

/** One way from a source to a place: x(n - delay). */
class Path {
  constructor() {
    this.taps = new Float64Array(2 * kReach);
    this.whole = 0;
  }

  set(delay) {
    this.whole = Math.floor(delay);
    const part = delay - this.whole;
    const sine = Math.sin(Math.PI * part);
    for (let k = 1 - kReach; k <= kReach; ++k) {
      const x = k - part;
      const window = Math.cos((Math.PI * x) / (2 * kReach + 1)) ** 2;
      // sin(pi (k - part)) is sin(pi part) with a sign.
      const sinc = Math.abs(x) < 1e-9 ? 1 : ((k % 2 === 0 ? -1 : 1) * sine) / (Math.PI * x);
      this.taps[k + kReach - 1] = window * sinc;
    }
  }

  /** Adds `signal`, repeated for ever, from frame `position` on, with a gain that goes from one value to another. */
  add(signal, position, out, from, to) {
    const { taps, whole } = this;
    const { length } = signal;
    const first = position - whole - kReach;
    let at = ((first % length) + length) % length;
    const lengthOfTaps = taps.length;
    for (let n = 0; n < kBlock; ++n) {
      let sum = 0;
      if (at + lengthOfTaps <= length) {
        for (let k = 0; k < lengthOfTaps; ++k) sum += signal[at + k] * taps[lengthOfTaps - 1 - k];
      } else {
        for (let k = 0; k < lengthOfTaps; ++k) sum += signal[(at + k) % length] * taps[lengthOfTaps - 1 - k];
      }
      out[n] += sum * (from + ((to - from) * (n + 1)) / kBlock);
      at = at + 1 === length ? 0 : at + 1;
    }
  }
}

const kSources = ['talker', 'second', 'noise'];

export class Scene {
  /**
   * @param sounds from makeSounds
   * @param places of the microphones, metres
   * @param reference the place that the beam is heard from: microphone 0, or the centre of a square
   */
  constructor(sounds, places, reference) {
    this.sounds = sounds;
    this.places = [...places, reference];
    this.channels = places.length;
    this.alone = new Float32Array(kBlock); // the talker at microphone 0
    this.wanted = new Float32Array(kBlock); // the talker at the reference
    this.sources = kSources.map((name) => ({
      name, angle: null, gain: null, paths: this.places.map(() => new Path()), former: this.places.map(() => new Path()),
    }));
  }

  /** Where the sources are from the next block on: degrees and decibels by name. */
  place(state) {
    this.next = state;
  }

  /** The block at frame `position`. */
  run(position, channels) {
    for (const channel of channels) channel.fill(0);
    this.alone.fill(0);
    this.wanted.fill(0);
    for (const source of this.sources) {
      const { name } = source;
      const angle = this.next[name];
      const decibels = this.next[`${name}Db`];
      const gain = decibels <= -30 ? 0 : 10 ** (decibels / 20);
      const before = source.gain ?? gain;
      const moved = source.angle !== angle;
      if (moved) {
        [source.paths, source.former] = [source.former, source.paths];
        const x = Math.cos((angle * Math.PI) / 180);
        const y = Math.sin((angle * Math.PI) / 180);
        this.places.forEach((place, m) => source.paths[m].set(kBase - ((place[0] * x + place[1] * y) / kAir) * this.sounds.rate));
      }
      const fades = moved && source.angle !== null;
      const signal = this.sounds[name];
      const add = (m, out) => {
        if (before === 0 && gain === 0) return;
        if (fades) source.former[m].add(signal, position, out, before, 0);
        source.paths[m].add(signal, position, out, fades ? 0 : before, gain);
      };
      for (let m = 0; m < this.channels; ++m) {
        if (name === 'talker' && m === 0) {
          add(0, this.alone);
          for (let n = 0; n < kBlock; ++n) channels[0][n] += this.alone[n];
        } else {
          add(m, channels[m]);
        }
      }
      if (name === 'talker') add(this.channels, this.wanted);
      source.angle = angle;
      source.gain = gain;
    }
    for (let m = 0; m < this.channels; ++m) {
      const self = this.sounds.self[m];
      for (let n = 0, at = position % self.length; n < kBlock; ++n, at = at + 1 === self.length ? 0 : at + 1) channels[m][n] += self[at];
    }
  }
}
