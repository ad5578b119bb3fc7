// SPDX-License-Identifier: MIT
// What the page has to say beside its views: one failure, one thing that can be undone, whether the service is there.
import { type Backoff, delayBefore } from '../../common/backoff';
import { watchers } from '../../common/http';
import { Signal } from '../../common/signal';

/** Whether requests find the service. */
export const away = new Signal(false);
/** Whether the service knows this browser. */
export const signedOut = new Signal(false);
/** The failure to tell; empty while there is none. */
export const alertText = new Signal('');
/** Read aloud, and not shown. */
export const announcement = new Signal('');

export interface Undo {
  readonly text: string;
  readonly undo: () => void;
}
export const undoable = new Signal<Undo | null>(null);

let undoTimer = 0;

/** Offers the undoing for so many seconds, and at least for as long as it takes to read it. */
export function offerUndo(offer: Undo, seconds: number): void {
  clearTimeout(undoTimer);
  undoable.value = offer;
  undoTimer = window.setTimeout(() => withdrawUndo(offer), Math.min(30, Math.max(10, seconds)) * 1000);
}

export function withdrawUndo(offer: Undo): void {
  if (undoable.value === offer) undoable.value = null;
}

export function tell(text: string): void {
  // The same failure again is told again.
  if (alertText.value === text) alertText.value = '';
  alertText.value = text;
}

export function announce(text: string): void {
  announcement.value = text;
}

/** Whoever looks at the page wants to know soon. */
const HOPEFUL: Backoff = { first: 2000, most: 15_000 };

/**
 * Follows whether the service answers, and asks again while it does not.
 * @param isThere asks the service for anything
 */
export function watchConnection(isThere: () => Promise<unknown>): void {
  let doubt = 0;
  let failures = 0;
  let asking = false;
  const ask = async (): Promise<void> => {
    if (asking) return;
    asking = true;
    try {
      await isThere();
    } catch {
      // The watchers hear of it.
    } finally {
      asking = false;
    }
  };
  const plan = (milliseconds: number): void => {
    clearTimeout(doubt);
    doubt = window.setTimeout(() => {
      if (document.visibilityState === 'visible') void ask();
      else plan(3000);
    }, milliseconds);
  };
  watchers.away = () => {
    away.value = true;
    failures += 1;
    plan(delayBefore(failures, HOPEFUL, null));
  };
  watchers.answered = () => {
    clearTimeout(doubt);
    failures = 0;
    away.value = false;
  };
  watchers.signedOut = () => {
    signedOut.value = true;
  };
  addEventListener('online', () => void ask());
  addEventListener('offline', () => {
    away.value = true;
    plan(2000);
  });
}
