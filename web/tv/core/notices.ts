// SPDX-License-Identifier: MIT
// Sentences that come and go: failures, which are said aloud, and that something has been done.
import { Failure } from '../../common/http';
import { Signal } from '../../common/signal';
import { reason } from './language';
import { locked } from './state';

export interface Notice {
  readonly kind: 'failure' | 'done';
  readonly text: string;
}

export const notice = new Signal<Notice | null>(null);

const STAYS = { failure: 8000, done: 4000 };
let timer = 0;

function tell(kind: Notice['kind'], text: string): void {
  notice.value = { kind, text };
  clearTimeout(timer);
  timer = setTimeout(() => {
    notice.value = null;
  }, STAYS[kind]) as unknown as number;
}

export const done = (text: string): void => tell('done', text);

export function failed(failure: unknown): void {
  if (failure instanceof Failure && failure.word === 'aborted') return;
  if (!locked.value) tell('failure', typeof failure === 'string' ? failure : reason(failure));
}
