// SPDX-License-Identifier: MIT
// An invitation. Looking at it does nothing: messengers look at the addresses that they carry. The button uses it up.
import { useEffect, useState } from 'preact/hooks';
import { Failure } from '../../common/http';
import * as api from '../core/api';
import { reason, t } from '../core/language';
import type { Invitation, Person } from '../core/records';
import { groupPath } from '../core/routes';
import { useWhenBack } from '../core/useWhenBack';
import { Failed, Loading } from '../parts/Empty';
import { Heading } from '../parts/Heading';
import { Icon } from '../parts/Icon';
import { LanguageChoice } from '../parts/LanguageChoice';

type Shown = Invitation | 'unknown' | null;

const ENDED = {
  used: ['inviteUsed', 'inviteUsedHint'],
  expired: ['inviteExpired', 'inviteExpiredHint'],
  unknown: ['inviteUnknown', 'inviteUnknownHint'],
} as const;

function Ended({ state }: { state: keyof typeof ENDED }) {
  const [title, hint] = ENDED[state];
  return (
    <>
      <Heading title={t('invitation')}>{t(title)}</Heading>
      <p>{t(hint)}</p>
      <a class="button" href="/" target="_self">
        {t('openPhotos')}
      </a>
    </>
  );
}

export function InviteView({ invitation: key }: { invitation: string }) {
  const [shown, setShown] = useState<Shown>(null);
  const [failure, setFailure] = useState<Failure | null>(null);
  const [complaint, setComplaint] = useState('');
  const [accepting, setAccepting] = useState(false);
  const [who, setWho] = useState<Person | null>(null);

  const read = async (): Promise<void> => {
    try {
      setShown(await api.invitation(key));
      setFailure(null);
    } catch (error) {
      if (!(error instanceof Failure)) throw error;
      if (error.word === 'not_found' || error.word === 'bad_request') setShown('unknown');
      else setFailure(error);
    }
  };
  useEffect(() => {
    void read();
    // Whoever is signed in here already is told that this changes.
    api.session().then(
      (session) => setWho(session.person),
      () => undefined,
    );
  }, []);
  useWhenBack(failure !== null, () => void read());

  const accept = async (): Promise<void> => {
    if (accepting || shown === null || shown === 'unknown') return;
    setAccepting(true);
    setComplaint('');
    try {
      await api.acceptInvitation(key);
      // Loaded anew: everything that is known belongs to whoever was here before.
      location.replace((shown.group === null ? '/' : groupPath(shown.group.id)) + location.search);
    } catch (error) {
      setAccepting(false);
      const word = error instanceof Failure ? error.word : '';
      if (word === 'used' || word === 'expired' || word === 'gone') await read();
      else setComplaint(reason(error));
    }
  };

  const open = shown !== null && shown !== 'unknown' && shown.state === 'open' ? shown : null;
  return (
    <main id="main" class="card-view" tabIndex={-1}>
      {shown === null && failure === null && <Loading />}
      {shown === null && failure !== null && <Failed failure={failure} onAgain={() => void read()} />}
      {shown !== null && (
        <div class="card">
          <div class="card-icon">
            <Icon name={open === null ? 'warning' : 'picture'} />
          </div>
          {open === null && <Ended state={shown === 'unknown' ? 'unknown' : shown.state === 'used' ? 'used' : 'expired'} />}
          {open !== null && (
            <>
              <Heading title={t('invitation')}>{open.inviter === null ? t('invited') : t('invitedBy', { inviter: open.inviter })}</Heading>
              <p class="lead">{open.group === null ? t('invitedPlain') : t('invitedTo', { group: open.group.name })}</p>
              <p>{t('invitedName', { name: open.name })}</p>
              {who !== null && <p class="faint">{t('inviteSigned', { name: who.name })}</p>}
              {complaint !== '' && (
                <p class="field-failure" role="alert">
                  {complaint}
                </p>
              )}
              <button type="button" class="button strong wide-button" aria-disabled={accepting} onClick={() => void accept()}>
                {t('inviteAccept')}
              </button>
            </>
          )}
          <LanguageChoice />
        </div>
      )}
    </main>
  );
}
