// SPDX-License-Identifier: MIT
//
// The picture from above: the array to scale, the angles, the beam with its measured pattern, the sources, and what the
// direction finder hears. Everything that can be turned is a slider for keyboards and screen readers.
import { heardAngle, positions } from './state.js';

const kNamespace = 'http://www.w3.org/2000/svg';
const kRim = 164;
const kFloorDb = 30;
const kSourceRing = 207;
const kEvidence = 20;
/** The array is drawn this large at most, and a millimetre is this long at most. */
const kArray = 112;
const kMostScale = 1.1;

const radians = (degrees) => (degrees * Math.PI) / 180;
const at = (degrees, radius) => [radius * Math.cos(radians(degrees)), -radius * Math.sin(radians(degrees))];
const path = (points) => `M${points.map(([x, y]) => `${x.toFixed(1)} ${y.toFixed(1)}`).join('L')}`;

function make(name, attributes = {}, ...children) {
  const element = document.createElementNS(kNamespace, name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, String(value));
  element.append(...children);
  return element;
}

const icons = {
  talker: 'M-5 -6.5a5 5 0 1 1 10 0a5 5 0 1 1 -10 0M-9 8.5c0 -6 4 -8.5 9 -8.5s9 2.5 9 8.5z',
  noise: 'M0 -1.5c-6 -2 -4 -9.5 1.5 -9c4 1 2 6.500 -1.500 9M1.500 .5c6 -3 11 3 7.500 7c-3.500 3 -7 -2 -7.500 -7M-1.500 .5c-1 6 -8.500 6.500 -9.500 2c-.5 -4.500 6 -4.500 9.500 -2',
};

export class Dial {
  /**
   * @param {SVGElement} svg
   * @param {(change: object) => void} change is called with what was turned
   */
  constructor(svg, change) {
    this.svg = svg;
    this.change = change;
    const layer = (...children) => svg.appendChild(make('g', {}, ...children));

    layer(...this.#scale());
    this.evidence = make('path', { class: 'evidence' });
    this.pattern = make('path', { class: 'pattern' });
    layer(this.evidence, this.pattern);

    this.array = layer();
    this.mirror = make('line', { class: 'mirror' });
    this.needle = make('g', { class: 'needle' }, make('path', { d: path([[0, -4], [kRim - 12, 0], [0, 4]]) + 'z' }));
    this.beamLine = make('line', { class: 'beam-line' });
    layer(this.mirror, this.needle, this.beamLine);

    this.knobs = new Map();
    this.sources = layer();
    for (const [name, label, icon] of [['talker', 'A', icons.talker], ['second', 'B', icons.talker], ['noise', 'Fan', icons.noise]]) {
      const knob = this.#knob(name, this.sources, { talker: 'Talker A', second: 'Talker B', noise: 'Fan' }[name]);
      knob.append(make('circle', { r: 19, class: 'body' }), make('path', { d: icon, class: 'icon' }),
        make('text', { y: 34, class: 'name' }, label));
    }
    const beam = this.#knob('angle', layer(), 'Beam direction');
    beam.append(make('circle', { r: 22, class: 'touch' }), make('circle', { r: 12, class: 'body' }),
      make('path', { d: 'M-4.500 0h9M1 -3.500l3.500 3.500l-3.500 3.500', class: 'icon' }));

    svg.addEventListener('pointerdown', (event) => this.#grab(event));
    svg.addEventListener('pointermove', (event) => this.#drag(event));
    svg.addEventListener('click', (event) => {
      if (event.pointerType === 'touch' && !event.target.closest('.knob')) this.#turned('angle', heardAngle(this.state, this.#angleOf(event)));
    });
    for (const end of ['pointerup', 'pointercancel']) svg.addEventListener(end, () => { this.held = null; svg.classList.remove('dragging'); });
  }

  *#scale() {
    for (const db of [0, -10, -20]) {
      yield make('circle', { r: kRim * (1 + db / kFloorDb), class: db === 0 ? 'rim' : 'ring' });
      const [x, y] = at(-45, kRim * (1 + db / kFloorDb));
      if (db < 0) yield make('text', { x, y: y + 3.5, class: 'level' }, `${db} dB`.replace('-', '\u2212'));
    }
    for (let degrees = 0; degrees < 360; degrees += 10) {
      const [x1, y1] = at(degrees, kRim);
      const [x2, y2] = at(degrees, kRim - (degrees % 30 === 0 ? 8 : 4));
      yield make('line', { x1, y1, x2, y2, class: 'tick' });
      if (degrees % 30 !== 0) continue;
      const [x, y] = at(degrees, kRim - 21);
      yield make('text', { x, y: y + 4, class: 'degrees' }, `${degrees}°`);
    }
  }

  #knob(name, parent, label) {
    const knob = make('g', { class: `knob ${name}`, role: 'slider', tabindex: 0, 'aria-label': label, 'aria-valuemin': 0, 'aria-valuemax': 359 });
    knob.dataset.name = name;
    knob.addEventListener('keydown', (event) => this.#key(event, name));
    parent.append(knob);
    this.knobs.set(name, knob);
    return knob;
  }

  #key(event, name) {
    const steps = { ArrowLeft: 1, ArrowUp: 1, ArrowRight: -1, ArrowDown: -1, PageUp: 10, PageDown: -10 };
    const most = name === 'angle' && this.state.shape === 'line' ? 180 : 359;
    let angle = this.state[name];
    if (name === 'angle') angle = heardAngle(this.state, angle);
    if (event.key in steps) angle += steps[event.key] * (event.shiftKey ? 5 : 1);
    else if (event.key === 'Home') angle = 0;
    else if (event.key === 'End') angle = most;
    else return;
    event.preventDefault();
    angle = most === 180 ? Math.max(0, Math.min(180, angle)) : (angle + 360) % 360;
    this.#turned(name, angle);
  }

  #turned(name, angle) {
    this.change(name === 'angle' ? { angle, follow: false } : { [name]: angle });
  }

  #angleOf(event) {
    const box = this.svg.getBoundingClientRect();
    const degrees = (Math.atan2(box.top + box.height / 2 - event.clientY, event.clientX - box.left - box.width / 2) * 180) / Math.PI;
    return (Math.round(degrees) + 360) % 360;
  }

  #grab(event) {
    if (event.button !== 0) return;
    const knob = event.target.closest('.knob');
    const box = this.svg.getBoundingClientRect();
    const unit = box.width / this.svg.viewBox.baseVal.width;
    const radius = Math.hypot(event.clientX - box.left - box.width / 2, event.clientY - box.top - box.height / 2) / unit;
    if (!knob && radius > kRim + 30) return;
    if (!knob && event.pointerType === 'touch') return; // a tap turns the beam, a swipe scrolls the page
    event.preventDefault();
    this.held = knob?.dataset.name ?? 'angle';
    this.knobs.get(this.held).focus({ preventScroll: true });
    this.svg.setPointerCapture(event.pointerId);
    this.svg.classList.add('dragging');
    if (!knob) this.#drag(event);
  }

  #drag(event) {
    if (!this.held) return;
    const angle = this.#angleOf(event);
    this.#turned(this.held, this.held === 'angle' ? heardAngle(this.state, angle) : angle);
  }

  #place(name, angle, radius, text) {
    const knob = this.knobs.get(name);
    const [x, y] = at(angle, radius);
    knob.setAttribute('transform', name === 'angle' ? `translate(${x.toFixed(1)} ${y.toFixed(1)}) rotate(${-angle})` : `translate(${x.toFixed(1)} ${y.toFixed(1)})`);
    knob.setAttribute('aria-valuenow', String(angle));
    knob.setAttribute('aria-valuetext', text);
  }

  /** Draws a state; `looks` is where the beam looks in fact, which differs while the finder steers. */
  draw(state, looks) {
    const former = this.state;
    this.state = state;
    const angle = heardAngle(state, looks);
    const line = state.shape === 'line';
    const scene = state.source === 'scene';
    if (!former || ['shape', 'mics', 'spacing'].some((key) => former[key] !== state[key])) this.#drawArray();
    this.sources.style.display = scene ? '' : 'none';
    for (const name of ['talker', 'second', 'noise']) {
      this.#place(name, state[name], kSourceRing, `${state[name]} degrees`);
      this.knobs.get(name).classList.toggle('off', state[`${name}Db`] <= -30);
    }
    this.#place('angle', angle, kRim, `${angle} degrees${state.follow ? ', by the direction finder' : ''}`);
    this.knobs.get('angle').setAttribute('aria-valuemax', line ? '180' : '359');
    const [x, y] = at(angle, kRim - 12);
    this.beamLine.setAttribute('x2', x);
    this.beamLine.setAttribute('y2', y);
    const [mx, my] = at(-angle, kRim);
    this.mirror.setAttribute('x2', mx);
    this.mirror.setAttribute('y2', my);
    this.mirror.style.display = line && angle % 180 !== 0 && state.mics > 1 ? '' : 'none';
  }

  drawPattern(decibels) {
    const points = decibels.map((db, d) => at((360 * d) / decibels.length, Math.max(0, kRim * (1 + db / kFloorDb))));
    this.pattern.setAttribute('d', `${path(points)}Z`);
  }

  /** @param {{ angle: number, confidence: number } | null} direction
   * @param {Float32Array | null} map evidence by degree */
  drawDirection(direction, map) {
    const shown = direction !== null && direction.angle >= 0;
    this.needle.style.display = shown ? '' : 'none';
    if (shown) {
      this.needle.setAttribute('transform', `rotate(${-direction.angle})`);
      this.needle.style.opacity = String(0.25 + 0.75 * direction.confidence);
    }
    this.evidence.style.display = map ? '' : 'none';
    if (!map) return;
    const most = Math.max(...map, 1e-6);
    const outer = [];
    for (let d = 0; d <= 360; d += 3) outer.push(at(d, kRim + kEvidence * Math.max(0, map[d % 360] / most)));
    const inner = [];
    for (let d = 360; d >= 0; d -= 6) inner.push(at(d, kRim));
    this.evidence.setAttribute('d', `${path(outer)}Z${path(inner)}Z`);
  }

  #drawArray() {
    const places = positions(this.state).map(([x, y]) => [1000 * x, 1000 * y]);
    const middle = [0, 1].map((axis) => (Math.min(...places.map((p) => p[axis])) + Math.max(...places.map((p) => p[axis]))) / 2);
    const centre = this.state.shape === 'square' ? [0, 0] : middle;
    const extent = Math.max(...places.map((p) => 2 * Math.max(Math.abs(p[0] - centre[0]), Math.abs(p[1] - centre[1]))), 1);
    const scale = Math.min(kMostScale, kArray / extent);
    const bar = [1, 2, 5, 10, 20, 50].find((cm) => 10 * cm * scale >= 28) ?? 50;
    const drawn = places.map(([x, y]) => [(x - centre[0]) * scale, -(y - centre[1]) * scale]);
    this.array.replaceChildren(
      ...(drawn.length > 1 ? [make('path', { d: path(drawn) + (drawn.length > 2 ? 'Z' : ''), class: 'frame' })] : []),
      ...drawn.map(([x, y], m) => make('circle', { cx: x, cy: y, r: 6, class: m === 0 ? 'mic first' : 'mic' })),
      ...drawn.map(([x, y], m) => make('text', { x, y: y + 19, class: 'mic-name' }, String(m))),
      make('g', { class: 'bar', transform: 'translate(-226 222)' },
        make('path', { d: `M0 -4v4h${10 * bar * scale}v-4` }), make('text', { x: 5 * bar * scale, y: 14 }, `${bar} cm`)));
  }
}
