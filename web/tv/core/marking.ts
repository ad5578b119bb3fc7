// SPDX-License-Identifier: MIT
// Marking and hiding from the couch.
import * as api from './api';
import { t } from './language';
import { tellLive } from './live';
import { done, failed } from './notices';
import type { Item } from './records';

/** Returns whether the photo is marked now. */
export async function toggleMark(item: Item): Promise<boolean> {
  try {
    await api.mark(item.id, !item.marked);
    done(t(item.marked ? 'wasUnmarked' : 'wasMarked'));
    return !item.marked;
  } catch (error) {
    failed(error);
    return item.marked;
  }
}

/** Returns whether it is hidden now; every view of the page hears of it as of a photo that has gone. */
export async function hide(item: Item): Promise<boolean> {
  try {
    await api.hide(item.id, true);
    done(t('wasHidden'));
    tellLive('deleted', { group: item.group, content_id: item.id });
    return true;
  } catch (error) {
    failed(error);
    return false;
  }
}

export async function bringBack(item: Item): Promise<void> {
  try {
    await api.hide(item.id, false);
    done(t('wasBrought'));
    tellLive('content', { group: item.group, content_id: item.id, index: null });
  } catch (error) {
    failed(error);
  }
}
