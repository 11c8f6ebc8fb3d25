// SPDX-License-Identifier: MIT
//
// The engine in the audio graph: one render quantum is one block of the library.
import { Engine, kBlock } from './engine.js';

/** Blocks for which a new engine runs beside the old one until its beam has come up, and then takes over. */
const kWarmUp = 16;
/** Blocks between two reports. */
const kReport = 4;
/** Seconds of a change of what is heard. */
const kFade = 0.02;
const kSignals = ['microphone', 'beam', 'talker'];
const kMostGain = 8;

class PageProcessor extends AudioWorkletProcessor {
  static get parameterDescriptors() {
    return [{ name: 'angle', defaultValue: 0, minValue: -360, maxValue: 360, automationRate: 'k-rate' }];
  }

  constructor({ processorOptions: { module, setup, material } }) {
    super();
    this.module = module;
    this.material = material;
    this.setup = setup;
    this.engine = null;
    this.next = null;
    this.position = 0;
    this.blocks = 0;
    this.weights = kSignals.map((name) => (name === setup.state.hear ? 1 : 0));
    this.gain = [1, 1, 1];
    this.parameter = null;
    this.report = { microphone: new Float32Array(kReport * kBlock), beam: new Float32Array(kReport * kBlock) };
    this.map = new Float32Array(360);
    this.ended = false;
    try {
      this.engine = new Engine(module, setup, material);
      this.port.postMessage({ fault: null });
    } catch (error) {
      this.port.postMessage({ fault: error.message });
    }
    this.port.onmessage = ({ data }) => this.take(data);
  }

  take({ state, rebuild, end }) {
    if (end) this.ended = true;
    if (!state || !this.engine) return;
    this.setup = { ...this.setup, state };
    if (!rebuild) {
      this.engine.change(state);
      this.next?.engine.change(state);
      return;
    }
    try {
      this.next = { engine: new Engine(this.module, this.setup, this.material), left: kWarmUp };
      this.port.postMessage({ fault: null });
    } catch (error) {
      this.port.postMessage({ fault: error.message });
    }
  }

  process(inputs, outputs, { angle }) {
    if (this.ended || !this.engine) return false;
    if (angle[0] !== this.parameter) {
      if (this.parameter !== null) {
        this.setup = { ...this.setup, state: { ...this.setup.state, angle: Math.round(angle[0]) } };
        this.engine.steer(Math.round(angle[0]));
        this.next?.engine.steer(Math.round(angle[0]));
      }
      this.parameter = angle[0];
    }
    const out = outputs[0][0];
    this.engine.run(this.position, inputs[0]);
    this.mix(this.engine, out, 1, 1);
    if (this.next) {
      this.next.engine.run(this.position, inputs[0]);
      if (--this.next.left === 0) {
        out.fill(0);
        this.mix(this.engine, out, 1, 0, true);
        this.mix(this.next.engine, out, 0, 1, true);
        this.engine.close();
        this.engine = this.next.engine;
        this.next = null;
      }
    }
    this.position += kBlock;
    if (this.engine.length > 0) this.position %= Math.ceil(this.engine.length / kBlock) * kBlock;
    this.tell();
    return true;
  }

  /** Adds what is to be heard of an engine, fading from one share to another. */
  mix(engine, out, from, to, again = false) {
    const { hear, equal } = this.setup.state;
    const step = 1 / (kFade * sampleRate);
    const weights = again ? [...this.weights] : this.weights;
    kSignals.forEach((name, s) => {
      const target = name === hear ? 1 : 0;
      const { microphone } = engine.powers;
      const own = engine.powers[name];
      const wanted = equal && own > 1e-9 ? Math.min(kMostGain, Math.sqrt(microphone / own)) : 1;
      const before = this.gain[s];
      const after = again ? before : before + 0.05 * (wanted - before);
      const block = engine.out[name];
      let weight = weights[s];
      for (let n = 0; n < kBlock; ++n) {
        weight = weight < target ? Math.min(target, weight + step) : Math.max(target, weight - step);
        const share = from + ((to - from) * (n + 1)) / kBlock;
        out[n] += block[n] * weight * share * (before + ((after - before) * (n + 1)) / kBlock);
      }
      weights[s] = weight;
      if (!again) this.gain[s] = after;
    });
  }

  tell() {
    const at = (this.blocks % kReport) * kBlock;
    this.report.microphone.set(this.engine.out.microphone, at);
    this.report.beam.set(this.engine.out.beam, at);
    if (++this.blocks % kReport !== 0) return;
    const map = this.engine.beam.readMap(this.map) ? this.map : null;
    this.port.postMessage({ ...this.report, ...this.engine.measures, ...this.engine.heard, map, position: this.position });
  }
}

registerProcessor('vekbf-page', PageProcessor);
