// SPDX-License-Identifier: MIT
//
// The compiled module: where it is read from and how an instance of it is made.

/**
 * The functions of vek_stream.h that are used here, and the memory.
 *
 * @typedef {object} Exports
 * @property {WebAssembly.Memory} memory
 * @property {() => void} _initialize
 * @property {(size: number) => number} malloc
 * @property {(block: number) => void} free
 * @property {() => number} VekStream_NewSettings
 * @property {(settings: number) => void} VekStream_FreeSettings
 * @property {(settings: number, key: number, value: number) => number} VekStream_Set
 * @property {(index: number) => number} VekStream_Key
 * @property {(settings: number, rate: number, channels: number, stream: number) => number} VekStream_Open
 * @property {(stream: number) => number} VekStream_Restart
 * @property {(stream: number) => void} VekStream_Close
 * @property {(stream: number, degrees: number) => void} VekStream_Steer
 * @property {(stream: number) => void} VekStream_SteerAsSet
 * @property {(stream: number) => number} VekStream_GetAngle
 * @property {(stream: number, state: number) => number} VekStream_GetDirection
 * @property {(stream: number, map: number) => number} VekStream_GetMap
 * @property {(stream: number, format: number, samples: number, frames: number) => number} VekStream_WriteInterleaved
 * @property {(stream: number, format: number, out: number, stride: number, count: number) => number} VekStream_Read
 * @property {(stream: number) => void} VekStream_Finish
 * @property {(stream: number, format: number, channels: number, stride: number, out: number, outStride: number, frames: number) => void} VekStream_Process
 * @property {(stream: number, counts: number) => void} VekStream_GetCounts
 */

/**
 * Reads and compiles vekbf.wasm. The result can be posted to workers and worklets.
 *
 * @param {URL | string | BufferSource} [source] where it is, or what is in it; otherwise the file beside this package's
 * @returns {Promise<WebAssembly.Module>}
 */
export async function load(source = new URL('../vekbf.wasm', import.meta.url)) {
  if (typeof source !== 'string' && !(source instanceof URL)) return WebAssembly.compile(source);
  const url = new URL(source, import.meta.url);
  if (url.protocol === 'file:' && typeof process !== 'undefined') {
    const { readFile } = await import('node:fs/promises');
    return WebAssembly.compile(await readFile(url));
  }
  const response = await fetch(url);
  if (!response.ok) throw new Error(`${url}: ${response.status} ${response.statusText}`);
  return WebAssembly.compile(await response.arrayBuffer());
}

/** WASI's answer for what a host does not have: no files, no environment, no output. */
const kNotSupported = 58;

/**
 * @param {WebAssembly.Module} module
 * @returns {WebAssembly.Imports}
 */
export function imports(module) {
  /** @type {Record<string, Record<string, () => number>>} */
  const all = {};
  for (const { module: from, name } of WebAssembly.Module.imports(module)) {
    (all[from] ??= {})[name] = () => kNotSupported;
  }
  return all;
}
