// SPDX-License-Identifier: MIT
// Letting guests add photos to a group, and not any more.
import { Failure } from '../../common/http';
import * as api from './api';
import { t } from './language';
import { failed } from './notices';
import { go } from './router';
import { showPath } from './routes';
import { guests, takeGuests } from './state';

/** Nobody is let in any more; where that cannot be told, the program ends it by itself. */
export function endGuests(): void {
  if (guests.value === null) return;
  takeGuests(null);
  api.endGuests().catch(() => undefined);
}

/** The sign stands on the running show, so the show starts with it. */
export async function toggleGuests(group: string): Promise<void> {
  if (group === '') return failed(t('guestsChoose'));
  try {
    if (guests.value !== null && guests.value.group === group) {
      await api.endGuests();
      takeGuests(null);
      return;
    }
    takeGuests(await api.startGuests(group));
    if (!location.hash.includes('/show')) go(showPath(group));
  } catch (error) {
    failed(error instanceof Failure && error.status === 404 ? t('guestsOff') : error);
  }
}
