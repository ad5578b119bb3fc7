// SPDX-License-Identifier: MIT
import { useSignal } from '../common/signal';
import { t } from './core/language';
import { signedOut } from './core/notices';
import { route } from './core/router';
import { type Route } from './core/routes';
import { Notices, Status } from './parts/Notices';
import { UploadPanel } from './parts/UploadPanel';
import { DevicesView } from './views/DevicesView';
import { GroupsView } from './views/GroupsView';
import { GroupView } from './views/GroupView';
import { InviteView } from './views/InviteView';
import { PairView } from './views/PairView';
import { PhotoView } from './views/PhotoView';
import { SignedOutView, UnknownView } from './views/PlainViews';

function View({ to }: { to: Route }) {
  switch (to.view) {
    case 'groups':
      return <GroupsView />;
    case 'group':
      return <GroupView key={to.group} id={to.group} month={to.month} />;
    case 'photo':
      return <PhotoView key={to.group} group={to.group} id={to.content} />;
    case 'pair':
      return <PairView key={to.code} code={to.code} />;
    case 'devices':
      return <DevicesView />;
    case 'invite':
      return <InviteView key={to.key} invitation={to.key} />;
    case 'unknown':
      return <UnknownView />;
  }
}

function skip(event: MouseEvent): void {
  event.preventDefault();
  const main = document.querySelector<HTMLElement>('main');
  main?.focus();
}

export function App() {
  const to = useSignal(route);
  const out = useSignal(signedOut);
  return (
    <>
      <a class="skip" href="#main" onClick={skip}>
        {t('skip')}
      </a>
      <Status />
      {out && to.view !== 'invite' ? <SignedOutView /> : <View to={to} />}
      <UploadPanel />
      <Notices />
    </>
  );
}
