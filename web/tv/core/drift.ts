// SPDX-License-Identifier: MIT
// Nothing stays on one spot of the screen for ever: what stands still otherwise is moved by a little every minute.
import { Signal } from '../../common/signal';

export interface Drift {
  /** From -1 to 1, how far to the side and down. */
  readonly across: number;
  readonly down: number;
  /** Which of the four corners has its turn, 0 to 3. */
  readonly corner: number;
}

/** Two periods without a common measure: the path does not repeat for days. */
export function driftAt(minutes: number): Drift {
  return {
    across: Math.sin((minutes * 2 * Math.PI) / 37),
    down: Math.sin((minutes * 2 * Math.PI) / 23),
    corner: Math.floor(minutes / 15) % 4,
  };
}

const minutes = (): number => Math.floor(Date.now() / 60_000);

export const drift = new Signal<Drift>(driftAt(minutes()));
/** The minute, for clocks and nights. */
export const minute = new Signal<number>(minutes());

export function startDrift(): void {
  setInterval(() => {
    if (minutes() === minute.value) return;
    minute.value = minutes();
    drift.value = driftAt(minute.value);
  }, 1000);
}

/** The transform of what stands in a corner, 0 to 3 from the upper left: it wanders away from the edges and never over them. */
export function inward({ across, down }: Drift, corner: number, reach: number): string {
  const right = corner === 1 || corner === 2;
  const lower = corner >= 2;
  const way = (part: number, back: boolean): string => (((1 + part) / 2) * reach * (back ? -1 : 1)).toFixed(2);
  return `translate3d(${way(across, right)}rem, ${way(down, lower)}rem, 0)`;
}
