// SPDX-License-Identifier: MIT
// What a grid of photos can show: a group, or a list that this television keeps.
import * as api from './api';
import type { Contents, Item, Months } from './records';

export interface Source {
  readonly key: string;
  /** Empty where its photos are of several groups. */
  readonly group: string;
  readonly months: () => Promise<Months>;
  readonly contents: (index: number, count: number, signal: AbortSignal) => Promise<Contents>;
  /** Contents of a month whose place is not known yet. */
  readonly ofMonth: (month: string, count: number, signal: AbortSignal) => Promise<readonly Item[]>;
}

export const groupSource = (group: string): Source => ({
  key: group,
  group,
  months: () => api.months(group),
  contents: (index, count, signal) => api.contents(group, index, count, signal),
  ofMonth: async (month, count, signal) => (await api.contentsOfMonth(group, month, count, signal)).contents,
});

/** One list without months. */
export const keptSource = (which: 'hidden' | 'marked'): Source => ({
  key: which,
  group: '',
  months: async () => {
    const { total } = await api.kept(which, 0, 1);
    return { complete: true, total, months: total === 0 ? [] : [{ month: '', count: total, index: 0 }] };
  },
  contents: (index, count, signal) => api.kept(which, index, count, signal),
  ofMonth: () => Promise.resolve([]),
});
