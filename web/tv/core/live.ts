// SPDX-License-Identifier: MIT
// What happens while the page is open: new photos, comments, deletions, the state of the service.
import { EventStream } from '../../common/eventStream';
import type { ServerEvent } from '../../common/sseParser';
import { EVENTS } from './api';
import type { Guests, Settings, State } from './records';

export interface LiveEvents {
  content: { group: string; content_id: string; index: number | null };
  deleted: { group: string; content_id: string };
  comment: { group: string; content_id: string };
  index: { group: string; complete: boolean; total: number };
  groups: Record<string, never>;
  state: State;
  guests: Guests | null;
  settings: Settings;
  version: { version: string };
  /** What was missed is not known: everything is to be read anew. */
  reset: Record<string, never>;
}

type Listener<K extends keyof LiveEvents> = (data: LiveEvents[K]) => void;
const listeners = new Map<string, Set<(data: never) => void>>();

/** Returns what ends it. */
export function onLive<K extends keyof LiveEvents>(kind: K, listener: Listener<K>): () => void {
  const set = listeners.get(kind) ?? new Set();
  listeners.set(kind, set);
  set.add(listener);
  return () => {
    set.delete(listener);
  };
}

export function tellLive<K extends keyof LiveEvents>(kind: K, data: LiveEvents[K]): void {
  for (const listener of [...(listeners.get(kind) ?? [])]) (listener as Listener<K>)(data);
}

function onEvent({ event, data }: ServerEvent): void {
  let told: unknown;
  try {
    told = JSON.parse(data);
  } catch {
    return;
  }
  tellLive(event as keyof LiveEvents, told as never);
}

// What the first view has read may be older than the line.
const stream = new EventStream(EVENTS, onEvent, () => tellLive('reset', {}));

export function startLive(): void {
  stream.start();
  addEventListener('online', () => stream.hasten());
}

/** The program answers again: no reason to wait for the line's next attempt. */
export const hastenLive = (): void => stream.hasten();
