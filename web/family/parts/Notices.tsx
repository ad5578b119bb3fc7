// SPDX-License-Identifier: MIT
// What is said beside the views. There is one status, empty while all is well, and one alert.
import { useEffect } from 'preact/hooks';
import { useSignal } from '../../common/signal';
import { t } from '../core/language';
import { alertText, announcement, away, undoable, withdrawUndo } from '../core/notices';
import { reloadDue } from '../core/session';
import { Icon } from './Icon';

export function Status() {
  const gone = useSignal(away);
  const due = useSignal(reloadDue);
  const text = gone ? t('away') : due ? t('reloadSoon') : '';
  return (
    <div role="status" class={text === '' ? 'status empty' : 'status'}>
      {text}
    </div>
  );
}

export function Notices() {
  const failure = useSignal(alertText);
  const offer = useSignal(undoable);
  const said = useSignal(announcement);
  useEffect(() => {
    if (failure === '') return undefined;
    const onKey = (event: KeyboardEvent): void => {
      if (event.key === 'Escape') alertText.value = '';
    };
    addEventListener('keydown', onKey);
    return () => removeEventListener('keydown', onKey);
  }, [failure]);
  return (
    <>
      <div class="notices">
        {failure !== '' && (
          <div class="notice failure" role="alert">
            <Icon name="warning" />
            <p>{failure}</p>
            <button type="button" class="button plain square" aria-label={t('dismiss')} onClick={() => (alertText.value = '')}>
              <Icon name="close" />
            </button>
          </div>
        )}
        {offer !== null && (
          <div class="notice">
            <p>{offer.text}</p>
            <button
              type="button"
              class="button strong"
              onClick={() => {
                withdrawUndo(offer);
                offer.undo();
              }}
            >
              {t('undo')}
            </button>
          </div>
        )}
      </div>
      <div class="unseen" aria-live="polite">
        {said}
      </div>
    </>
  );
}
