// SPDX-License-Identifier: MIT
// What happens at the service while the page is open.
import { EventStream } from '../../common/eventStream';
import type { ServerEvent } from '../../common/sseParser';
import { EVENTS } from './api';

export type LiveEvent =
  | { kind: 'content'; group: string; content: string }
  | { kind: 'comment'; group: string; content: string }
  | { kind: 'deleted'; group: string; content: string; comment: string | null }
  /** What was missed is not known: everything on screen is to be asked for again. */
  | { kind: 'everything' };

const listeners = new Set<(event: LiveEvent) => void>();
let onVersion: (version: string) => void = () => undefined;

/** Returns what ends it. */
export function onLive(listener: (event: LiveEvent) => void): () => void {
  listeners.add(listener);
  return () => {
    listeners.delete(listener);
  };
}

/** Tells the page's listeners, as though the service had told of it. */
export function tellLive(event: LiveEvent): void {
  for (const listener of [...listeners]) listener(event);
}

interface Data {
  group?: string;
  content_id?: string;
  comment_id?: string;
  version?: string;
}

/** The page's event that a server-sent one stands for; null for one that it does not know. */
export function liveEvent(name: string, text: string): LiveEvent | { kind: 'version'; version: string } | null {
  let data: Data;
  try {
    data = JSON.parse(text) as Data;
  } catch {
    return null;
  }
  const { group = '', content_id: content = '', comment_id: comment = null } = data;
  switch (name) {
    case 'content':
    case 'comment':
      return { kind: name, group, content };
    case 'deleted':
      return { kind: 'deleted', group, content, comment };
    case 'reset':
      return { kind: 'everything' };
    case 'version':
      return { kind: 'version', version: data.version ?? '' };
    default:
      return null;
  }
}

function onEvent({ event, data }: ServerEvent): void {
  const told = liveEvent(event, data);
  if (told === null) return;
  if (told.kind === 'version') onVersion(told.version);
  else tellLive(told);
}

// What the first view has read may be older than the line.
const stream = new EventStream(EVENTS, onEvent, () => tellLive({ kind: 'everything' }));

/** Listens while the page is looked at. */
export function startLive(version: (version: string) => void): void {
  onVersion = version;
  const follow = (): void => {
    if (document.visibilityState === 'visible') stream.start();
    else stream.end();
  };
  document.addEventListener('visibilitychange', follow);
  addEventListener('online', () => stream.hasten());
  addEventListener('pagehide', () => stream.end());
  addEventListener('pageshow', follow);
  follow();
}

export function endLive(): void {
  stream.end();
}

/** The service answers again: no reason to wait for the line's next attempt. */
export function hastenLive(): void {
  stream.hasten();
}
