// SPDX-License-Identifier: MIT
//
// UTF-8 without TextEncoder and TextDecoder, which an AudioWorklet does not have.

/**
 * @param {string} text
 * @returns {Uint8Array} its bytes, ended by a zero
 */
export function encode(text) {
  /** @type {number[]} */
  const bytes = [];
  for (const character of text) {
    let code = /** @type {number} */ (character.codePointAt(0));
    if (code >= 0xd800 && code < 0xe000) code = 0xfffd;  // half of a pair
    if (code < 0x80) {
      bytes.push(code);
    } else if (code < 0x800) {
      bytes.push(0xc0 | (code >> 6), 0x80 | (code & 63));
    } else if (code < 0x10000) {
      bytes.push(0xe0 | (code >> 12), 0x80 | ((code >> 6) & 63), 0x80 | (code & 63));
    } else {
      bytes.push(0xf0 | (code >> 18), 0x80 | ((code >> 12) & 63), 0x80 | ((code >> 6) & 63), 0x80 | (code & 63));
    }
  }
  bytes.push(0);
  return Uint8Array.from(bytes);
}

/**
 * @param {Uint8Array} memory
 * @param {number} at where a text begins that is UTF-8 and ends with a zero
 * @returns {string}
 */
export function decode(memory, at) {
  let escaped = '';
  for (; memory[at] !== 0; ++at) escaped += '%' + memory[at].toString(16).padStart(2, '0');
  return decodeURIComponent(escaped);
}
