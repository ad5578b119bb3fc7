// SPDX-License-Identifier: MIT
// A window over the page: it takes the focus, keeps it, and gives it back. Not the browser's own, which older ones lack.
import type { ComponentChildren } from 'preact';
import { useLayoutEffect, useRef } from 'preact/hooks';
import { t } from '../core/language';
import { Icon } from './Icon';

const FOCUSABLE = 'a[href], button:not([disabled]), input:not([disabled]), select, textarea';

interface Props {
  title: string;
  onClose: () => void;
  children: ComponentChildren;
}

export function Dialog({ title, onClose, children }: Props) {
  const box = useRef<HTMLDivElement>(null);
  // Together with its appearance: a key that is pressed at once must not move on from what was focused before.
  useLayoutEffect(() => {
    const before = document.activeElement as HTMLElement | null;
    const first = box.current?.querySelector<HTMLElement>('[data-first]') ?? box.current;
    first?.focus();
    document.body.classList.add('covered');
    return () => {
      document.body.classList.remove('covered');
      if (before?.isConnected) before.focus();
    };
  }, []);

  const onKeyDown = (event: KeyboardEvent): void => {
    event.stopPropagation();
    if (event.key === 'Escape') return onClose();
    if (event.key !== 'Tab' || box.current === null) return;
    const all = [...box.current.querySelectorAll<HTMLElement>(FOCUSABLE)];
    const first = all[0];
    const last = all[all.length - 1];
    const active = document.activeElement;
    if (event.shiftKey && (active === first || active === box.current)) {
      event.preventDefault();
      last?.focus();
    } else if (!event.shiftKey && active === last) {
      event.preventDefault();
      first?.focus();
    }
  };

  return (
    <div class="shade" onClick={(event) => event.target === event.currentTarget && onClose()}>
      <div class="dialog" role="dialog" aria-modal="true" aria-labelledby="dialog-title" tabIndex={-1} ref={box} onKeyDown={onKeyDown}>
        <div class="dialog-head">
          <h2 id="dialog-title">{title}</h2>
          <button type="button" class="button plain square" aria-label={t('close')} onClick={onClose}>
            <Icon name="close" />
          </button>
        </div>
        {children}
      </div>
    </div>
  );
}

interface QuestionProps {
  title: string;
  hint: string;
  action: string;
  onAction: () => void;
  onClose: () => void;
}

/** Asks before something that cannot be undone. */
export function Question({ title, hint, action, onAction, onClose }: QuestionProps) {
  return (
    <Dialog title={title} onClose={onClose}>
      <p>{hint}</p>
      <div class="dialog-actions">
        <button type="button" class="button" data-first onClick={onClose}>
          {t('cancel')}
        </button>
        <button type="button" class="button danger" onClick={onAction}>
          {action}
        </button>
      </div>
    </Dialog>
  );
}
