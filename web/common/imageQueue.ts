// SPDX-License-Identifier: MIT
// Tiles' pictures: a few at a time, those nearest to the middle of the screen first, and none that has been scrolled past.

interface Wish {
  readonly image: HTMLImageElement;
  readonly address: string;
  readonly index: number;
}

/** Browsers have six connections for a service; one carries the events. */
const AT_A_TIME = 5;
/** A thumbnail that is still being made is asked for again, so often. */
const ATTEMPTS = 4;

const waiting = new Map<HTMLImageElement, Wish>();
const running = new Map<HTMLImageElement, Wish>();
/** What an image is for, also once it has come or failed. */
const latest = new WeakMap<HTMLImageElement, Wish>();
let middle = 0;
let planned = false;
let held = false;

/** Which content stands in the middle of the screen. */
export function lookAt(index: number): void {
  middle = index;
}

/** While the feed flies by nothing is begun. */
export function holdImages(hold: boolean): void {
  if (hold === held) return;
  held = hold;
  if (!held) plan();
}

export function wantImage(image: HTMLImageElement, address: string, index: number): void {
  dropImage(image);
  const wish = { image, address, index };
  latest.set(image, wish);
  waiting.set(image, wish);
  plan();
}

/** The picture is not wanted any more: its transfer ends. */
export function dropImage(image: HTMLImageElement): void {
  latest.delete(image);
  waiting.delete(image);
  if (running.delete(image)) {
    image.onload = null;
    image.onerror = null;
    image.removeAttribute('src');
    plan();
  }
}

function plan(): void {
  if (planned) return;
  planned = true;
  // All tiles of a frame have said what they want by then.
  void Promise.resolve().then(() => {
    planned = false;
    while (!held && running.size < AT_A_TIME && waiting.size > 0) start(nearest());
  });
}

function nearest(): Wish {
  let best: Wish | null = null;
  for (const wish of waiting.values()) {
    if (best === null || Math.abs(wish.index - middle) < Math.abs(best.index - middle)) best = wish;
  }
  return best as Wish;
}

function start(wish: Wish, attempt = 1): void {
  const { image, address } = wish;
  waiting.delete(image);
  running.set(image, wish);
  const end = (state: string): void => {
    if (running.get(image) === wish) running.delete(image);
    image.onload = null;
    image.onerror = null;
    image.dataset.state = state;
    plan();
  };
  image.onload = () => end('there');
  image.onerror = () => {
    end('failed');
    if (attempt >= ATTEMPTS) return;
    setTimeout(() => {
      if (image.isConnected && latest.get(image) === wish) start(wish, attempt + 1);
    }, 1500 * attempt * (1 + Math.random()));
  };
  image.src = address;
}
