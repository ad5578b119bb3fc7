// SPDX-License-Identifier: MIT
import { useEffect, useState } from 'preact/hooks';
import { Failure } from '../../common/http';
import { useSignal } from '../../common/signal';
import * as api from '../core/api';
import { dates, reason, t } from '../core/language';
import { announce, signedOut, tell } from '../core/notices';
import type { BrowserSession, Device } from '../core/records';
import { session } from '../core/session';
import { useWhenBack } from '../core/useWhenBack';
import { Bar } from '../parts/Bar';
import { Question } from '../parts/Dialog';
import { Failed, Loading } from '../parts/Empty';
import { Icon, type IconName } from '../parts/Icon';
import { Name } from '../parts/Name';

interface Entry {
  readonly key: string;
  readonly icon: IconName;
  readonly name: string;
  readonly lines: readonly string[];
  readonly action: string;
  readonly label: string;
  readonly question: string;
  readonly hint: string;
  readonly done: string;
  readonly end: () => Promise<unknown>;
  readonly here: boolean;
}

function ofDevice(device: Device): Entry {
  const { name } = device;
  const used = device.signed_in === null ? t('neverUsed') : t('lastUsed', { date: dates.moment(device.signed_in) });
  return {
    key: device.duid,
    icon: 'television',
    name,
    lines: [...(device.created === null ? [] : [t('since', { date: dates.moment(device.created) })]), used],
    action: t('revoke'),
    label: t('revokeNamed', { name }),
    question: t('revokeQuestion', { name }),
    hint: t('revokeHint'),
    done: t('revoked', { name }),
    end: () => api.revokeDevice(device.duid),
    here: false,
  };
}

function ofSession(one: BrowserSession): Entry {
  const { name } = one;
  const used = one.used === null ? t('neverUsed') : t('lastUsed', { date: dates.moment(one.used) });
  return {
    key: one.id,
    icon: 'telephone',
    name,
    lines: [used, one.address].filter((line) => line !== ''),
    action: t('endSession'),
    label: t('endNamed', { name }),
    question: one.current ? t('endThisQuestion') : t('endQuestion', { name }),
    hint: one.current ? t('endThisHint') : t('endHint'),
    done: t('ended', { name }),
    end: () => api.endSession(one.id),
    here: one.current,
  };
}

function List({ title, entries, none, onEnd }: { title: string; entries: readonly Entry[]; none?: string; onEnd: (entry: Entry) => void }) {
  return (
    <section aria-label={title}>
      <h2>{title}</h2>
      {entries.length === 0 && none !== undefined && <p class="faint">{none}</p>}
      <ul class="entries" role="list">
        {entries.map((entry) => (
          <li key={entry.key} class="entry">
            <Icon name={entry.icon} />
            <div class="entry-text">
              <span class="entry-name">
                <Name of={entry.name} />
                {entry.here && <span class="tag">{t('thisBrowser')}</span>}
              </span>
              {entry.lines.map((line) => (
                <span class="faint" key={line}>
                  {line}
                </span>
              ))}
            </div>
            <button type="button" class="button" aria-label={entry.label} onClick={() => onEnd(entry)}>
              {entry.action}
            </button>
          </li>
        ))}
      </ul>
    </section>
  );
}

export function DevicesView() {
  const [lists, setLists] = useState<{ devices: Device[]; sessions: BrowserSession[] } | null>(null);
  const [failure, setFailure] = useState<Failure | null>(null);
  const [ending, setEnding] = useState<Entry | null>(null);
  const who = useSignal(session);
  const read = async (): Promise<void> => {
    try {
      setLists(await api.devices());
      setFailure(null);
    } catch (error) {
      if (!(error instanceof Failure)) throw error;
      setFailure(error);
    }
  };
  useEffect(() => {
    window.scrollTo(0, 0);
    void read();
  }, []);
  useWhenBack(failure !== null, () => void read());

  const end = async (entry: Entry): Promise<void> => {
    setEnding(null);
    try {
      await entry.end();
      if (entry.here) {
        signedOut.value = true;
        return;
      }
      announce(entry.done);
    } catch (error) {
      if (!(error instanceof Failure) || error.word !== 'not_found') tell(reason(error));
    }
    await read();
  };

  return (
    <>
      <Bar title={t('myDevices')} heading={t('myDevices')} back={{ path: '/', name: t('groups') }} />
      <main id="main" class="column" tabIndex={-1}>
        <p class="lead">
          {who !== null && (
            <strong>
              <Name of={who.person.name} />
            </strong>
          )}
        </p>
        <p class="faint">{t('devicesHint')}</p>
        {lists === null && failure === null && <Loading />}
        {lists === null && failure !== null && <Failed failure={failure} onAgain={() => void read()} />}
        {lists !== null && (
          <>
            <List title={t('televisions')} entries={lists.devices.map(ofDevice)} none={t('noDevices')} onEnd={setEnding} />
            <a class="button" href="/pair">
              <Icon name="television" />
              <span>{t('connectDevice')}</span>
            </a>
            <List title={t('browsers')} entries={lists.sessions.map(ofSession)} onEnd={setEnding} />
          </>
        )}
      </main>
      {ending !== null && (
        <Question title={ending.question} hint={ending.hint} action={ending.action} onAction={() => void end(ending)} onClose={() => setEnding(null)} />
      )}
    </>
  );
}
