// SPDX-License-Identifier: MIT
// What the page says beside its views: that the service is away, that something failed, that something was done.
import { useSignal } from '../../common/signal';
import { drift, inward } from '../core/drift';
import { t } from '../core/language';
import { notice } from '../core/notices';
import { programAway, state } from '../core/state';
import { Icon } from './Icon';

/** Empty while all is well. */
export function Status() {
  const now = useSignal(state);
  const silent = useSignal(programAway);
  const place = useSignal(drift);
  const corner = (place.corner + 2) % 4;
  const text = silent ? t('programAway') : now !== null && now.paired && now.service === 'away' ? t('serviceAway') : '';
  return (
    <div class={`status corner-${corner}`} style={{ transform: inward(place, corner, 1.2) }}>
      <p role="status" class={text === '' ? '' : 'sign'}>
        {text !== '' && <Icon name="away" />}
        {text}
      </p>
    </div>
  );
}

export function Notices() {
  const now = useSignal(notice);
  return (
    <div class="notices">
      {now !== null && now.kind === 'failure' && (
        <p class="notice failure" role="alert">
          <Icon name="warning" />
          <span>{now.text}</span>
        </p>
      )}
      {/* Not a status: that is for what is wrong. */}
      <div aria-live="polite">
        {now !== null && now.kind === 'done' && (
          <p class="notice">
            <Icon name="check" />
            <span>{now.text}</span>
          </p>
        )}
      </div>
    </div>
  );
}
