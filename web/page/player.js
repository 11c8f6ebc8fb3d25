// SPDX-License-Identifier: MIT
//
// The audio graph: one processor that holds the source, the beam and the choice of what is heard.
import processorText from 'made/processor.txt';

/** (From the file system a blob: address is refused, a data: address is not.) */
const processorUrl = () => `data:text/javascript;base64,${btoa(processorText)}`;

/** A node with an engine in it; rejected with the library's line if it takes the settings for wrong. */
export async function makeNode(context, module, setup, material) {
  await context.audioWorklet.addModule(processorUrl());
  const node = new AudioWorkletNode(context, 'vekbf-page', {
    numberOfInputs: 1,
    numberOfOutputs: 1,
    outputChannelCount: [1],
    channelCount: setup.channels ?? 1,
    channelCountMode: 'explicit',
    channelInterpretation: 'discrete',
    parameterData: { angle: setup.state.angle },
    processorOptions: { module, setup, material },
  });
  const fault = await new Promise((resolve) => {
    node.port.onmessage = ({ data }) => resolve(data.fault);
  });
  node.port.onmessage = null;
  if (fault) throw new Error(fault);
  return node;
}

export class Player {
  /** @param {(report: object) => void} report is called some thirty times a second */
  constructor(module, report) {
    this.module = module;
    this.report = report;
    this.context = null;
  }

  get playing() {
    return this.context !== null;
  }

  /** `stream` is that of live microphones. */
  async start(setup, material, stream) {
    const context = new AudioContext({ sampleRate: setup.rate, latencyHint: 'interactive' });
    this.context = context;
    try {
      const node = await makeNode(context, this.module, setup, material);
      if (this.context !== context) return;
      node.port.onmessage = ({ data }) => this.report(data);
      if (stream) context.createMediaStreamSource(stream).connect(node);
      node.connect(context.destination);
      this.node = node;
      await context.resume();
    } catch (error) {
      await this.stop();
      throw error;
    }
  }

  change(state, rebuild) {
    this.node?.port.postMessage({ state, rebuild });
  }

  /** The angle holds from the next block on. */
  steer(angle) {
    if (this.node) this.node.parameters.get('angle').value = angle;
  }

  async stop() {
    const { context, node } = this;
    this.context = null;
    this.node = null;
    node?.port.postMessage({ end: true });
    if (context && context.state !== 'closed') await context.close();
  }
}
