// SPDX-License-Identifier: MIT
// How long nobody has touched anything.

let last = performance.now();
const listeners = new Set<() => void>();

export function noteInput(): void {
  last = performance.now();
  for (const listener of [...listeners]) listener();
}

/** Milliseconds since the last key, move or touch. */
export const idleFor = (): number => performance.now() - last;

/** Hears of every key, move and touch; returns what ends it. */
export function onInput(listener: () => void): () => void {
  listeners.add(listener);
  return () => {
    listeners.delete(listener);
  };
}

/** Calls when nobody has touched anything for so many minutes, again and again while that lasts; the function says how many, 0 is never. */
export function watchIdle(minutes: () => number, onIdle: () => void): void {
  setInterval(() => {
    const limit = minutes();
    if (limit > 0 && idleFor() >= limit * 60_000) onIdle();
  }, 1000);
}
