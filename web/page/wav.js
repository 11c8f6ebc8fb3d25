// SPDX-License-Identifier: MIT
//
// WAV files as the tool reads them: every sample rounded to 16 bits, nearest, ties to even, clipped. (The browser's own
// decoder would resample.)

/** What is wrong with a file, as one sentence. */
export class FileFault extends Error {}

const kPcm = 1;
const kFloat = 3;
const kExtensible = 0xfffe;

/** Full scale 32768 in, a 16-bit sample out. */
export function rounded(value) {
  if (Number.isNaN(value)) return 0;
  const low = Math.floor(value);
  const rest = value - low;
  const whole = rest > 0.5 || (rest === 0.5 && low % 2 !== 0) ? low + 1 : low;
  return whole > 32767 ? 32767 : whole < -32768 ? -32768 : whole;
}

/** A reader of one sample at a place, with full scale 32768; null for a form that is not taken. */
function reader(view, form, bits) {
  if (form === kPcm && bits === 16) return (at) => view.getInt16(at, true);
  if (form === kPcm && bits === 24) return (at) => (view.getInt16(at + 1, true) * 256 + view.getUint8(at)) / 256;
  if (form === kPcm && bits === 32) return (at) => view.getInt32(at, true) / 65536;
  if (form === kFloat && bits === 32) return (at) => view.getFloat32(at, true) * 32768;
  if (form === kFloat && bits === 64) return (at) => view.getFloat64(at, true) * 32768;
  return null;
}

/**
 * @param {ArrayBuffer} buffer
 * @returns {{ rate: number, channels: number, frames: number, samples: Int16Array, note: string }} samples are
 * interleaved; the note is empty or one sentence
 */
export function readWav(buffer) {
  const view = new DataView(buffer);
  const tag = (at) => (at + 4 <= view.byteLength ? String.fromCharCode(...new Uint8Array(buffer, at, 4)) : '');
  if (!['RIFF', 'RF64'].includes(tag(0)) || tag(8) !== 'WAVE') {
    throw new FileFault('This is not a WAV file; record or convert to WAV with one channel per microphone.');
  }
  let format = null;
  let data = null;
  for (let at = 12; at + 8 <= view.byteLength;) {
    const size = view.getUint32(at + 4, true);
    const here = at + 8;
    if (tag(at) === 'fmt ' && here + 16 <= view.byteLength) {
      let form = view.getUint16(here, true);
      if (form === kExtensible && here + 26 <= view.byteLength) form = view.getUint16(here + 24, true);
      format = { form, channels: view.getUint16(here + 2, true), rate: view.getUint32(here + 4, true), bits: view.getUint16(here + 14, true) };
    }
    if (tag(at) === 'data') {
      data = { here, size };
      break;
    }
    at = here + size + (size % 2);
  }
  if (format === null || data === null) throw new FileFault('The file is cut off before its sound begins.');
  const { form, channels, rate, bits } = format;
  const read = reader(view, form, bits);
  if (read === null) throw new FileFault('The samples have a form that the page does not read; 16, 24 or 32 bits or float would be right.');
  if (channels < 2) throw new FileFault('The file has one channel; a beam needs two to four microphones, one channel each.');
  if (channels > 64) throw new FileFault(`The file has ${channels} channels; at most 64 can be taken.`);
  if (rate < 8000 || rate > 48000) throw new FileFault(`The file has ${rate} samples a second; the library takes 8000 to 48000.`);
  const there = view.byteLength - data.here;
  const width = bits / 8;
  const frames = Math.floor(Math.min(there, data.size) / (width * channels));
  if (frames === 0) throw new FileFault('There is no sound in the file.');
  const samples = new Int16Array(frames * channels);
  for (let i = 0, at = data.here; i < samples.length; ++i, at += width) samples[i] = rounded(read(at));
  // Recorders that write to a pipe never learn the length and leave about 2^31 or 2^32 in its place.
  const open = data.size >= 0x7ffff000;
  const whole = data.size / (width * channels * rate);
  const note = data.size > there && !open
    ? `The file is cut off: ${(frames / rate).toFixed(1)} of ${whole.toFixed(1)} seconds are there, and are used.` : '';
  return { rate, channels, frames, samples, note };
}

/** @returns {ArrayBuffer} a 16-bit WAV file of interleaved samples */
export function writeWav(samples, channels, rate) {
  const bytes = 2 * samples.length;
  const view = new DataView(new ArrayBuffer(44 + bytes));
  const tag = (at, text) => [...text].forEach((letter, i) => view.setUint8(at + i, letter.charCodeAt(0)));
  tag(0, 'RIFF');
  view.setUint32(4, 36 + bytes, true);
  tag(8, 'WAVEfmt ');
  view.setUint32(16, 16, true);
  view.setUint16(20, kPcm, true);
  view.setUint16(22, channels, true);
  view.setUint32(24, rate, true);
  view.setUint32(28, 2 * channels * rate, true);
  view.setUint16(32, 2 * channels, true);
  view.setUint16(34, 16, true);
  tag(36, 'data');
  view.setUint32(40, bytes, true);
  for (let i = 0; i < samples.length; ++i) view.setInt16(44 + 2 * i, samples[i], true);
  return view.buffer;
}
