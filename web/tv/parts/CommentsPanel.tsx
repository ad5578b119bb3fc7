// SPDX-License-Identifier: MIT
// What was said of a photo, and a phrase to say at one press. The photo stays in sight beside it.
import { useEffect, useRef, useState } from 'preact/hooks';
import { cleanText } from '../../common/plainText';
import { useSignal } from '../../common/signal';
import * as api from '../core/api';
import { moveFocus } from '../core/focus';
import { onLive } from '../core/live';
import { photoName, spoken, t } from '../core/language';
import { done, failed } from '../core/notices';
import { useReading } from '../core/reading';
import type { Comment, Item } from '../core/records';
import { settings } from '../core/state';
import { Icon } from './Icon';
import { Button, Name } from './Small';
import { Window } from './Window';

/** Of very many comments so many are in the document at once. */
const SHOWN = 24;

function Said({ comment }: { comment: Comment }) {
  return (
    <article class="said" tabIndex={-1}>
      <p class="by">
        <Name of={comment.author?.name ?? ''} /> <time>{spoken.value.dates.moment(comment.written)}</time>
      </p>
      <p class="words" dir="auto">
        {cleanText(comment.text)}
      </p>
    </article>
  );
}

interface Props {
  readonly item: Item;
  readonly onClose: () => void;
  readonly onCounted: (count: number) => void;
}

export function CommentsPanel({ item, onClose, onCounted }: Props) {
  const [asked, setAsked] = useState(0);
  const { value, failure } = useReading((signal) => api.content(item.id, signal), item.id, asked);
  const [sent, setSent] = useState<readonly Comment[]>([]);
  const [sending, setSending] = useState(false);
  const [typed, setTyped] = useState('');
  const { phrases } = useSignal(settings);
  const known = value?.comments ?? [];
  const all = [...known, ...sent.filter((one) => !known.some((other) => other.id === one.id))];
  const [from, setFrom] = useState<number | null>(null);
  const start = Math.min(from ?? Infinity, Math.max(0, all.length - SHOWN));
  const list = useRef<HTMLDivElement>(null);
  const chosen = useRef(phrases[0] ?? '');

  useEffect(() => {
    const again = (): void => setAsked((count) => count + 1);
    const ends = [onLive('comment', ({ content_id }) => content_id === item.id && again()), onLive('reset', again)];
    return () => ends.forEach((end) => end());
  }, [item.id]);
  useEffect(() => {
    // One whose number is not known is among those that were read behind it.
    if (value !== null && value.complete !== false) setSent((before) => before.filter((one) => one.id !== null));
  }, [value]);
  useEffect(() => {
    if (value !== null) onCounted(all.length);
    // What was said last is nearest to what is said next.
    if (list.current !== null && !list.current.contains(document.activeElement)) list.current.scrollTop = list.current.scrollHeight;
  }, [all.length, value === null]);

  const send = async (text: string): Promise<void> => {
    if (sending || text.trim() === '') return;
    setSending(true);
    try {
      const comment = await api.writeComment(item.id, text.trim());
      setSent((before) => [...before, comment]);
      // What was typed meanwhile is not sent yet.
      setTyped((now) => (now.trim() === text.trim() ? '' : now));
      done(t('sent'));
    } catch (error) {
      failed(error);
    } finally {
      setSending(false);
    }
  };

  const onPress = ({ action }: { action: string }): boolean => {
    if (action === 'comment') {
      onClose();
      return true;
    }
    if (action === 'enter' && document.activeElement instanceof HTMLInputElement) {
      void send(typed);
      return true;
    }
    if (action !== 'up' && action !== 'down') return false;
    const at = list.current?.contains(document.activeElement) ? [...list.current.querySelectorAll('article')].indexOf(document.activeElement as HTMLElement) : -1;
    if (action === 'up' && at === 0 && start > 0) setFrom(Math.max(0, start - SHOWN / 2));
    else if (action === 'down' && at === SHOWN - 1 && start + SHOWN < all.length) setFrom(start + SHOWN / 2);
    else moveFocus(action);
    document.activeElement?.scrollIntoView({ block: 'nearest' });
    return true;
  };

  return (
    <Window name={t('commentsHeading')} kind="beside" onClose={onClose} onPress={onPress}>
      <h2>{t('commentsHeading')}</h2>
      <p class="faint">{photoName(item)}</p>
      <div class="comments" ref={list}>
        {all.slice(start, start + SHOWN).map((comment) => (
          <div key={comment.id} data-row="">
            <Said comment={comment} />
          </div>
        ))}
        {value !== null && all.length === 0 && <p class="faint">{t(value.complete === false ? 'error_away' : 'noComments')}</p>}
        {value === null && failure === null && <p class="faint">{t('loading')}</p>}
        {failure !== null && value === null && <p class="faint">{t('photoGone')}</p>}
      </div>
      <p class="faint" id="phrases">
        {t('phrases')}
      </p>
      <div class="phrases" role="group" aria-labelledby="phrases" data-row="" data-columns="3">
        {phrases.slice(0, 12).map((phrase, at) => (
          <button key={phrase} type="button" class="button phrase" data-first={at === 0 ? '' : undefined} onFocus={() => (chosen.current = phrase)} onClick={() => void send(phrase)}>
            {phrase}
          </button>
        ))}
      </div>
      <div class="typing" data-row="">
        <input class="field" type="text" aria-label={t('comment')} maxLength={1000} value={typed} onInput={(event) => setTyped(event.currentTarget.value)} />
        <button type="button" class="button" aria-disabled={sending} onClick={() => void send(typed.trim() === '' ? chosen.current : typed)}>
          <Icon name="send" />
          <span>{t('send')}</span>
        </button>
        <Button name={t('close')} onPress={onClose} />
      </div>
    </Window>
  );
}
