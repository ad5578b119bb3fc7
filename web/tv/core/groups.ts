// SPDX-License-Identifier: MIT
// The groups of the person whose television this is.
import { Signal } from '../../common/signal';
import * as api from './api';
import { onLive } from './live';
import { insist, Newest } from './reading';
import type { Group } from './records';
import { onForget } from './state';

/** Null until they are known. */
export const groups = new Signal<readonly Group[] | null>(null);

const never = new AbortController().signal;
const newest = new Newest(
  () => insist(api.groups, never),
  (answer) => {
    groups.value = answer.groups;
  },
);

/** Reads them anew; several askers are one reading. What cannot be had leaves them as they are. */
export const readGroups = (): Promise<void> => newest.read().catch(() => undefined);

/** Has them read where they are not known, and nobody is reading them yet. */
export function wantGroups(): void {
  if (groups.value === null && !newest.isReading) void readGroups();
}

/** Changes of so long, in milliseconds, are one reading. */
const SETTLE = 500;

function refresh(): void {
  // Before anybody wants to know them there is nothing to keep up.
  if (groups.value !== null || newest.isReading) newest.soon(SETTLE);
}

export function startGroups(): void {
  for (const kind of ['groups', 'content', 'deleted', 'reset', 'index'] as const) onLive(kind, refresh);
  onForget(() => {
    newest.discard();
    groups.value = null;
  });
}

export const nameOf = (id: string): string => groups.value?.find((group) => group.id === id)?.name ?? '';
