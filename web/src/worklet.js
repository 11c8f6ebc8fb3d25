// SPDX-License-Identifier: MIT
//
// The processor of createBeamNode, for context.audioWorklet.addModule. It posts { fault } once, null where the beam was
// opened; answers 'counts' with { counts } and 'direction' with { direction }; begins anew at 'restart'; and lets the
// settings steer again at 'steer as set', until the parameter changes.
import { Beam } from './beam.js';

class BeamProcessor extends AudioWorkletProcessor {
  static get parameterDescriptors() {
    return [{ name: 'angle', defaultValue: 90, automationRate: /** @type {const} */ ('k-rate') }];
  }

  /** @param {{ processorOptions: { module: WebAssembly.Module, settings: import('./beam.js').Settings, channels: number } }} options */
  constructor({ processorOptions: { module, settings, channels } }) {
    super();
    /** @type {Beam | null} */
    this.beam = null;
    /** @type {number | null} the parameter's last value; with angle = auto its first one does not steer */
    this.angle = null;
    this.follows = settings.angle === 'auto';
    let fault = null;
    try {
      this.beam = Beam.openSync(module, settings, sampleRate, channels);
    } catch (error) {
      fault = error instanceof Error ? error.message : String(error);
    }
    this.port.postMessage({ fault });
    this.port.onmessage = ({ data }) => {
      if (data === 'counts') this.port.postMessage({ counts: this.beam?.counts ?? null });
      if (data === 'direction') this.port.postMessage({ direction: this.beam?.direction ?? null });
      if (data === 'restart') this.beam?.restart();
      if (data === 'steer as set') this.beam?.steerAsSet();
    };
  }

  /**
   * @param {Float32Array[][]} inputs
   * @param {Float32Array[][]} outputs
   * @param {Record<string, Float32Array>} parameters
   */
  process(inputs, outputs, { angle }) {
    if (this.beam === null) return false;
    if (angle[0] !== this.angle) {
      if (this.angle !== null || !this.follows) this.beam.angle = angle[0];
      this.angle = angle[0];
    }
    this.beam.process(inputs[0], outputs[0][0]);
    return true;
  }
}

registerProcessor('vekbf-beam', BeamProcessor);
