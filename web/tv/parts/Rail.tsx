// SPDX-License-Identifier: MIT
// Years and months beside the grid: what has the focus here is where the grid is.
import { useLayoutEffect, useMemo, useRef } from 'preact/hooks';
import { monthName, shortMonth, t } from '../core/language';
import { entryOf, railOf, windowAt } from '../core/rail';
import type { Month } from '../core/records';
import { still } from './still';

interface Props {
  readonly months: readonly Month[];
  readonly current: string;
  /** The entry with the focus; -1 where it is elsewhere. */
  readonly focus: number;
  /** How many entries there is room for. */
  readonly room: number;
  /** Of the group's photos so much is known, in a hundred; null where all are. */
  readonly percent: number | null;
  readonly onChoose: (entry: number) => void;
}

function Entries({ months, current, focus, room, percent, onChoose }: Props) {
  const entries = useMemo(() => railOf(months), [months]);
  const list = useRef<HTMLDivElement>(null);
  const here = entryOf(entries, current);
  const middle = focus >= 0 ? focus : Math.max(0, here);
  const size = Math.max(3, percent === null ? room : room - 4);
  const start = windowAt(entries.length, middle, size);
  useLayoutEffect(() => {
    if (focus >= 0) list.current?.querySelector<HTMLElement>(`[data-entry="${focus}"]`)?.focus({ preventScroll: true });
  });
  return (
    <nav class="rail" aria-label={t('months')}>
      <div ref={list}>
        {entries.slice(start, start + size).map((entry, offset) => {
          const at = start + offset;
          return (
            <button
              key={entry.name}
              type="button"
              class={`rail-${entry.kind}`}
              aria-label={entry.kind === 'year' ? entry.name : monthName(entry.name)}
              aria-current={at === here ? 'true' : undefined}
              data-entry={at}
              tabIndex={-1}
              onClick={() => onChoose(at)}
            >
              {entry.kind === 'year' ? entry.name : shortMonth(entry.name)}
            </button>
          );
        })}
      </div>
      {percent !== null && <p class="reading">{t('reading', { percent })}</p>}
    </nav>
  );
}

export const Rail = still((props: Props) => <Entries {...props} />);
