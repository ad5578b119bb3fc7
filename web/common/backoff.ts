// SPDX-License-Identifier: MIT
// How long to wait before trying again: a random part of a bound that doubles, so that many who lost the service at the same moment
// do not all come back at the same moment.

export interface Backoff {
  /** The bound of the first wait, in milliseconds. */
  readonly first: number;
  /** The largest bound, in milliseconds. */
  readonly most: number;
}

export const PATIENT: Backoff = { first: 1000, most: 60_000 };

/**
 * Milliseconds to wait before the attempt that follows so many failed ones.
 * @param retryAfter what the service asked for, in milliseconds; never undercut, and spread by a quarter beyond it
 */
export function delayBefore(failures: number, backoff: Backoff, retryAfter: number | null, random: () => number = Math.random): number {
  const bound = Math.min(backoff.most, backoff.first * 2 ** Math.max(0, failures - 1));
  if (retryAfter !== null) return retryAfter + random() * Math.max(backoff.first, retryAfter / 4);
  // Never nothing at all: a service that fails at once must not be asked without a pause.
  return backoff.first / 4 + random() * bound;
}

/** Milliseconds that a Retry-After header asks for: seconds or a date. Null where it says nothing readable. */
export function retryAfterOf(header: string | null, dateHeader: string | null = null): number | null {
  if (header === null) return null;
  if (/^\s*\d+\s*$/.test(header)) return Math.min(Number(header), 3600) * 1000;
  const then = Date.parse(header);
  if (Number.isNaN(then)) return null;
  // Against the service's own clock where it told the time: this device's may be wrong.
  const now = dateHeader === null ? NaN : Date.parse(dateHeader);
  const wait = then - (Number.isNaN(now) ? Date.now() : now);
  return Math.min(Math.max(0, wait), 3_600_000);
}

/** Resolves after so long, or at once when the signal aborts. */
export function pause(milliseconds: number, signal?: AbortSignal): Promise<void> {
  return new Promise((resolve) => {
    if (signal?.aborted) return resolve();
    const done = (): void => {
      clearTimeout(timer);
      signal?.removeEventListener('abort', done);
      resolve();
    };
    const timer = setTimeout(done, milliseconds);
    signal?.addEventListener('abort', done);
  });
}
