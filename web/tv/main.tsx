// SPDX-License-Identifier: MIT
import { render } from 'preact';
import { App, unhandled } from './App';
import { startDrift } from './core/drift';
import { readGroups, startGroups } from './core/groups';
import { watchIdle } from './core/idle';
import { startInput } from './core/input';
import { speak } from './core/language';
import { startLive } from './core/live';
import { go, route, startRouter } from './core/router';
import { showPath } from './core/routes';
import { isConnected, isOutdated, readState, renew, settings, startState, state } from './core/state';

speak('auto');
startState();
startGroups();
startDrift();
startRouter();
startInput(unhandled);

// What the first view needs is under way before anything is drawn.
void readState();
void readGroups();

// In a task of its own: on a slow processor each takes a while, in which no key is heard.
setTimeout(() => {
  const page = document.getElementById('page');
  if (page !== null) render(<App />, page);
});

// Behind the first view's own requests: browsers have six connections, and this one does not end.
setTimeout(startLive, 300);

const isWatched = (): boolean => document.visibilityState === 'visible';

watchIdle(
  () => settings.value.idle_minutes,
  () => {
    const now = route.value;
    if (now.view === 'show' || !isConnected(state.value) || !isWatched()) return;
    go(showPath(now.view === 'group' || now.view === 'photo' ? now.group : ''));
  },
);

// Where no show runs, a newer page is loaded when nobody presses anything.
watchIdle(
  () => 1,
  () => {
    if (isOutdated() && route.value.view !== 'show') renew();
  },
);
