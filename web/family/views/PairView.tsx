// SPDX-License-Identifier: MIT
// A television asks to be let in: its code is typed, or came with the address; then a person decides.
import { useEffect, useRef, useState } from 'preact/hooks';
import { Failure } from '../../common/http';
import * as api from '../core/api';
import { draftOf, keepDraft } from '../core/drafts';
import { reason, t } from '../core/language';
import type { Pairing } from '../core/records';
import { isWhole, tidyCode } from '../core/userCode';
import { Bar } from '../parts/Bar';
import { Loading } from '../parts/Empty';
import { Icon } from '../parts/Icon';
import { Name } from '../parts/Name';

const DRAFT = 'pair';

function CodeForm({ typed, failure, onCode }: { typed: string; failure: string; onCode: (code: string) => void }) {
  const [code, setCode] = useState(tidyCode(typed === '' ? draftOf(DRAFT) : typed));
  const [short, setShort] = useState(false);
  const change = (text: string, input: HTMLInputElement): void => {
    const tidy = tidyCode(text);
    setCode(tidy);
    keepDraft(DRAFT, tidy);
    setShort(false);
    // What was left out of the same code is left out on screen too.
    if (input.value !== tidy) input.value = tidy;
  };
  const submit = (event: Event): void => {
    event.preventDefault();
    if (isWhole(code)) onCode(code);
    else setShort(true);
  };
  const complaint = short ? t('pairShort') : failure;
  return (
    <form class="card" onSubmit={submit}>
      <div class="card-icon">
        <Icon name="television" />
      </div>
      <p class="lead" id="pair-hint">
        {t('pairHint')}
      </p>
      <label>
        {t('code')}
        <input
          class="field code"
          type="text"
          autocomplete="off"
          autocapitalize="characters"
          autocorrect="off"
          spellcheck={false}
          placeholder="BCDF-GHJK"
          aria-describedby="pair-hint"
          aria-invalid={complaint !== ''}
          value={code}
          onInput={(event) => change(event.currentTarget.value, event.currentTarget)}
        />
      </label>
      {complaint !== '' && (
        <p class="field-failure" role="alert">
          {complaint}
        </p>
      )}
      <button type="submit" class="button strong wide-button">
        {t('next')}
      </button>
    </form>
  );
}

function Decision({ pairing, failure, onDecide }: { pairing: Pairing; failure: string; onDecide: (approve: boolean) => void }) {
  return (
    <div class="card">
      <h2>{t('pairQuestion')}</h2>
      <p class="code-shown" role="group" aria-label={t('pairCode')}>
        <span class="faint">{t('pairCode')}</span>
        <strong>{pairing.user_code}</strong>
      </p>
      <dl class="facts">
        <dt>{t('pairDevice')}</dt>
        <dd>
          <Name of={pairing.device_name} />
        </dd>
        <dt>{t('pairAddress')}</dt>
        <dd>
          <Name of={pairing.address} />
        </dd>
      </dl>
      <p>{t('pairCompare')}</p>
      {failure !== '' && (
        <p class="field-failure" role="alert">
          {failure}
        </p>
      )}
      <div class="pair-actions">
        <button type="button" class="button" onClick={() => onDecide(false)}>
          {t('refuse')}
        </button>
        <button type="button" class="button strong" onClick={() => onDecide(true)}>
          {t('approve')}
        </button>
      </div>
    </div>
  );
}

export function PairView({ code: given }: { code: string }) {
  const [code, setCode] = useState(tidyCode(given));
  const [pairing, setPairing] = useState<Pairing | null>(null);
  const [asking, setAsking] = useState(false);
  const [failure, setFailure] = useState('');
  const [decided, setDecided] = useState<boolean | null>(null);
  const deciding = useRef(false);

  const ask = async (wanted: string): Promise<void> => {
    setCode(wanted);
    setAsking(true);
    setFailure('');
    try {
      setPairing(await api.pairing(wanted));
    } catch (error) {
      setFailure(reason(error));
    } finally {
      setAsking(false);
    }
  };
  const decide = async (approve: boolean): Promise<void> => {
    // A second tap would be told that somebody has decided already.
    if (deciding.current) return;
    deciding.current = true;
    setFailure('');
    try {
      await api.decidePairing(code, approve);
      keepDraft(DRAFT, '');
      setDecided(approve);
    } catch (error) {
      setFailure(reason(error));
      // It cannot be decided any more: back to the code.
      if (error instanceof Failure && !error.passing) setPairing(null);
    } finally {
      deciding.current = false;
    }
  };
  useEffect(() => {
    window.scrollTo(0, 0);
    if (isWhole(code)) void ask(code);
  }, []);

  return (
    <>
      <Bar title={t('pair')} heading={t('pair')} back={{ path: '/', name: t('groups') }} />
      <main id="main" class="card-view" tabIndex={-1}>
        {decided !== null && pairing !== null && (
          <div class="card" role="region" aria-live="polite">
            <div class="card-icon">
              <Icon name={decided ? 'check' : 'close'} />
            </div>
            <h2>{t(decided ? 'pairApproved' : 'pairRefused', { device: pairing.device_name })}</h2>
            <p>{t(decided ? 'pairApprovedHint' : 'pairRefusedHint')}</p>
            <a class="button strong" href="/devices">
              {t('myDevices')}
            </a>
            <button
              type="button"
              class="button plain"
              onClick={() => {
                setDecided(null);
                setPairing(null);
                setCode('');
              }}
            >
              {t('pairAnother')}
            </button>
          </div>
        )}
        {decided === null && pairing !== null && <Decision pairing={pairing} failure={failure} onDecide={(approve) => void decide(approve)} />}
        {decided === null && pairing === null && asking && isWhole(tidyCode(given)) && failure === '' && <Loading />}
        {decided === null && pairing === null && !(asking && isWhole(tidyCode(given))) && (
          <CodeForm typed={code} failure={failure} onCode={(typed) => void ask(typed)} />
        )}
      </main>
    </>
  );
}
