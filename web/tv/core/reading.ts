// SPDX-License-Identifier: MIT
// Reading what a view shows, until it is there: what fails for a while is tried again by itself.
import { useEffect, useState } from 'preact/hooks';
import { delayBefore, pause } from '../../common/backoff';
import { Failure } from '../../common/http';

const SOON = { first: 500, most: 8000 };

/** Asks again and again while failures pass by themselves; throws the one that does not, or `aborted`. */
export async function insist<T>(ask: () => Promise<T>, signal: AbortSignal): Promise<T> {
  for (let failures = 1; ; ++failures) {
    try {
      return await ask();
    } catch (error) {
      if (signal.aborted || !(error instanceof Failure) || !error.passing) throw error;
      await pause(delayBefore(failures, SOON, error.retryAfter), signal);
      if (signal.aborted) throw new Failure('aborted', 0, 'nobody wants it any more');
    }
  }
}

/**
 * The answer to a question that may have another answer at any moment. Several askers are one reading; for a reason that comes while it
 * is on its way the question is asked once more. What comes meanwhile is taken all the same: where reasons do not end, as while a group
 * is being read, something new is seen all the time. Only what was discarded is not.
 */
export class Newest<T> {
  private reasons = 0;
  private discards = 0;
  private reading: Promise<void> | null = null;
  private timer = 0;
  private isWantedSoon = false;
  private ended = false;

  constructor(
    private readonly ask: () => Promise<T>,
    private readonly take: (answer: T) => void,
    private readonly failed: (error: unknown) => void = () => undefined,
  ) {}

  /** Resolves when an answer was taken that is not older than this call; fails as the question does. */
  read(): Promise<void> {
    this.reasons += 1;
    this.reading ??= this.untilCurrent().finally(() => {
      this.reading = null;
    });
    return this.reading;
  }

  /** Reads so many milliseconds after the first of several reasons, and not before so many have passed since the last such reading. */
  soon(delay: number): void {
    this.isWantedSoon = true;
    if (this.timer !== 0 || this.ended) return;
    this.timer = setTimeout(() => {
      this.isWantedSoon = false;
      void this.read()
        .catch(this.failed)
        .finally(() => {
          this.timer = 0;
          if (this.isWantedSoon) this.soon(delay);
        });
    }, delay) as unknown as number;
  }

  get isReading(): boolean {
    return this.reading !== null;
  }

  /** An answer that is on its way is not taken: it belongs to somebody else, or what it tells of is known better. */
  discard(): void {
    this.reasons += 1;
    this.discards += 1;
  }

  /** Nothing is read soon any more. */
  end(): void {
    this.ended = true;
    clearTimeout(this.timer);
  }

  private async untilCurrent(): Promise<void> {
    for (;;) {
      const { reasons, discards } = this;
      const answer = await this.ask();
      if (this.discards === discards) this.take(answer);
      if (this.reasons === reasons) return;
    }
  }
}

export interface Reading<T> {
  readonly value: T | null;
  /** Why there is no answer now. */
  readonly failure: Failure | null;
}

/**
 * What the question about something is answered with. It is asked anew for something else, and whenever `asked` has changed, with the
 * old answer on screen until the new one comes. A failure is of what it was asked about, and stays until there is an answer.
 */
export function useReading<T>(ask: (signal: AbortSignal) => Promise<T>, about: string, asked: number): Reading<T> {
  const [reading, setReading] = useState<Reading<T> & { about: string }>({ value: null, failure: null, about });
  useEffect(() => {
    const stop = new AbortController();
    insist(() => ask(stop.signal), stop.signal).then(
      (value) => {
        if (!stop.signal.aborted) setReading({ value, failure: null, about });
      },
      (thrown: unknown) => {
        if (stop.signal.aborted) return;
        const failure = thrown instanceof Failure ? thrown : new Failure('failed', 0, String(thrown));
        setReading(({ value }) => ({ value, failure, about }));
      },
    );
    return () => stop.abort();
  }, [about, asked]);
  return reading.about === about ? reading : { value: reading.value, failure: null };
}
