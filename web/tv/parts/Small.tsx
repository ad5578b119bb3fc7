// SPDX-License-Identifier: MIT
// Small pieces of many views.
import { useEffect, useLayoutEffect, useRef } from 'preact/hooks';
import { cleanLine } from '../../common/plainText';
import { useSignal } from '../../common/signal';
import { drift, minute } from '../core/drift';
import { focusFirst } from '../core/focus';
import { spoken, t } from '../core/language';
import type { QrCode } from '../core/records';
import { Icon, type IconName } from './Icon';

/** A name that somebody gave: as text, with a direction of its own. */
export function Name({ of }: { of: string }) {
  return <bdi>{cleanLine(of)}</bdi>;
}

interface ButtonProps {
  readonly name: string;
  readonly icon?: IconName;
  readonly onPress: () => void;
  readonly pressed?: boolean;
  readonly first?: boolean;
  readonly note?: string;
  readonly kind?: string;
}

export function Button({ name, icon, onPress, pressed, first, note, kind = '' }: ButtonProps) {
  return (
    <button type="button" class={`button ${kind}`} onClick={onPress} aria-pressed={pressed} data-first={first}>
      {icon !== undefined && <Icon name={icon} full={pressed === true} />}
      <span>{name}</span>
      {note !== undefined && <span class="note">{note}</span>}
    </button>
  );
}

/** What a view without photos says. */
export function Empty({ icon, title, hint }: { icon: IconName; title: string; hint: string }) {
  return (
    <div class="empty">
      <Icon name={icon} />
      <h2>{title}</h2>
      <p>{hint}</p>
    </div>
  );
}

/** Dark on light with a margin, whatever the page's colours are: cameras want it so. */
export function Qr({ code, name }: { code: QrCode; name: string }) {
  let path = '';
  code.rows.forEach((row, y) => {
    for (let x = 0; x < row.length; ++x) {
      if (row[x] !== '1') continue;
      const from = x;
      while (row[x + 1] === '1') x += 1;
      path += `M${from} ${y}h${x - from + 1}v1H${from}z`;
    }
  });
  const side = code.size + 8;
  return (
    <svg class="qr" role="img" aria-label={name} viewBox={`-4 -4 ${side} ${side}`} shape-rendering="crispEdges">
      <rect x="-4" y="-4" width={side} height={side} fill="#fff" />
      <path d={path} fill="#000" />
    </svg>
  );
}

export function Clock() {
  useSignal(minute);
  const { dates } = useSignal(spoken);
  const now = new Date();
  return (
    <div class="clock">
      <time>{dates.time(now)}</time>
      <span>{dates.weekday(now)}</span>
    </div>
  );
}

/** What is in it moves by a little every minute. */
export function Drifting({ reach = 1, children }: { reach?: number; children: preact.ComponentChildren }) {
  const { across, down } = useSignal(drift);
  const place = `translate3d(${(across * reach * 0.4).toFixed(2)}rem, ${(down * reach * 0.4).toFixed(2)}rem, 0)`;
  return (
    <div class="drifting" style={{ transform: place }}>
      {children}
    </div>
  );
}

/** Gives the view its title, and the focus to what it begins with. */
export function useBeginning(title: string, ready = true): void {
  const done = useRef(false);
  useEffect(() => {
    document.title = `${cleanLine(title)} – ${t('title')}`;
  }, [title]);
  // Before anything is painted: whoever sees the view finds the focus where it belongs.
  useLayoutEffect(() => {
    if (!ready || done.current) return;
    done.current = true;
    focusFirst();
  }, [ready]);
}
