// SPDX-License-Identifier: MIT
// A window over the view: it has all presses, takes the focus, and gives it back.
import { useLayoutEffect, useRef } from 'preact/hooks';
import { focusFirst } from '../core/focus';
import { type Handler, usePresses } from '../core/input';

interface Props {
  readonly name: string;
  readonly kind?: string;
  readonly onClose: () => void;
  /** Hears of presses first. */
  readonly onPress?: Handler;
  readonly children: preact.ComponentChildren;
}

export function Window({ name, kind = '', onClose, onPress, children }: Props) {
  const before = useRef<Element | null>(null);
  usePresses((press) => {
    if (onPress?.(press)) return true;
    if (press.action !== 'back') return false;
    onClose();
    return true;
  }, true);
  useLayoutEffect(() => {
    before.current = document.activeElement;
    focusFirst();
    return () => {
      if (before.current instanceof HTMLElement && before.current.isConnected) before.current.focus({ preventScroll: true });
    };
  }, []);
  return (
    <div class={`veil ${kind}`} onClick={(event) => event.target === event.currentTarget && onClose()}>
      <div class="window" role="dialog" aria-modal="true" aria-label={name} tabIndex={-1}>
        {children}
      </div>
    </div>
  );
}
