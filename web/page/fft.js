// SPDX-License-Identifier: MIT
//
// Radix-2 transform in place (Cooley and Tukey 1965), for pictures and the measured beam pattern.

const tables = new Map();

function table(size) {
  let made = tables.get(size);
  if (!made) {
    made = { cos: new Float64Array(size / 2), sin: new Float64Array(size / 2) };
    for (let k = 0; k < size / 2; ++k) {
      made.cos[k] = Math.cos((2 * Math.PI * k) / size);
      made.sin[k] = -Math.sin((2 * Math.PI * k) / size);
    }
    tables.set(size, made);
  }
  return made;
}

/** Replaces re + j im, a power of two long, by its spectrum. */
export function fft(re, im) {
  const size = re.length;
  const { cos, sin } = table(size);
  for (let i = 1, j = 0; i < size; ++i) {
    let bit = size >> 1;
    for (; j & bit; bit >>= 1) j ^= bit;
    j ^= bit;
    if (i < j) {
      [re[i], re[j]] = [re[j], re[i]];
      [im[i], im[j]] = [im[j], im[i]];
    }
  }
  for (let length = 2; length <= size; length <<= 1) {
    const half = length >> 1;
    const step = size / length;
    for (let start = 0; start < size; start += length) {
      for (let k = 0; k < half; ++k) {
        const p = start + k;
        const q = p + half;
        const real = re[q] * cos[k * step] - im[q] * sin[k * step];
        const imaginary = re[q] * sin[k * step] + im[q] * cos[k * step];
        re[q] = re[p] - real;
        im[q] = im[p] - imaginary;
        re[p] += real;
        im[p] += imaginary;
      }
    }
  }
}
