// SPDX-License-Identifier: MIT
// A value that tells who listens when it changes.
import { useLayoutEffect, useState } from 'preact/hooks';

export class Signal<T> {
  private readonly listeners = new Set<() => void>();

  constructor(private current: T) {}

  get value(): T {
    return this.current;
  }

  set value(next: T) {
    if (Object.is(next, this.current)) return;
    this.current = next;
    this.notify();
  }

  /** Calls every listener, also where the value is the same object with other contents. */
  notify(): void {
    for (const listener of [...this.listeners]) listener();
  }

  /** Returns what ends the subscription. */
  subscribe(listener: () => void): () => void {
    this.listeners.add(listener);
    return () => {
      this.listeners.delete(listener);
    };
  }
}

/** The signal's value; the component is drawn again when it changes. */
export function useSignal<T>(signal: Signal<T>): T {
  const [, draw] = useState({});
  const drawn = signal.value;
  // Together with the drawing: what is behind a frame comes a tenth of a second later where the processor is slow.
  useLayoutEffect(() => {
    // Other parts of the same drawing may have changed it.
    if (!Object.is(drawn, signal.value)) draw({});
    return signal.subscribe(() => draw({}));
  }, [signal]);
  return drawn;
}
