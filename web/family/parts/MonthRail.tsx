// SPDX-License-Identifier: MIT
// The way through the years: a handle beside the feed that is dragged, and the years as links where there is room. What it does is also
// done by the list of months, so that nobody needs a steady hand.
import { useEffect, useRef, useState } from 'preact/hooks';
import type { MonthCount } from '../../common/geometry';
import { dates, t } from '../core/language';

interface Props {
  months: readonly MonthCount[];
  total: number;
  /** The month on screen. */
  current: number;
  onShare: (share: number) => void;
  onMonth: (at: number) => void;
}

interface Year {
  readonly name: string;
  readonly at: number;
  readonly share: number;
}

/** Years with room between them, as shares of the whole feed. */
export function yearsOf(months: readonly MonthCount[], total: number, closest: number): Year[] {
  const years: Year[] = [];
  months.forEach((month, at) => {
    const name = month.month.slice(0, 4);
    const share = total === 0 ? 0 : month.index / total;
    const last = years[years.length - 1];
    if (last?.name === name) return;
    if (last === undefined || share - last.share >= closest) years.push({ name, at, share });
  });
  return years;
}

const VISIBLE = 1500;

export function MonthRail({ months, total, current, onShare, onMonth }: Props) {
  const rail = useRef<HTMLElement>(null);
  const [dragging, setDragging] = useState(false);
  const [lit, setLit] = useState(false);
  const month = months[current];

  useEffect(() => {
    let timer = 0;
    const onScroll = (): void => {
      setLit(true);
      clearTimeout(timer);
      timer = window.setTimeout(() => setLit(false), VISIBLE);
    };
    addEventListener('scroll', onScroll, { passive: true });
    return () => {
      removeEventListener('scroll', onScroll);
      clearTimeout(timer);
    };
  }, []);

  const drag = (event: PointerEvent): void => {
    const box = rail.current?.getBoundingClientRect();
    if (box === undefined) return;
    onShare(Math.min(1, Math.max(0, (event.clientY - box.top) / Math.max(1, box.height))));
  };
  const share = month === undefined || total === 0 ? 0 : month.index / total;
  const years = yearsOf(months, total, 0.045);
  return (
    <nav class={`rail${lit || dragging ? ' lit' : ''}${dragging ? ' dragging' : ''}`} aria-label={t('months')} ref={rail}>
      {years.map((year) => (
        <a
          key={year.name}
          class="rail-year"
          href={`#${months[year.at]?.month ?? ''}`}
          aria-current={month?.month.startsWith(year.name) ? 'true' : undefined}
          style={{ top: `${year.share * 100}%` }}
          onClick={(event) => {
            event.preventDefault();
            onMonth(year.at);
          }}
        >
          {year.name}
        </a>
      ))}
      <div
        class="rail-handle"
        aria-hidden="true"
        style={{ top: `${share * 100}%` }}
        onPointerDown={(event) => {
          event.preventDefault();
          event.currentTarget.setPointerCapture(event.pointerId);
          setDragging(true);
        }}
        onPointerMove={(event) => dragging && drag(event)}
        onPointerUp={() => setDragging(false)}
        onPointerCancel={() => setDragging(false)}
      >
        {month !== undefined && <span class="rail-month">{dates.monthName(month.month)}</span>}
      </div>
    </nav>
  );
}
