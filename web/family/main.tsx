// SPDX-License-Identifier: MIT
import { render } from 'preact';
import { watchers } from '../common/http';
import { App } from './App';
import * as api from './core/api';
import { feedOf } from './core/groupFeed';
import { readGroups } from './core/groups';
import { language } from './core/language';
import { hastenLive, startLive } from './core/live';
import { signedOut, watchConnection } from './core/notices';
import { route, startRouter } from './core/router';
import { noteVersion, readSession } from './core/session';
import { keepUploading, uploader } from './core/uploadMeans';

document.documentElement.lang = language;
watchConnection(api.session);

// What the first view needs is under way before anything is drawn.
const first = route.value;
if (first.view !== 'invite') {
  if (first.view === 'group') feedOf(first.group).open();
  void readSession();
  void readGroups();
}

startRouter();
const page = document.getElementById('page');
if (page !== null) render(<App />, page);

// Behind the first view's own requests: browsers have six connections, and this one does not end.
setTimeout(() => {
  if (first.view !== 'invite') startLive(noteVersion);
}, 300);
keepUploading();

// Whoever was signed in again in another window finds that this one knows.
document.addEventListener('visibilitychange', () => {
  if (!signedOut.value || document.visibilityState !== 'visible' || route.value.view === 'invite') return;
  api.session().then(
    () => location.reload(),
    () => undefined,
  );
});

const answered = watchers.answered;
let wasAway = false;
const gone = watchers.away;
watchers.away = () => {
  wasAway = true;
  gone();
};
watchers.answered = () => {
  answered();
  if (!wasAway) return;
  wasAway = false;
  hastenLive();
  uploader.wake();
};
