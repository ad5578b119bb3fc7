// SPDX-License-Identifier: MIT
// What holds for the whole page: whether the television is connected, how the service is, and what was set.
import { delayBefore, pause } from '../../common/backoff';
import { Failure, watchers } from '../../common/http';
import { Signal } from '../../common/signal';
import * as api from './api';
import { speak } from './language';
import { hastenLive, onLive, tellLive } from './live';
import { Newest } from './reading';
import type { Guests, Settings, State } from './records';

export const DEFAULTS: Settings = {
  seconds: 8,
  order: 'shuffle',
  night: null,
  idle_minutes: 10,
  clock: true,
  caption: true,
  motion: true,
  pairs: true,
  phrases: ['❤️', '😀', 'How lovely!', 'Miss you!', 'Where was that?'],
  language: 'auto',
};

/** Null until it is known. */
export const state = new Signal<State | null>(null);
export const settings = new Signal<Settings>(DEFAULTS);
export const guests = new Signal<Guests | null>(null);
/** The program itself gives no answer. */
export const programAway = new Signal(false);
/** The cookie is one that the program does not know: it was started anew. */
export const locked = new Signal(false);

/** Whether the television shows somebody's photos: it was paired, and the service knows it still. */
export const isConnected = (now: State | null): boolean => now !== null && now.paired && now.service !== 'refused';

const forgetters = new Set<() => void>();

/** Calls when everything that was seen of a person has to go: the television was disconnected, or belongs to another person now. */
export function onForget(listener: () => void): void {
  forgetters.add(listener);
}

function forgetAll(): void {
  for (const forget of [...forgetters]) forget();
}

function applySettings(next: Settings): void {
  settings.value = { ...DEFAULTS, ...next };
  speak(settings.value.language);
}

/** What the program has said last; and how many changes of this page it has not answered yet. */
let kept = DEFAULTS;
let changes = 0;

function takeSettings(next: Settings): void {
  kept = next;
  // What the program says before it has heard of the latest change is not what it will say.
  if (changes === 0) applySettings(next);
}

const RELOADED = 'reloaded-for';
let newer = false;

/** Whether a newer version of the page waits to be loaded. */
export const isOutdated = (): boolean => newer;

function noteVersion(version: string): void {
  if (version === '' || version === PAGE_VERSION) return;
  // Once for each version: a program with other pages than it says must not make the page load for ever.
  if (sessionStorage.getItem(RELOADED) === version) return;
  newer = true;
}

/** Loads the newer page, where there is one; its address and with it the view stay. */
export function renew(): void {
  if (!newer || state.value === null) return;
  newer = false;
  sessionStorage.setItem(RELOADED, state.value.version);
  location.reload();
}

export function takeState(next: State): void {
  const before = state.value;
  const changedHands = isConnected(before) && (!isConnected(next) || before?.person?.id !== next.person?.id);
  state.value = next;
  guests.value = next.guests;
  if (next.settings) takeSettings(next.settings);
  noteVersion(next.version);
  if (changedHands) forgetAll();
}

/** Asks until there is an answer; null for one that does not know this page's cookie. */
async function askState(): Promise<State | null> {
  for (let failures = 1; ; ++failures) {
    try {
      return await api.state();
    } catch (error) {
      if (error instanceof Failure && error.status === 403) return null;
      await pause(delayBefore(failures, { first: 500, most: 5000 }, error instanceof Failure ? error.retryAfter : null));
    }
  }
}

const newest = new Newest(askState, (next) => {
  if (next === null) locked.value = true;
  else takeState(next);
});

export const readState = (): Promise<void> => newest.read();

/** Who may add photos, as the program has just said itself: a reading that is on its way may tell of before. */
export function takeGuests(told: Guests | null): void {
  newest.discard();
  guests.value = told;
}

let lastChange: Promise<unknown> = Promise.resolve();

/**
 * Keeps what was set, at once on screen, then in the program, one change after the other: two that were on their way together could
 * arrive in the other order. Fails as the program does; what is on screen then is what is kept.
 */
export async function change(part: Partial<Settings>): Promise<void> {
  applySettings({ ...settings.value, ...part });
  newest.discard();
  changes += 1;
  const turn = lastChange.then(() => api.putSettings(part));
  lastChange = turn.catch(() => undefined);
  try {
    kept = await turn;
  } finally {
    newest.discard();
    changes -= 1;
    if (changes === 0) applySettings(kept);
  }
}

export function startState(): void {
  let failures = 0;
  watchers.answered = () => {
    failures = 0;
    if (!programAway.value) return;
    programAway.value = false;
    hastenLive();
    tellLive('reset', {});
  };
  watchers.away = (status = 0) => {
    // An answer that tells of the service is one of the program.
    if (status !== 0) return watchers.answered();
    failures += 1;
    // A single lost request is none of anybody's business.
    if (failures < 2 || programAway.value) return;
    programAway.value = true;
    void readState();
  };
  onLive('state', (next) => {
    newest.discard();
    takeState(next);
  });
  onLive('settings', takeSettings);
  onLive('guests', (told) => {
    guests.value = told !== null && 'url' in told ? told : null;
  });
  onLive('version', ({ version }) => noteVersion(version));
  onLive('reset', () => void readState());
}
