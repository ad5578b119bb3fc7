// SPDX-License-Identifier: MIT
// The rail of years and months: a list of both, of which a window around one entry is shown.
import type { Month } from './records';

export interface RailEntry {
  readonly kind: 'year' | 'month';
  /** "2026", or "2026-11". */
  readonly name: string;
  /** The month that it leads to. */
  readonly month: string;
}

export function railOf(months: readonly Month[]): RailEntry[] {
  const entries: RailEntry[] = [];
  let year = '';
  for (const { month } of months) {
    if (month === '') continue;
    const its = month.slice(0, 4);
    if (its !== year) entries.push({ kind: 'year', name: its, month });
    year = its;
    entries.push({ kind: 'month', name: month, month });
  }
  return entries;
}

/** The entry of a month itself; -1 where it has none. */
export const entryOf = (entries: readonly RailEntry[], month: string): number => entries.findIndex((one) => one.kind === 'month' && one.name === month);

/** From a year, arrows that are held go from year to year. */
export function railStep(entries: readonly RailEntry[], at: number, by: number): number {
  return Math.min(entries.length - 1, Math.max(0, at + by));
}

/** The next entry that is a year, in one direction; the same where there is none. */
export function yearStep(entries: readonly RailEntry[], at: number, by: 1 | -1): number {
  for (let to = at + by; to >= 0 && to < entries.length; to += by) if (entries[to]?.kind === 'year') return to;
  return by < 0 ? 0 : entries.length - 1;
}

/** The first entry of a window of so many that has the entry in its middle, as far as the ends allow it. */
export function windowAt(count: number, at: number, size: number): number {
  return Math.max(0, Math.min(at - Math.floor(size / 2), count - size));
}
