// SPDX-License-Identifier: MIT
import type { ComponentChildren } from 'preact';
import type { Failure } from '../../common/http';
import { reason, t } from '../core/language';
import { Icon, type IconName } from './Icon';

/** What stands where there is nothing to show. */
export function Empty({ icon, title, hint, children }: { icon: IconName; title: string; hint?: string; children?: ComponentChildren }) {
  return (
    <div class="empty-view">
      <div class="empty-icon">
        <Icon name={icon} />
      </div>
      <h2>{title}</h2>
      {hint !== undefined && <p>{hint}</p>}
      {children}
    </div>
  );
}

export function Loading() {
  return (
    <div class="loading" aria-busy="true">
      <span class="spinner" />
      <span>{t('loading')}</span>
    </div>
  );
}

/** A view that could not be had. */
export function Failed({ failure, onAgain }: { failure: Failure; onAgain: () => void }) {
  return (
    <div class="empty-view">
      <div class="empty-icon">
        <Icon name="warning" />
      </div>
      <p role="alert">{reason(failure)}</p>
      <button type="button" class="button" onClick={onAgain}>
        {t('tryAgain')}
      </button>
    </div>
  );
}
