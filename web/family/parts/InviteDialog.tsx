// SPDX-License-Identifier: MIT
// A master of a group invites somebody: a name, and then an address to send and a code to show.
import { useEffect, useRef, useState } from 'preact/hooks';
import * as api from '../core/api';
import { dates, t } from '../core/language';
import { announce } from '../core/notices';
import type { NewInvitation } from '../core/records';
import { Dialog } from './Dialog';
import { NameForm } from './NameForm';

function Ready({ made, onAnother }: { made: NewInvitation; onAnother: () => void }) {
  const address = useRef<HTMLInputElement>(null);
  useEffect(() => address.current?.focus(), []);
  const copy = async (): Promise<void> => {
    // Plain http has no clipboard of its own.
    address.current?.select();
    try {
      if (navigator.clipboard !== undefined) await navigator.clipboard.writeText(made.url);
      else document.execCommand('copy');
      announce(t('copied'));
    } catch {
      // The address is selected: it can be copied by hand.
    }
  };
  const share = (): void => {
    navigator.share({ url: made.url }).catch(() => undefined);
  };
  return (
    <>
      <p>{t('inviteReady', { name: made.name })}</p>
      <img class="qr" src={`data:image/svg+xml;charset=utf-8,${encodeURIComponent(made.qr_svg)}`} alt={t('inviteCode')} />
      <label>
        {t('inviteAddress')}
        <input class="field" ref={address} type="text" readOnly value={made.url} onFocus={(event) => event.currentTarget.select()} />
      </label>
      <p class="faint">{t('inviteRules', { date: dates.moment(made.expires) })}</p>
      <div class="dialog-actions">
        <button type="button" class="button plain" onClick={onAnother}>
          {t('inviteAnother')}
        </button>
        {typeof navigator.share === 'function' && (
          <button type="button" class="button" onClick={share}>
            {t('share')}
          </button>
        )}
        <button type="button" class="button strong" onClick={() => void copy()}>
          {t('copy')}
        </button>
      </div>
    </>
  );
}

export function InviteDialog({ group, name, onClose }: { group: string; name: string; onClose: () => void }) {
  const [made, setMade] = useState<NewInvitation | null>(null);
  const invite = async (person: string): Promise<void> => setMade(await api.invite(group, person));
  return (
    <Dialog title={t('inviteTitle')} onClose={onClose}>
      <p class="faint">{t('inviteTo', { group: name })}</p>
      {made !== null && <Ready made={made} onAnother={() => setMade(null)} />}
      {made === null && (
        <NameForm draft={`invite:${group}`} label={t('inviteName')} hint={t('inviteNameHint')} action={t('inviteMake')} onName={invite} />
      )}
    </Dialog>
  );
}
