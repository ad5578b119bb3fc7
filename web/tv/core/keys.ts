// SPDX-License-Identifier: MIT
// Every key that the page knows, in one place: remote controls of televisions, keyboards, and what a computer behind a television makes
// of its remote. The page asks for actions and never for keys.

export type Action =
  | 'up'
  | 'down'
  | 'left'
  | 'right'
  | 'enter'
  | 'back'
  | 'play'
  | 'pause'
  | 'playPause'
  | 'stop'
  | 'info'
  | 'newer'
  | 'older'
  | 'comment'
  | 'mark'
  | 'hide'
  | 'show'
  | 'keys';

interface Entry {
  readonly action: Action;
  /** KeyboardEvent.key, where the browser names the key. */
  readonly names: readonly string[];
  /** KeyboardEvent.keyCode, where it has nothing but a number. */
  readonly codes: readonly number[];
  /** Letters for keyboards without colours. */
  readonly letters?: readonly string[];
}

export const KEYS: readonly Entry[] = [
  { action: 'up', names: ['ArrowUp'], codes: [38] },
  { action: 'down', names: ['ArrowDown'], codes: [40] },
  { action: 'left', names: ['ArrowLeft'], codes: [37] },
  { action: 'right', names: ['ArrowRight'], codes: [39] },
  { action: 'enter', names: ['Enter', 'Select'], codes: [13] },
  { action: 'back', names: ['Escape', 'Backspace', 'BrowserBack', 'GoBack', 'XF86Back'], codes: [27, 8, 461, 10009, 166] },
  { action: 'play', names: ['MediaPlay', 'Play'], codes: [415] },
  { action: 'pause', names: ['MediaPause', 'Pause'], codes: [19] },
  { action: 'playPause', names: ['MediaPlayPause', ' '], codes: [10252, 179, 503, 32] },
  { action: 'stop', names: ['MediaStop'], codes: [413, 178] },
  { action: 'info', names: ['Info'], codes: [457], letters: ['i'] },
  { action: 'newer', names: ['ChannelUp', 'PageUp'], codes: [427, 33] },
  { action: 'older', names: ['ChannelDown', 'PageDown'], codes: [428, 34] },
  { action: 'comment', names: ['ColorF0Red'], codes: [403], letters: ['c'] },
  { action: 'mark', names: ['ColorF1Green'], codes: [404], letters: ['m'] },
  { action: 'hide', names: ['ColorF2Yellow'], codes: [405], letters: ['h'] },
  { action: 'show', names: ['ColorF3Blue'], codes: [406], letters: ['s'] },
  { action: 'keys', names: ['Help', 'F1', 'ContextMenu', '0', '?'], codes: [48, 96, 112, 93, 6, 47], letters: ['k'] },
];

const byName = new Map<string, Action>();
const byCode = new Map<number, Action>();
for (const { action, names, codes, letters } of KEYS) {
  for (const name of [...names, ...(letters ?? [])]) byName.set(name, action);
  for (const code of codes) byCode.set(code, action);
}

/** Pause on a keyboard is keyCode 19 too, and 'Unidentified' is what browsers call the keys of remote controls. */
const NAMELESS = ['', 'Unidentified', 'Process'];

/** The action of a key; null for one that is none of ours. */
export function actionOf(key: string, code: number): Action | null {
  const name = key.length === 1 ? key.toLowerCase() : key;
  const named = byName.get(name);
  if (named !== undefined) return named;
  // A letter or a digit means what it says, whatever its number is elsewhere.
  if (key.length === 1) return null;
  const coded = byCode.get(code) ?? null;
  return coded !== null && (NAMELESS.includes(key) || code > 255 || code === 19 || code === 179) ? coded : null;
}

/** Actions that go on while their key is held. */
const HELD: ReadonlySet<Action> = new Set<Action>(['up', 'down', 'left', 'right', 'newer', 'older']);

/** A press that waited so long before it was heard belongs to a key that has been let go. */
const STALE = 150;

/** The steps that a repeat of a held key makes, by how often it has repeated. */
const SPEEDS: ReadonlyArray<readonly [repeats: number, steps: number]> = [
  [0, 1],
  [10, 2],
  [25, 4],
  [45, 8],
  [75, 16],
  [110, 32],
];

export interface Press {
  readonly action: Action;
  /** How many steps at once: more than one while a key is held. */
  readonly steps: number;
  readonly held: boolean;
}

/**
 * Makes presses of key events. Remote controls repeat without saying so: a key that goes down again without having come up is held.
 * A held key moves once in a frame at most, so that nothing is left to be done when it is let go.
 */
export class HeldKeys {
  private action: Action | null = null;
  private repeats = 0;
  private last = 0;
  private busy = false;

  constructor(
    private readonly now: () => number,
    /** Calls back when the next frame is drawn. */
    private readonly frame: (then: () => void) => void,
  ) {}

  down(action: Action, repeat: boolean, time: number): Press | null {
    const again = action === this.action && (repeat || time - this.last < 400);
    this.last = time;
    if (!again) {
      this.action = action;
      this.repeats = 0;
      return { action, steps: 1, held: false };
    }
    if (!HELD.has(action)) return null;
    if (this.busy || this.now() - time > STALE) return null;
    this.busy = true;
    this.frame(() => {
      this.busy = false;
    });
    this.repeats += 1;
    let steps = 1;
    for (const [repeats, speed] of SPEEDS) if (this.repeats >= repeats) steps = speed;
    return { action, steps, held: true };
  }

  up(): void {
    this.action = null;
    this.repeats = 0;
  }

  get holding(): boolean {
    return this.repeats > 0;
  }
}
