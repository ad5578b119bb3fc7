// SPDX-License-Identifier: MIT
// What guests see on their telephone: a button that adds photos, and how far they are. Addresses are relative: the page lives under its key.
import { render } from 'preact';
import { useEffect, useReducer, useRef, useState } from 'preact/hooks';
import { delayBefore, retryAfterOf } from '../common/backoff';
import { cleanLine } from '../common/plainText';
import { type Outcome, Sending, type Sent } from './sending';
import { language, reason, t } from './texts';

interface State {
  readonly group: string;
  readonly left: { readonly count: number; readonly bytes: number };
  readonly limits?: { readonly bytes_each: number };
}

const POLL = 15_000;

/** By XMLHttpRequest: nothing else tells how much of a body has gone. */
function send(file: File, onProgress: (part: number) => void): Promise<Outcome> {
  return new Promise((resolve) => {
    const request = new XMLHttpRequest();
    request.open('POST', `photos?name=${encodeURIComponent(file.name)}`);
    request.setRequestHeader('Content-Type', file.type === '' ? 'application/octet-stream' : file.type);
    request.upload.onprogress = ({ loaded, total }) => onProgress(total > 0 ? loaded / total : 0);
    request.onloadend = () => {
      let word = '';
      try {
        word = (JSON.parse(request.responseText) as { error?: string }).error ?? '';
      } catch {
        // No answer of the television's: the code has to do.
      }
      resolve({ status: request.status, word, retryAfter: retryAfterOf(request.getResponseHeader('Retry-After')) });
    };
    request.send(file);
  });
}

function Line({ sent, onAgain }: { sent: Sent; onAgain: () => void }) {
  const { state, part } = sent;
  const said = state === 'failed' ? reason(sent.word) : t(state, { percent: Math.floor(part * 100) });
  return (
    <li class={`sent is-${state}`}>
      <span class="name">
        <bdi>{cleanLine(sent.file.name)}</bdi>
      </span>
      <span class="said">{said}</span>
      {state === 'failed' && sent.word !== 'closed' && sent.word !== 'too_large' && sent.word !== 'bad_file' && (
        <button type="button" class="small" onClick={onAgain}>
          {t('again')}
        </button>
      )}
      <progress max={1} value={state === 'done' ? 1 : part} aria-label={cleanLine(sent.file.name)} />
    </li>
  );
}

function Guest() {
  const [, draw] = useReducer((count: number) => count + 1, 0);
  const sending = useRef<Sending | null>(null);
  sending.current ??= new Sending({ send, after: (wait, then) => void setTimeout(then, wait), onChange: () => draw(0) });
  const [state, setState] = useState<State | null>(null);
  const [away, setAway] = useState(false);
  const [closed, setClosed] = useState(false);
  const input = useRef<HTMLInputElement>(null);
  const { list, arrived, busy } = sending.current;
  const ended = closed || sending.current.closed;

  useEffect(() => {
    if (ended) return undefined;
    let over = false;
    let timer = 0;
    let failures = 0;
    const ask = async (): Promise<void> => {
      let wait = POLL;
      try {
        const response = await fetch('state', { cache: 'no-store' });
        if (over) return;
        if (response.status === 404 || response.status === 410) return setClosed(true);
        if (!response.ok) throw new Error(String(response.status));
        const told = (await response.json()) as State;
        if (over) return;
        setState(told);
        setAway(false);
        failures = 0;
      } catch {
        if (over) return;
        failures += 1;
        setAway(true);
        wait = delayBefore(failures, { first: 1000, most: POLL }, null);
      }
      timer = setTimeout(() => void ask(), wait) as unknown as number;
    };
    void ask();
    return () => {
      over = true;
      clearTimeout(timer);
    };
  }, [ended, arrived]);
  useEffect(() => {
    document.title = t('title');
    // Leaving now would leave photos behind.
    const stay = (event: Event): void => event.preventDefault();
    if (busy) addEventListener('beforeunload', stay);
    return () => removeEventListener('beforeunload', stay);
  }, [busy]);

  const left = state?.left.count ?? 0;
  const take = (): void => {
    const files = [...(input.current?.files ?? [])];
    if (input.current !== null) input.current.value = '';
    sending.current?.add(files);
  };
  return (
    <main>
      <h1>{t('title')}</h1>
      {state !== null && <p>{t('group', { group: state.group })}</p>}
      <p role="status">{away && !ended ? t('away') : ''}</p>
      {ended && (
        <div role="alert" class="closed">
          <h2>{t('closed')}</h2>
          <p>{t('closedHint')}</p>
        </div>
      )}
      {!ended && (
        <>
          <button type="button" class="add" disabled={state === null || left === 0} onClick={() => input.current?.click()}>
            {t(list.length === 0 ? 'add' : 'more')}
          </button>
          <input ref={input} type="file" accept="image/*" multiple hidden onChange={take} />
          <p class="faint">{state === null ? t('loading') : t('left', { count: left })}</p>
        </>
      )}
      {arrived > 0 && !busy && (
        <p class="thanks" aria-live="polite">
          {t('thanks', { count: arrived })}
        </p>
      )}
      {list.length > 0 && (
        <ul aria-label={t('photos')}>
          {list.map((sent) => (
            <Line key={sent.id} sent={sent} onAgain={() => sending.current?.again(sent.id)} />
          ))}
        </ul>
      )}
    </main>
  );
}

document.documentElement.lang = language;
const page = document.getElementById('page');
if (page !== null) render(<Guest />, page);
