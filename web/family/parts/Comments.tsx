// SPDX-License-Identifier: MIT
// What has been written about a photo, and what is being written.
import { useEffect, useRef, useState } from 'preact/hooks';
import { Failure } from '../../common/http';
import { cleanText } from '../../common/plainText';
import * as api from '../core/api';
import { draftOf, keepDraft } from '../core/drafts';
import { dates, reason, t } from '../core/language';
import { alertText, announce, offerUndo, tell } from '../core/notices';
import type { Comment } from '../core/records';
import { session } from '../core/session';
import { Icon } from './Icon';
import { Name } from './Name';

const LONGEST = 4096;

interface Props {
  content: string;
  /** Null while they are not known. */
  comments: readonly Comment[] | null;
  mayWrite: boolean;
  /** Asks the service for them again. */
  onChanged: () => Promise<readonly Comment[]>;
}

function One({ comment, onDelete }: { comment: Comment; onDelete: () => void }) {
  const id = `author-${comment.id}`;
  return (
    <article class="comment" aria-labelledby={id}>
      <header>
        <div class="comment-by">
          <span class="comment-author" id={id}>
            <Name of={comment.author.name} />
          </span>
          <time class="faint" dateTime={comment.written ?? undefined}>
            {dates.moment(comment.written)}
          </time>
        </div>
        {comment.may.delete && (
          <button type="button" class="button plain square small" aria-label={t('deleteComment')} title={t('deleteComment')} onClick={onDelete}>
            <Icon name="trash" />
          </button>
        )}
      </header>
      <p class="comment-text" dir="auto">
        {cleanText(comment.text)}
      </p>
    </article>
  );
}

export function Comments({ content, comments, mayWrite, onChanged }: Props) {
  const key = `comment:${content}`;
  const [text, setText] = useState(draftOf(key));
  const [sending, setSending] = useState(false);
  const box = useRef<HTMLTextAreaElement>(null);

  // The box is as high as its text.
  useEffect(() => {
    if (box.current === null) return;
    box.current.style.height = 'auto';
    box.current.style.height = `${Math.min(box.current.scrollHeight + 2, 240)}px`;
  }, [text]);

  const keep = (next: string): void => {
    setText(next);
    keepDraft(key, next);
  };

  /** An answer that was lost does not mean that the comment was: it would stand there twice. */
  const arrived = async (written: string): Promise<boolean> => {
    const before = new Set((comments ?? []).map((comment) => comment.id));
    const now = await onChanged().catch(() => []);
    return now.some((one) => !before.has(one.id) && one.author.id === session.value?.person.id && one.text.trim() === written);
  };

  const send = async (event?: Event): Promise<void> => {
    event?.preventDefault();
    const written = text.trim();
    if (written === '' || sending) return box.current?.focus();
    setSending(true);
    try {
      await api.writeComment(content, written);
      keep('');
      alertText.value = '';
      await onChanged().catch(() => []);
    } catch (error) {
      if (error instanceof Failure && error.passing && (await arrived(written))) keep('');
      else tell(t('commentKept', { reason: reason(error) }));
    } finally {
      setSending(false);
      box.current?.focus();
    }
  };

  const remove = async (comment: Comment): Promise<void> => {
    try {
      const { undo_seconds: seconds } = await api.deleteComment(comment.id);
      const undo = (): void => {
        api.restoreComment(comment.id).then(
          () => void onChanged().catch(() => []),
          (error: unknown) => tell(reason(error)),
        );
      };
      if (seconds > 0) offerUndo({ text: t('commentDeleted'), undo }, seconds);
      announce(t('commentDeleted'));
      box.current?.focus({ preventScroll: true });
    } catch (error) {
      if (!(error instanceof Failure) || error.word !== 'not_found') tell(reason(error));
    }
    await onChanged().catch(() => []);
  };

  return (
    <section class="comments" aria-labelledby="comments-heading">
      <h2 id="comments-heading">{t('comments')}</h2>
      {comments !== null && comments.length === 0 && <p class="faint">{t('noComments')}</p>}
      {comments?.map((comment) => (
        <One key={comment.id} comment={comment} onDelete={() => void remove(comment)} />
      ))}
      {mayWrite && (
        <form class="comment-form" onSubmit={(event) => void send(event)}>
          <label class="unseen" for="comment">
            {t('comment')}
          </label>
          <textarea
            id="comment"
            ref={box}
            rows={2}
            maxLength={LONGEST}
            placeholder={t('commentHint')}
            value={text}
            dir="auto"
            onInput={(event) => keep(event.currentTarget.value)}
            onKeyDown={(event) => {
              if (event.key === 'Enter' && (event.ctrlKey || event.metaKey)) void send(event);
            }}
          />
          <button type="submit" class="button strong" aria-disabled={sending || text.trim() === ''}>
            {sending ? t('sending') : t('send')}
          </button>
        </form>
      )}
    </section>
  );
}
