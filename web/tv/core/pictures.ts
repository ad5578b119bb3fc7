// SPDX-License-Identifier: MIT
// Pictures that are ready to be shown: fetched and decoded before anybody waits for them, and let go afterwards.
import type { Size } from './records';

export type Outcome =
  | { readonly kind: 'ready'; readonly image: HTMLImageElement }
  /** It will not come, however often it is asked for. */
  | { readonly kind: 'broken' }
  /** The photo is not there any more. */
  | { readonly kind: 'gone' }
  /** Not now: the service is away and the picture was not stored. */
  | { readonly kind: 'away' };

export interface Loading {
  readonly outcome: Promise<Outcome>;
  /** Ends the transfer; there may be no outcome any more. */
  cancel(): void;
}

/** A picture that has not come by then is taken for one that cannot come now. */
const PATIENCE = 15_000;

/** Why an address gave no picture: an image says no more than that it failed. */
async function why(address: string): Promise<Outcome['kind'] | 'again'> {
  const stop = new AbortController();
  const timer = setTimeout(() => stop.abort(), 5000);
  try {
    const response = await fetch(address, { credentials: 'same-origin', signal: stop.signal });
    if (response.ok) return 'again';
    if (response.status === 404 || response.status === 410) return 'gone';
    return response.status === 422 || response.status === 415 ? 'broken' : 'away';
  } catch {
    return 'away';
  } finally {
    clearTimeout(timer);
    // The body is of no use to anybody.
    stop.abort();
  }
}

export function release(image: HTMLImageElement): void {
  image.onload = null;
  image.onerror = null;
  image.removeAttribute('src');
}

export function loadPicture(address: string): Loading {
  const image = new Image();
  let settled = false;
  let cancel = (): void => undefined;
  const outcome = new Promise<Outcome>((resolve) => {
    const settle = (kind: Outcome['kind']): void => {
      if (settled) return;
      settled = true;
      clearTimeout(timer);
      if (kind === 'ready') {
        image.onload = null;
        image.onerror = null;
        resolve({ kind, image });
      } else {
        release(image);
        resolve({ kind });
      }
    };
    const timer = setTimeout(() => settle('away'), PATIENCE);
    let attempts = 0;
    const begin = (): void => {
      attempts += 1;
      image.src = address;
    };
    image.onload = () => {
      // What comes half, or is no picture at all behind its first bytes, fails here.
      image.decode().then(
        () => settle('ready'),
        () => settle('broken'),
      );
    };
    image.onerror = () => {
      void why(address).then((kind) => {
        if (settled) return;
        if (kind !== 'again') settle(kind);
        else if (attempts < 2) begin();
        else settle('broken');
      });
    };
    cancel = () => settle('away');
    begin();
  });
  return { outcome, cancel: () => cancel() };
}

/** Which size is sharp on this screen. */
export function sizeFor(width: number, height: number, aspect: number): Size {
  // The middle size is made to fit 1920 by 1080; what is larger on screen, or wider than it, is made from the original.
  if (aspect >= 2.3 || (aspect > 0 && aspect <= 0.42)) return 'full';
  return width > 1920 || height > 1080 ? 'full' : 'screen';
}

const screenWidth = (): number => Math.round(innerWidth * devicePixelRatio);
const screenHeight = (): number => Math.round(innerHeight * devicePixelRatio);

/** A picture that is asked for: the bounds hold where it is made from the original. */
export interface Wanted {
  readonly id: string;
  readonly size: Size;
  readonly width?: number;
  readonly height?: number;
}

/** A photo's picture for the whole screen. */
export function sharpFor(id: string, width: number, height: number): Wanted {
  const [across, down] = [screenWidth(), screenHeight()];
  const aspect = height > 0 ? width / height : 0;
  const size = sizeFor(across, down, aspect);
  if (size === 'screen') return { id, size };
  // A panorama is as high as the screen and as wide as that makes it, within reason.
  const wide = aspect >= 2.3 ? Math.min(Math.round(down * aspect), across * 3) : across;
  const high = aspect > 0 && aspect <= 0.42 ? Math.min(Math.round(across / aspect), down * 3) : down;
  return { id, size, width: wide, height: high };
}

/** Its address. */
export function sharpAddress(id: string, width: number, height: number): string {
  const wanted = sharpFor(id, width, height);
  const base = `/media/${encodeURIComponent(id)}/${wanted.size}`;
  return wanted.width === undefined ? base : `${base}?width=${wanted.width}&height=${wanted.height}`;
}
