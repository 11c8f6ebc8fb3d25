// SPDX-License-Identifier: MIT
//
// One block after the other from a source to the beam, with what is measured on the way. It runs in the worklet while
// it plays and in the page for pictures; the samples are the same.
import { Beam } from '../src/beam.js';
import { Scene, kBlock } from './scene.js';
import { beamSettings, heardAngle, positions } from './state.js';

export { kBlock };

/** Seconds in which the measures forget. */
const kMemory = 2;

/** What `signal` holds later by the beam's delay. */
class DelayLine {
  constructor() {
    this.samples = new Float32Array(Beam.delay + kBlock);
  }

  /** Takes one block and gives the block that is due. */
  run(block, out) {
    this.samples.copyWithin(0, kBlock);
    this.samples.set(block, Beam.delay);
    out.set(this.samples.subarray(0, kBlock));
  }
}

/** The scale-invariant signal-to-distortion ratio over the last seconds (Le Roux et al. 2019). */
class Distortion {
  constructor() {
    this.wanted = this.both = this.heard = 0;
  }

  add(wanted, heard, keep) {
    this.wanted *= keep;
    this.both *= keep;
    this.heard *= keep;
    for (let n = 0; n < wanted.length; ++n) {
      this.wanted += wanted[n] * wanted[n];
      this.both += wanted[n] * heard[n];
      this.heard += heard[n] * heard[n];
    }
  }

  /** dB; null while the talker is silent. */
  get ratio() {
    if (this.wanted < 1e-6) return null;
    const target = (this.both * this.both) / this.wanted;
    return 10 * Math.log10(target / Math.max(this.heard - target, 1e-12));
  }
}

function power(block) {
  let sum = 0;
  for (const x of block) sum += x * x;
  return sum / block.length;
}

export class Engine {
  /**
   * @param {WebAssembly.Module} module
   * @param {object} setup { state, rate, channels }: channels are those of a recording or of live microphones
   * @param {object} material { sounds } or { recording: { channels, frames, samples } }; neither if live
   */
  constructor(module, { state, rate, channels }, { sounds, recording }) {
    const places = positions(state);
    this.state = state;
    this.rate = rate;
    this.recording = recording;
    this.scene = sounds ? new Scene(sounds, places, state.shape === 'line' ? places[0] : [0, 0]) : null;
    this.scene?.place(state);
    const count = this.scene ? places.length : channels;
    this.channels = Array.from({ length: count }, () => new Float32Array(kBlock));
    this.microphone = recording && state.channels !== '' ? Number(state.channels.split(',')[0]) - 1 : 0;
    this.beam = Beam.openSync(module, beamSettings(state, places.length > 1), rate, count);
    this.#steer();
    this.keep = Math.exp(-kBlock / (kMemory * rate));
    this.out = { microphone: new Float32Array(kBlock), beam: new Float32Array(kBlock), talker: new Float32Array(kBlock) };
    this.wanted = new Float32Array(kBlock);
    this.lines = [new DelayLine(), new DelayLine(), new DelayLine()];
    this.before = new Distortion();
    this.after = new Distortion();
    this.powers = { microphone: 0, beam: 0, talker: 0 };
  }

  #steer() {
    if (this.state.follow && this.state.mics > 1) this.beam.steerAsSet();
    else this.beam.angle = heardAngle(this.state, this.state.angle);
  }

  /** Takes a state with the same array and beamformer: what may change from block to block. */
  change(state) {
    this.state = state;
    this.scene?.place(state);
    this.#steer();
  }

  /** Steers by hand; a parameter of the audio graph comes here with each block. */
  steer(angle) {
    if (angle === this.state.angle) return;
    this.state = { ...this.state, angle };
    this.#steer();
  }

  /** Frames after which the source begins anew; 0 for what never ends by itself. */
  get length() {
    return this.recording ? this.recording.frames : 0;
  }

  /** The block that begins at frame `position`, or the one in `live`; results are in `out`. */
  run(position, live) {
    const { channels, out, lines, keep } = this;
    if (this.scene) {
      this.scene.run(position, channels);
    } else if (this.recording) {
      const { samples, frames } = this.recording;
      const count = channels.length;
      for (let n = 0; n < kBlock; ++n) {
        const frame = (position + n) % frames;
        for (let c = 0; c < count; ++c) channels[c][n] = samples[frame * count + c] / 32768;
      }
    } else {
      channels.forEach((channel, c) => (live?.[c]?.length === kBlock ? channel.set(live[c]) : channel.fill(0)));
    }
    this.beam.process(channels, out.beam);
    lines[0].run(channels[this.microphone], out.microphone);
    if (this.scene) {
      lines[1].run(this.scene.alone, out.talker);
      lines[2].run(this.scene.wanted, this.wanted);
      this.before.add(out.talker, out.microphone, keep);
      this.after.add(this.wanted, out.beam, keep);
    }
    for (const name of ['microphone', 'beam', 'talker']) {
      this.powers[name] = keep * this.powers[name] + (1 - keep) * power(out[name]);
    }
  }

  /** The direction finder's state and where the beam looks. */
  get heard() {
    return { angle: this.beam.angle, direction: this.beam.direction };
  }

  get measures() {
    const before = this.scene ? this.before.ratio : null;
    const after = this.scene ? this.after.ratio : null;
    return { before, after };
  }

  close() {
    this.beam.close();
  }
}
