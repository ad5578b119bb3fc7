// SPDX-License-Identifier: MIT
// The month on screen, and the way to any other.
import { useEffect, useMemo, useState } from 'preact/hooks';
import type { MonthCount } from '../../common/geometry';
import { dates, t } from '../core/language';

interface Props {
  months: readonly MonthCount[];
  current: number;
  onMonth: (at: number) => void;
}

/**
 * A hundred months take longer to draw than the first photos. They are there so many milliseconds after them, so many at a time, or at
 * once when somebody reaches for them.
 */
const AFTER_PHOTOS = 150;
const BETWEEN = 30;
const AT_A_TIME = 24;

export function MonthSelect({ months, current, onMonth }: Props) {
  const [drawn, setDrawn] = useState(0);
  const whole = drawn >= months.length;
  useEffect(() => {
    if (whole) return;
    const timer = setTimeout(() => setDrawn(drawn + AT_A_TIME), drawn === 0 ? AFTER_PHOTOS : BETWEEN);
    return () => clearTimeout(timer);
  }, [drawn, whole]);
  // Until all are there, the month on screen is.
  const extra = drawn <= current ? current : -1;
  const options = useMemo(
    () =>
      months.map((month, at) =>
        at < drawn || at === extra ? (
          <option key={month.month} value={String(at)}>
            {dates.monthName(month.month)}
          </option>
        ) : null,
      ),
    [months, drawn, extra],
  );
  const reach = (): void => setDrawn(months.length);
  return (
    <select
      class="month-select"
      aria-label={t('month')}
      value={String(current)}
      onPointerDown={reach}
      onFocus={reach}
      onChange={(event) => onMonth(Number(event.currentTarget.value))}
    >
      {options}
    </select>
  );
}
