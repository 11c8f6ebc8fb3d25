// SPDX-License-Identifier: MIT
//
// What the page is set to: one record, its words for the library and the tool, and its link.

/** The speed of sound in the air of the made scene, metres per second; the setting is what the library is told. */
export const kAir = 343;

export const initial = Object.freeze({
  source: 'scene', // scene, file or live
  shape: 'line',
  mics: 4,
  spacing: 80, // mm, of neighbours
  algorithm: 'fixed',
  intensity: 3,
  speed: 343,
  angle: 60,
  follow: false, // the direction finder steers
  frequency: 1500,
  talker: 60,
  second: 145,
  noise: 105,
  talkerDb: 0,
  secondDb: -4,
  noiseDb: -8,
  hear: 'beam', // microphone, beam or talker
  equal: false,
  channels: '', // of the file, as 1,3,5,7; all if empty
});

/** Range of each number, and its step. */
export const ranges = Object.freeze({
  mics: [1, 4, 1],
  spacing: [10, 150, 1],
  intensity: [0, 10, 1],
  speed: [300, 380, 1],
  angle: [0, 359, 1],
  frequency: [250, 7500, 250],
  talker: [0, 359, 1],
  second: [0, 359, 1],
  noise: [0, 359, 1],
  talkerDb: [-30, 0, 1],
  secondDb: [-30, 0, 1],
  noiseDb: [-30, 0, 1],
});

const words = {
  source: ['scene', 'file', 'live'],
  shape: ['line', 'square'],
  algorithm: ['fixed', 'adaptive'],
  hear: ['microphone', 'beam', 'talker'],
};

export const presets = Object.freeze([
  { name: 'Meeting bar: line of 4, 80 mm', shape: 'line', mics: 4, spacing: 80 },
  { name: 'Small line of 4, 35 mm', shape: 'line', mics: 4, spacing: 35 },
  { name: 'Pair, 50 mm', shape: 'line', mics: 2, spacing: 50 },
  { name: 'Laptop lid: pair, 120 mm', shape: 'line', mics: 2, spacing: 120 },
  { name: 'Square of 4, 64 mm', shape: 'square', mics: 4, spacing: 64 },
  { name: 'Three corners of a square, 64 mm', shape: 'square', mics: 3, spacing: 64 },
  { name: 'One microphone', shape: 'line', mics: 1, spacing: 80 },
]);

/** What cannot be is brought to what can: a square has three corners at least. */
export function sound(state) {
  return state.shape === 'square' && state.mics < 3 ? { ...state, mics: 4 } : state;
}

/** Places of the microphones in metres. */
export function positions({ shape, mics, spacing }) {
  const metres = spacing / 1000;
  if (shape === 'line') return Array.from({ length: mics }, (_, m) => [m * metres, 0]);
  const radius = metres / Math.SQRT2;
  return [[radius, 0], [0, radius], [-radius, 0], [0, -radius]].slice(0, mics);
}

/** A line hears front and back alike: its angles are 0 to 180. */
export function heardAngle({ shape }, angle) {
  const turn = ((Math.round(angle) % 360) + 360) % 360;
  return shape === 'line' && turn > 180 ? 360 - turn : turn;
}

/** The array in the words of the option file, as [key, value] pairs. */
function arrayWords(state) {
  if (state.shape === 'line' && state.mics > 1) return [['array', `line:${state.mics}:${state.spacing}mm`]];
  if (state.shape === 'square' && state.mics === 4) return [['array', `square:${state.spacing}mm`]];
  const places = positions(state).map(([x, y]) => `${Number(x.toFixed(6))},${Number(y.toFixed(6))}`);
  return [['geometry', state.shape === 'line' ? 'linear' : 'triangle'], ...places.map((place) => ['mic', place])];
}

/** All settings as [key, value] pairs; time goes on through digital silence, as in the page. */
function pairs(state) {
  const list = arrayWords(state);
  if (state.source === 'file' && state.channels !== '') list.push(['channels', state.channels]);
  list.push(['algorithm', state.algorithm]);
  if (state.algorithm === 'adaptive') list.push(['intensity', state.intensity]);
  if (state.speed !== 343) list.push(['sound-speed', state.speed]);
  if (state.follow && state.mics > 1) list.push(['angle', 'auto'], ['angle-start', heardAngle(state, state.angle)]);
  else list.push(['angle', heardAngle(state, state.angle)]);
  return list;
}

/** The settings of a Beam; `listen` adds the direction finder, whose angle the caller overrides. */
export function beamSettings(state, listen = false) {
  const settings = {};
  const places = [];
  for (const [key, value] of pairs(listen ? { ...state, follow: true } : state)) {
    if (key === 'mic') places.push(value.replace(',', ', '));
    else settings[key] = value;
  }
  if (places.length > 0) settings.mics = places;
  return settings;
}

const quoted = (name) => (/^[\w.,/-]+$/.test(name) && !name.startsWith('-') ? name : `'${(name.startsWith('-') ? `./${name}` : name).replaceAll("'", "'\\''")}'`);

/** In lines of a width that a narrow column shows, joined by the shell. */
export function commandLine(state, input = 'microphones.wav') {
  const lines = [`vekbf process ${quoted(input)} beam.wav`];
  const options = [...pairs(state).map(([key, value]) => `--${key} ${value}`), '--keep-time'];
  for (const option of options) {
    if (lines.length > 1 && lines.at(-1).length + option.length < 38) lines[lines.length - 1] += ` ${option}`;
    else lines.push(`  ${option}`);
  }
  return lines.join(' \\\n');
}

export function optionFile(state) {
  const lines = pairs(state).filter(([key]) => key !== 'mic').map(([key, value]) => `${key} = ${value}`);
  const places = pairs(state).filter(([key]) => key === 'mic').map(([, value]) => value);
  if (places.length > 0) lines.splice(1, 0, `mics = ${places.join('; ')}`);
  return [...lines, 'keep-time = yes', ''].join('\n');
}

/** What differs from the beginning, for the part of the address behind #. A file or a microphone cannot be linked. */
export function toLink(state) {
  const query = new URLSearchParams();
  for (const [key, value] of Object.entries(initial)) {
    if (key !== 'source' && key !== 'channels' && state[key] !== value) query.set(key, String(state[key]));
  }
  return query.toString();
}

/** The state that a link describes; what it says wrongly stays as it was. */
export function fromLink(text) {
  const state = { ...initial };
  for (const [key, value] of new URLSearchParams(text)) {
    if (!Object.hasOwn(initial, key) || key === 'source' || key === 'channels') continue;
    if (ranges[key]) {
      const [least, most] = ranges[key];
      if (/^-?\d+$/.test(value) && Number(value) >= least && Number(value) <= most) state[key] = Number(value);
    } else if (words[key]) {
      if (words[key].includes(value)) state[key] = value;
    } else if (value === 'true' || value === 'false') {
      state[key] = value === 'true';
    }
  }
  return sound(state);
}
