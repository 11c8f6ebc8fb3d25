// SPDX-License-Identifier: MIT
//
// Canvases: the scrolling spectrograms and the beam pattern over all frequencies.
import { fft } from './fft.js';
import { kBins } from './pattern.js';

const kColumnsPerSecond = 50;
const kRows = 128;
const kFloor = -88; // dB of full scale, the darkest
const kRange = 66;

/** Stops of a colour scale from quiet to loud, of even lightness steps. */
const scales = {
  light: [[246, 248, 251], [205, 221, 240], [126, 170, 218], [48, 104, 176], [22, 50, 108], [10, 22, 52]],
  dark: [[15, 20, 30], [24, 42, 80], [36, 84, 150], [64, 146, 196], [140, 205, 210], [244, 246, 220]],
};

function palette(dark) {
  const stops = dark ? scales.dark : scales.light;
  const colors = new Uint8ClampedArray(4 * 256);
  for (let i = 0; i < 256; ++i) {
    const place = (i / 255) * (stops.length - 1);
    const stop = Math.min(stops.length - 2, Math.floor(place));
    for (let c = 0; c < 3; ++c) colors[4 * i + c] = stops[stop][c] + (place - stop) * (stops[stop + 1][c] - stops[stop][c]);
    colors[4 * i + 3] = 255;
  }
  return colors;
}

const darkness = matchMedia('(prefers-color-scheme: dark)');

/** Calls back when the colours change. */
export const onColors = (call) => darkness.addEventListener('change', call);

/** Time goes to the left; the newest column is at the right edge. */
export class Spectrogram {
  constructor(canvas) {
    this.canvas = canvas;
    this.width = 8 * kColumnsPerSecond;
    canvas.width = this.width;
    canvas.height = kRows;
    this.paint = canvas.getContext('2d', { alpha: false });
    this.columns = new Uint8Array(this.width * kRows);
    this.colors = palette(darkness.matches);
    this.reset(16000);
    onColors(() => {
      this.colors = palette(darkness.matches);
      this.#draw(this.width);
    });
  }

  reset(rate) {
    this.size = rate > 24000 ? 1024 : 512;
    this.hop = rate / kColumnsPerSecond;
    this.window = Float64Array.from({ length: this.size }, (_, i) => 0.5 - 0.5 * Math.cos((2 * Math.PI * i) / this.size));
    this.re = new Float64Array(this.size);
    this.im = new Float64Array(this.size);
    this.recent = new Float32Array(this.size);
    this.due = this.hop;
    this.bins = (Math.min(8000, rate / 2) / rate) * this.size;
    this.columns.fill(0);
    this.fresh = this.width;
  }

  /** Takes samples; nothing is drawn before `draw`. */
  add(samples) {
    for (let from = 0; from < samples.length;) {
      const to = Math.min(samples.length, from + Math.ceil(this.due));
      this.recent.copyWithin(0, to - from);
      this.recent.set(samples.subarray(from, to), this.size - (to - from));
      this.due -= to - from;
      from = to;
      if (this.due <= 0) {
        this.due += this.hop;
        this.#column();
      }
    }
  }

  #column() {
    for (let i = 0; i < this.size; ++i) {
      this.re[i] = this.recent[i] * this.window[i];
      this.im[i] = 0;
    }
    fft(this.re, this.im);
    this.columns.copyWithin(0, kRows);
    const at = (this.width - 1) * kRows;
    const full = (this.size / 4) ** 2;
    for (let row = 0; row < kRows; ++row) {
      const k = Math.min(this.size / 2 - 1, Math.max(1, Math.round((row / kRows) * this.bins)));
      const db = 10 * Math.log10((this.re[k] ** 2 + this.im[k] ** 2) / full + 1e-12);
      this.columns[at + row] = Math.max(0, Math.min(255, (255 * (db - kFloor)) / kRange));
    }
    this.fresh = Math.min(this.width, this.fresh + 1);
  }

  /** Draws what came since the last time. */
  draw() {
    if (this.fresh === 0) return;
    if (this.fresh < this.width) this.paint.drawImage(this.canvas, -this.fresh, 0);
    this.#draw(this.fresh);
    this.fresh = 0;
  }

  #draw(count) {
    const image = this.paint.createImageData(count, kRows);
    const words = new Uint32Array(image.data.buffer);
    const colors = new Uint32Array(this.colors.buffer);
    for (let x = 0; x < count; ++x) {
      const at = (this.width - count + x) * kRows;
      for (let row = 0; row < kRows; ++row) words[(kRows - 1 - row) * count + x] = colors[this.columns[at + row]];
    }
    this.paint.putImageData(image, this.width - count, 0);
  }
}

const kOverviewRows = 96;
const kOverviewColumns = 180;

/** The pattern at all frequencies: direction from left to right, frequency upwards. */
export class Overview {
  constructor(canvas) {
    this.canvas = canvas;
    canvas.width = kOverviewColumns;
    canvas.height = kOverviewRows;
    this.paint = canvas.getContext('2d', { alpha: false });
    this.colors = palette(darkness.matches);
    onColors(() => { this.colors = palette(darkness.matches); });
  }

  /** How a plane wave reaches the microphones does not depend on the steering: computed once for an array. */
  #waves(pattern, most) {
    const key = `${pattern.key},${most}`;
    if (key === this.key) return;
    this.key = key;
    this.top = Math.min(kBins - 1, pattern.binOf(8000));
    this.bins = Array.from({ length: kOverviewRows }, (_, row) => Math.max(1, Math.round(((row + 0.5) / kOverviewRows) * this.top)));
    this.waves = this.bins.map((bin) => {
      const row = [];
      for (let x = 0; x < kOverviewColumns; ++x) row.push(...pattern.wave(most * (1 - (x + 0.5) / kOverviewColumns), bin));
      return Float32Array.from(row);
    });
  }

  draw(pattern, state, angle) {
    const most = state.shape === 'line' ? 180 : 360;
    this.#waves(pattern, most);
    const image = this.paint.createImageData(kOverviewColumns, kOverviewRows);
    const words = new Uint32Array(image.data.buffer);
    const colors = new Uint32Array(this.colors.buffer);
    const powers = new Float32Array(kOverviewColumns);
    this.bins.forEach((bin, row) => {
      let loudest = 1e-12;
      for (let x = 0; x < kOverviewColumns; ++x) {
        powers[x] = pattern.power(this.waves[row], 2 * x * pattern.answers.length, bin);
        loudest = Math.max(loudest, powers[x]);
      }
      const at = (kOverviewRows - 1 - row) * kOverviewColumns;
      for (let x = 0; x < kOverviewColumns; ++x) {
        const db = 10 * Math.log10(Math.max(powers[x], 1e-12) / loudest);
        words[at + x] = colors[Math.max(0, Math.min(255, Math.round(235 * (1 + db / 30))))];
      }
    });
    this.paint.putImageData(image, 0, 0);
    this.share = { left: 1 - angle / most, top: 1 - pattern.binOf(state.frequency) / this.top };
  }
}
