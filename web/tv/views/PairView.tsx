// SPDX-License-Identifier: MIT
// First start: a code to compare and a QR code to scan. Approved on a telephone, the page goes on by itself.
import { useEffect, useState } from 'preact/hooks';
import { cleanLine } from '../../common/plainText';
import { useSignal } from '../../common/signal';
import * as api from '../core/api';
import { t } from '../core/language';
import { failed } from '../core/notices';
import { go } from '../core/router';
import { isConnected, readState, state } from '../core/state';
import { Button, Drifting, Qr, useBeginning } from '../parts/Small';

const TROUBLE = { denied: 'pairDenied', expired: 'pairExpired', failed: 'pairFailed' } as const;

export function PairView() {
  const now = useSignal(state);
  const pairing = now?.pairing ?? null;
  const trouble = pairing !== null && pairing.state in TROUBLE ? TROUBLE[pairing.state as keyof typeof TROUBLE] : null;
  const [asking, setAsking] = useState(false);
  const isRefused = now !== null && now.paired && now.service === 'refused';
  useBeginning(t('pairTitle'), trouble !== null || isRefused);
  useEffect(() => {
    if (isConnected(now)) go('#/groups', true);
  }, [isConnected(now)]);

  const again = async (): Promise<void> => {
    if (asking) return;
    setAsking(true);
    try {
      // What the television signed in with is of no use any more.
      if (isRefused) await api.forget();
      else await api.beginPairing();
      await readState();
    } catch (error) {
      failed(error);
    } finally {
      setAsking(false);
    }
  };
  const waits = pairing !== null && pairing.state === 'waiting' && pairing.user_code !== null;
  return (
    <main class="view pair">
      <Drifting reach={2}>
        <h1>{t('pairTitle')}</h1>
        {trouble !== null && (
          <div class="pair-trouble">
            <p role="alert" class="lead">
              {t(trouble)} {pairing?.state === 'failed' && cleanLine(pairing.message ?? '')}
            </p>
            <div data-row="" class="row">
              <Button name={t('pairAgain')} kind="strong" first onPress={() => void again()} />
            </div>
          </div>
        )}
        {isRefused && (
          <div class="pair-trouble">
            <p role="alert" class="lead">
              {t('pairRefused')}
            </p>
            <div data-row="" class="row">
              <Button name={t('pairAnew')} kind="strong" first onPress={() => void again()} />
            </div>
          </div>
        )}
        {trouble === null && !waits && !isRefused && (
          <p class="lead" aria-busy="true">
            {t('pairStarting')}
          </p>
        )}
        {waits && (
          <div class="pair-steps">
            {pairing.qr !== null && <Qr code={pairing.qr} name={t('pairQr')} />}
            <ol>
              <li>
                {t('pairStep1')}
                <strong class="address">{pairing.verification_uri?.replace(/^https?:\/\//, '')}</strong>
              </li>
              <li>
                {t('pairStep2')}
                <strong class="code" role="group" aria-label={t('pairCode')}>
                  {pairing.user_code}
                </strong>
              </li>
              <li>{t('pairStep3')}</li>
            </ol>
          </div>
        )}
      </Drifting>
    </main>
  );
}

/** The cookie of a program that has been started anew since. */
export function LockedView() {
  useBeginning(t('lockedTitle'), false);
  return (
    <main class="view pair">
      <Drifting reach={2}>
        <h1>{t('lockedTitle')}</h1>
        <p role="alert" class="lead">
          {t('lockedHint')}
        </p>
      </Drifting>
    </main>
  );
}
