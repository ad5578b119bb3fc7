// SPDX-License-Identifier: MIT
// Who is signed in here, and whether this page is still the service's.
import { Failure } from '../../common/http';
import { Signal } from '../../common/signal';
import * as api from './api';
import type { Session } from './records';
import { setMostBytes, uploader } from './uploadMeans';

declare const PAGE_VERSION: string;

export const session = new Signal<Session | null>(null);
/** A newer page is there, and waits for the photos that are being sent. */
export const reloadDue = new Signal(false);

const RELOADED = 'reloaded-for';

export async function readSession(): Promise<void> {
  try {
    session.value = await api.session();
    setMostBytes(session.value.max_upload_bytes);
    noteVersion(session.value.version);
  } catch (error) {
    if (!(error instanceof Failure)) throw error;
  }
}

/**
 * The service serves another page than this one: it is loaded, as soon as no photo is on its way. Typed texts are kept outside the page.
 * Once for each version: a service that names a version and serves another must not have the page load for ever.
 */
export function noteVersion(version: string): void {
  if (version === '' || version === PAGE_VERSION) return;
  try {
    if (sessionStorage.getItem(RELOADED) === version) return;
  } catch {
    return;
  }
  reloadDue.value = true;
  const stop = uploader.changed.subscribe(reload);
  reload();

  function reload(): void {
    if (uploader.busy) return;
    stop();
    sessionStorage.setItem(RELOADED, version);
    location.reload();
  }
}
