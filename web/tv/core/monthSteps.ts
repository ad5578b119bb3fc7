// SPDX-License-Identifier: MIT
// The channel keys: from one month to the next. Several presses before it is known where they lead are as many months.
import { useRef } from 'preact/hooks';
import { failed } from './notices';

export interface MonthPath<M extends { readonly month: string }> {
  /** Of what is on screen, as in '2010-05'; empty where that is not known yet. */
  readonly month: string;
  /** All of them, the newest first. */
  readonly months: () => Promise<readonly M[]>;
  readonly go: (month: M) => Promise<void> | void;
}

/** Returns what takes a press: -1 for a newer month, 1 for an older one. */
export function useMonthSteps<M extends { readonly month: string }>(path: MonthPath<M>): (by: -1 | 1) => void {
  const latest = useRef(path);
  latest.current = path;
  const steps = useRef({ by: 0, walking: false, month: '' }).current;
  const walk = async (): Promise<void> => {
    for (let month = latest.current.month || steps.month; steps.by !== 0; month = steps.month) {
      const months = await latest.current.months();
      const here = months.findIndex((one) => one.month === month);
      const target = here < 0 ? undefined : months[Math.min(months.length - 1, Math.max(0, here + steps.by))];
      steps.by = 0;
      if (target === undefined || target.month === month) return;
      steps.month = target.month;
      await latest.current.go(target);
    }
  };
  return (by) => {
    steps.by += by;
    if (steps.walking) return;
    steps.walking = true;
    walk()
      .catch(failed)
      .finally(() => {
        steps.walking = false;
        steps.by = 0;
      });
  };
}
