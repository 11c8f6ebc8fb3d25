// SPDX-License-Identifier: MIT
export { Beam, BeamError } from './beam.js';
export { load } from './module.js';
export { createBeamNode } from './audio_node.js';
