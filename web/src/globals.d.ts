// SPDX-License-Identifier: MIT
//
// What an AudioWorklet and node have besides; TypeScript's own library does not know it.
declare const sampleRate: number;
declare class AudioWorkletProcessor {
  readonly port: MessagePort;
}
declare function registerProcessor(name: string, processor: new (options: any) => AudioWorkletProcessor): void;

declare const process: unknown;
declare module 'node:fs/promises' {
  export function readFile(url: URL): Promise<Uint8Array>;
}
