// SPDX-License-Identifier: MIT
//
// The beam pattern, measured through the library: each microphone in turn hears a signal of all frequencies (a multisine
// that repeats with the transform's length), and the answers are added up as a plane wave from each direction would
// add them. The fixed beamformer is linear, so this is what it does; the adaptive one is not, and its fixed part is
// measured.
import { Beam } from '../src/beam.js';
import { fft } from './fft.js';
import { kBlock } from './scene.js';
import { beamSettings, heardAngle, kAir, positions } from './state.js';

const kPeriod = 512;
export const kBins = kPeriod / 2;
/** Blocks until the answer repeats, and those of one period. */
const kLead = 12;
const kTaken = kPeriod / kBlock;

function multisine() {
  const re = new Float64Array(kPeriod);
  const im = new Float64Array(kPeriod);
  for (let k = 1; k < kBins; ++k) {
    // Schroeder's phases keep the peak low (1970).
    const phase = (-Math.PI * k * k) / kBins;
    re[k] = re[kPeriod - k] = Math.cos(phase);
    im[k] = Math.sin(phase);
    im[kPeriod - k] = -im[k];
  }
  fft(re, im);
  const peak = Math.max(...re.map(Math.abs));
  const signal = Float32Array.from(re, (x) => Math.round((0.5 * 32768 * x) / peak) / 32768);
  const spectrum = { re: Float64Array.from(signal), im: new Float64Array(kPeriod) };
  fft(spectrum.re, spectrum.im);
  return { signal, spectrum };
}

export class Pattern {
  constructor(module) {
    this.module = module;
    this.tone = multisine();
    this.key = '';
    this.silence = new Float32Array(kBlock);
    this.out = new Float32Array(kBlock);
  }

  /** Measures an array steered to its angle; `gain` then answers for directions and bins. */
  measure(state, angle, rate) {
    const { mics, shape, spacing, speed } = state;
    const key = [mics, shape, spacing, speed, rate].join();
    if (key !== this.key) {
      this.beam?.close();
      this.beam = Beam.openSync(this.module, beamSettings({ ...state, source: 'scene', algorithm: 'fixed', follow: false }), rate, mics);
      this.key = key;
    }
    this.beam.angle = heardAngle(state, angle);
    this.rate = rate;
    this.places = positions(state);
    const { signal, spectrum } = this.tone;
    this.answers = this.places.map((_, m) => {
      const re = new Float64Array(kPeriod);
      const im = new Float64Array(kPeriod);
      for (let block = 0; block < kLead + kTaken; ++block) {
        const at = (block % kTaken) * kBlock;
        const channels = this.places.map((__, other) => (other === m ? signal.subarray(at, at + kBlock) : this.silence));
        this.beam.process(channels, this.out);
        if (block >= kLead) re.set(this.out, (block - kLead) * kBlock);
      }
      fft(re, im);
      for (let k = 1; k < kBins; ++k) {
        const size = spectrum.re[k] ** 2 + spectrum.im[k] ** 2;
        const real = (re[k] * spectrum.re[k] + im[k] * spectrum.im[k]) / size;
        im[k] = (im[k] * spectrum.re[k] - re[k] * spectrum.im[k]) / size;
        re[k] = real;
      }
      return { re, im };
    });
  }

  /** Hertz of a bin. */
  hertz(bin) {
    return (bin * this.rate) / kPeriod;
  }

  binOf(hertz) {
    return Math.max(1, Math.min(kBins - 1, Math.round((hertz * kPeriod) / this.rate)));
  }

  /** The phases with which a plane wave reaches the microphones: cosine and sine of each in turn. */
  wave(direction, bin) {
    const x = Math.cos((direction * Math.PI) / 180);
    const y = Math.sin((direction * Math.PI) / 180);
    const omega = (2 * Math.PI * this.hertz(bin)) / kAir;
    return this.places.flatMap((place) => {
      const phase = omega * (place[0] * x + place[1] * y);
      return [Math.cos(phase), Math.sin(phase)];
    });
  }

  /** What comes out of a wave of power 1 whose phases begin at `from` of a list. */
  power(phases, from, bin) {
    let re = 0;
    let im = 0;
    for (let m = 0, at = from; m < this.answers.length; ++m, at += 2) {
      const answer = this.answers[m];
      re += answer.re[bin] * phases[at] - answer.im[bin] * phases[at + 1];
      im += answer.re[bin] * phases[at + 1] + answer.im[bin] * phases[at];
    }
    return re * re + im * im;
  }

  /** How loud a plane wave from a direction comes out: an amplitude. */
  gain(direction, bin) {
    return Math.sqrt(this.power(this.wave(direction, bin), 0, bin));
  }

  /** dB below the loudest direction, for each of `count` directions around. */
  around(bin, count = 180) {
    const gains = Array.from({ length: count }, (_, d) => this.gain((360 * d) / count, bin));
    const most = Math.max(...gains, 1e-6);
    return gains.map((gain) => 20 * Math.log10(Math.max(gain, 1e-6) / most));
  }
}
