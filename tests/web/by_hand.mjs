// SPDX-License-Identifier: MIT
//
// The sound of by_hand.c, and what that program makes of it.
import { execFileSync } from 'node:child_process';
import { closeSync, mkdtempSync, openSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

export function noise(channels, frames) {
  const sound = new Int16Array(channels * frames);
  for (let i = 0, state = 1; i < sound.length; ++i) {
    state = (Math.imul(state, 1664525) + 1013904223) | 0;
    sound[i] = state >> 18;
  }
  return sound;
}

/** What the program prints, through a file: it ends before a pipe has taken everything. */
export function byHand() {
  const scratch = mkdtempSync(join(tmpdir(), 'vekbf-'));
  try {
    const file = join(scratch, 'samples');
    const output = openSync(file, 'w');
    execFileSync(process.execPath, ['--no-experimental-fetch', process.env.VEKBF_BY_HAND], { stdio: ['ignore', output, 'inherit'] });
    closeSync(output);
    return readFileSync(file, 'utf8').trim().split('\n').map(Number);
  } finally {
    rmSync(scratch, { recursive: true });
  }
}
