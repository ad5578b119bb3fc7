// SPDX-License-Identifier: MIT
// JSON from and to the page's own service.
import { retryAfterOf } from './backoff';

/**
 * Why a request failed. `word` is the service's own, or `away` when no answer came, `cut` when it ended early, `aborted` when nobody
 * wanted it any more.
 */
export class Failure extends Error {
  constructor(
    readonly word: string,
    readonly status: number,
    message: string,
    /** Milliseconds until which the service asks not to be asked again; null where it says nothing. */
    readonly retryAfter: number | null = null,
  ) {
    super(message);
  }

  /** Whether the same request may succeed later without anybody changing anything. */
  get passing(): boolean {
    // What is forbidden stays so, also where it is the number that is too large.
    if (this.status === 403) return false;
    return PASSING.has(this.word) || (this.status >= 500 && !LASTING.has(this.word));
  }
}

const PASSING = new Set(['away', 'cut', 'busy', 'too_many']);
const LASTING = new Set(['disk_full']);

const WORD_BY_STATUS: Readonly<Record<number, string>> = {
  400: 'bad_request',
  401: 'signed_out',
  403: 'forbidden',
  404: 'not_found',
  410: 'gone',
  413: 'too_large',
  429: 'too_many',
  502: 'away',
  503: 'busy',
  504: 'away',
  507: 'disk_full',
};

const REQUEST_TIME = 30_000;

/** The failure that an answer with a code of its own stands for. */
export function failureOf(status: number, body: string, retryAfter: string | null, date: string | null): Failure {
  let word = WORD_BY_STATUS[status] ?? 'failed';
  let message = `HTTP ${status}`;
  try {
    const document = JSON.parse(body) as { error?: unknown; message?: unknown };
    if (typeof document.error === 'string') word = document.error;
    if (typeof document.message === 'string') message = document.message;
  } catch {
    // A proxy's page, or nothing: the code has to do.
  }
  return new Failure(word, status, message, retryAfterOf(retryAfter, date));
}

export interface Options {
  method?: 'GET' | 'POST' | 'PUT' | 'DELETE';
  json?: unknown;
  signal?: AbortSignal;
}

/** What hears of every answer, and of every request that had none, or one that said so: with its code, 0 without an answer. */
export const watchers: { answered: () => void; away: (status?: number) => void; signedOut: () => void } = {
  answered: () => undefined,
  away: () => undefined,
  signedOut: () => undefined,
};

/** The JSON that the address answers with; null where the answer is empty. Throws a Failure. */
export async function request<T>(address: string, options: Options = {}): Promise<T> {
  const stop = new AbortController();
  const onAbort = (): void => stop.abort();
  options.signal?.addEventListener('abort', onAbort);
  if (options.signal?.aborted) stop.abort();
  const timer = setTimeout(() => stop.abort(), REQUEST_TIME);
  try {
    const init: RequestInit = { method: options.method ?? 'GET', credentials: 'same-origin', signal: stop.signal };
    init.headers = { Accept: 'application/json' };
    if (options.json !== undefined) {
      init.headers = { ...init.headers, 'Content-Type': 'application/json' };
      init.body = JSON.stringify(options.json);
    }
    const response = await fetch(address, init);
    const text = await response.text();
    if (!response.ok) throw failureOf(response.status, text, response.headers.get('Retry-After'), response.headers.get('Date'));
    watchers.answered();
    return (text === '' ? null : JSON.parse(text)) as T;
  } catch (error) {
    throw told(error, options.signal?.aborted === true);
  } finally {
    clearTimeout(timer);
    options.signal?.removeEventListener('abort', onAbort);
  }
}

function told(error: unknown, unwanted: boolean): Failure {
  if (unwanted) return new Failure('aborted', 0, 'nobody wants it any more');
  if (!(error instanceof Failure)) {
    if (error instanceof SyntaxError) return new Failure('failed', 0, 'the answer cannot be read');
    watchers.away();
    return new Failure('away', 0, 'no answer');
  }
  if (error.word === 'away') watchers.away(error.status);
  else watchers.answered();
  if (error.word === 'signed_out') watchers.signedOut();
  return error;
}
