// SPDX-License-Identifier: MIT
import { BeamError } from './beam.js';

/**
 * A beam in the audio graph: one input of `channels` channels, one mono output that is 511 samples late, and the
 * parameter `angle` (one value per render quantum, rounded to a whole degree). It begins with the angle of the settings;
 * with angle = auto the direction finder steers until the parameter changes.
 *
 * @param {BaseAudioContext} context at 8000 to 48000 Hz
 * @param {object} options
 * @param {WebAssembly.Module} options.module from `load`
 * @param {import('./beam.js').Settings} options.settings
 * @param {number} options.channels of the input
 * @param {string | URL} [options.worklet] where worklet.js is; otherwise beside this file
 * @returns {Promise<AudioWorkletNode>} rejected with a BeamError that says what is wrong with the settings
 */
export async function createBeamNode(context, { module, settings, channels, worklet }) {
  await context.audioWorklet.addModule(worklet ?? new URL('worklet.js', import.meta.url));
  const angle = Number(settings.angle);
  const node = new AudioWorkletNode(context, 'vekbf-beam', {
    numberOfInputs: 1,
    numberOfOutputs: 1,
    outputChannelCount: [1],
    channelCount: channels,
    channelCountMode: 'explicit',
    channelInterpretation: 'discrete',
    parameterData: Number.isFinite(angle) ? { angle } : {},
    processorOptions: { module, settings, channels },
  });
  const fault = await new Promise((resolve) => {
    node.port.onmessage = ({ data }) => resolve(data.fault);
  });
  node.port.onmessage = null;
  if (fault !== null) throw new BeamError(fault);
  return node;
}
