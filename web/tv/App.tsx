// SPDX-License-Identifier: MIT
import { useErrorBoundary, useLayoutEffect } from 'preact/hooks';
import { Signal, useSignal } from '../common/signal';
import type { Press } from './core/keys';
import { spoken } from './core/language';
import { go, goBack, route } from './core/router';
import { type Route, showPath } from './core/routes';
import { isConnected, locked, state } from './core/state';
import { KeysWindow } from './parts/KeysWindow';
import { Notices, Status } from './parts/Signs';
import { GroupsView } from './views/GroupsView';
import { GroupView, KeptView } from './views/GroupView';
import { LockedView, PairView } from './views/PairView';
import { PhotoView } from './views/PhotoView';
import { SettingsView } from './views/SettingsView';
import { ShowView } from './views/ShowView';

function View({ to }: { to: Route }) {
  switch (to.view) {
    case 'groups':
      return <GroupsView />;
    case 'pair':
      return <PairView />;
    case 'settings':
      return <SettingsView />;
    case 'kept':
      return <KeptView key={to.which} which={to.which} />;
    case 'group':
      return <GroupView key={to.group} id={to.group} />;
    case 'photo':
      return <PhotoView key={to.group} group={to.group} id={to.content} />;
    case 'show':
      return <ShowView key={to.group} group={to.group} wish={to.wish} />;
  }
}

/** A view that has failed is made anew so soon; where it goes on failing, the whole page is. */
const ANEW_AFTER = 1000;
const MOST_FAILURES = 3;
const FAILURES_WITHIN = 60_000;
let failures: number[] = [];

/** A fault of one view must not leave a dark screen: nobody is there to load the page again. */
function Guarded({ to }: { to: Route }) {
  const [failure, mend] = useErrorBoundary((error: unknown) => {
    console.error(error);
    failures = [...failures.filter((at) => performance.now() - at < FAILURES_WITHIN), performance.now()];
    setTimeout(() => (failures.length > MOST_FAILURES ? location.reload() : mend()), ANEW_AFTER * failures.length);
  });
  return failure === undefined ? <View to={to} /> : null;
}

const keysShown = new Signal(false);

/** What no view wants is the same in all of them. */
export function unhandled({ action }: Press): boolean {
  switch (action) {
    case 'keys':
    case 'info':
      keysShown.value = true;
      return true;
    case 'back':
      return goBack();
    case 'show':
    case 'play':
    case 'playPause':
      if (isConnected(state.value)) go(showPath(''));
      return true;
    default:
      return false;
  }
}

export function App() {
  const to = useSignal(route);
  const now = useSignal(state);
  const isLocked = useSignal(locked);
  const keys = useSignal(keysShown);
  const { code } = useSignal(spoken);
  const isUnpaired = now !== null && !isConnected(now);
  // Before anything is drawn: a key that is pressed then is meant for what is on screen.
  useLayoutEffect(() => {
    keysShown.value = false;
    if (isUnpaired && to.view !== 'pair') go('#/pair', true);
  }, [isUnpaired, to.view]);
  return (
    <div key={code} class="app">
      <Status />
      {isLocked ? <LockedView /> : <Guarded to={isUnpaired ? { view: 'pair' } : to} />}
      {keys && <KeysWindow onClose={() => (keysShown.value = false)} />}
      <Notices />
    </div>
  );
}
