// SPDX-License-Identifier: MIT
import { useEffect } from 'preact/hooks';
import { away } from './notices';

/** Calls once the service answers again, as long as the condition holds. */
export function useWhenBack(condition: boolean, call: () => void): void {
  useEffect(() => {
    if (!condition) return undefined;
    return away.subscribe(() => {
      if (!away.value) call();
    });
  }, [condition]);
}
