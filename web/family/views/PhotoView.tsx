// SPDX-License-Identifier: MIT
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { Failure } from '../../common/http';
import { InOrder } from '../../common/inOrder';
import { useSignal } from '../../common/signal';
import * as api from '../core/api';
import { feedOf, places } from '../core/groupFeed';
import { groups } from '../core/groups';
import { dates, photoName, reason, t } from '../core/language';
import { onLive, tellLive } from '../core/live';
import { announce, offerUndo, tell } from '../core/notices';
import type { Comment, Content, ContentDetails } from '../core/records';
import { go, goBack, route } from '../core/router';
import { groupPath, photoPath } from '../core/routes';
import { session } from '../core/session';
import { useWhenBack } from '../core/useWhenBack';
import { cleanText } from '../../common/plainText';
import { Bar } from '../parts/Bar';
import { Comments } from '../parts/Comments';
import { Failed, Loading } from '../parts/Empty';
import { Icon } from '../parts/Icon';
import { Name } from '../parts/Name';
import { Stage } from '../parts/Stage';
import { NotThere } from './PlainViews';

/** What this page deletes itself: nobody else has to be told of it. */
const deletedHere = new Set<string>();

/** Milliseconds in which two taps are meant as one: by the second the next photo may be there, and would go too. */
const DOUBLE_TAP = 700;
let removed = -Infinity;
/** Those on their way out. */
const removing = new Set<string>();

interface Neighbours {
  readonly of: string;
  readonly before?: Content;
  readonly after?: Content;
}

export function PhotoView({ group, id }: { group: string; id: string }) {
  const feed = feedOf(group);
  const [details, setDetails] = useState<ContentDetails | null>(null);
  const [failure, setFailure] = useState<Failure | null>(null);
  const [beside, setBeside] = useState<Neighbours>({ of: '' });
  const mayComment = useSignal(groups).list?.find((one) => one.id === group)?.may.comment ?? true;
  const shown = useRef(id);
  shown.current = id;
  const reads = useRef(new InOrder());

  const own = details?.content.id === id ? details : null;
  const listed = feed.indexOf(id);
  const content = own?.content ?? (listed >= 0 ? feed.record(listed) : undefined);
  const index = own?.index ?? (listed >= 0 ? listed : null);
  const total = own?.total ?? feed.total;

  const read = async (): Promise<readonly Comment[]> => {
    const isNewer = reads.current.ask();
    const fresh = await api.content(id);
    if (shown.current === id && isNewer()) {
      setDetails(fresh);
      setFailure(null);
    }
    return fresh.comments;
  };
  const readAgain = (): void => {
    read().catch((error: unknown) => {
      if (!(error instanceof Failure)) throw error;
      if (shown.current === id) setFailure(error);
    });
  };

  useEffect(() => {
    setFailure(null);
    readAgain();
  }, [id]);
  useEffect(() => window.scrollTo(0, 0), []);
  useWhenBack(failure !== null, readAgain);

  // Where the feed is to be when one goes back to it.
  useEffect(() => {
    if (index === null) return;
    places.set(group, { index, offset: 200, ...places.get(group), focus: index });
  }, [index]);

  useEffect(() => {
    if (index === null) return undefined;
    let wanted = true;
    const fetched = (at: number): Promise<Content | undefined> => feed.fetchRecord(at).catch(() => undefined);
    void Promise.all([fetched(index - 1), fetched(index + 1)]).then(([before, after]) => {
      if (wanted) setBeside({ of: id, before, after });
    });
    return () => {
      wanted = false;
    };
  }, [id, index, own !== null]);

  const near = beside.of === id ? beside : { before: index === null ? undefined : feed.record(index - 1), after: index === null ? undefined : feed.record(index + 1) };
  const step = (by: number): void => {
    const target = by < 0 ? near.before : near.after;
    if (target === undefined) return;
    go(photoPath(group, target.id), true);
    announce(photoName(target));
  };

  /** To another photo where there is one, else to the feed. */
  const leave = (): void => {
    const target = near.after ?? near.before;
    if (target === undefined) goBack(groupPath(group));
    else go(photoPath(group, target.id), true);
  };

  // Before anything is drawn: a key, or what happens, is meant for the photo on screen.
  useLayoutEffect(() => {
    const onKey = (event: KeyboardEvent): void => {
      const target = event.target as HTMLElement;
      if (event.defaultPrevented || event.altKey || event.ctrlKey || event.metaKey || /^(textarea|input|select)$/i.test(target.tagName)) return;
      if (event.key === 'ArrowLeft') step(-1);
      else if (event.key === 'ArrowRight') step(1);
      else if (event.key === 'Escape') goBack(groupPath(group));
    };
    addEventListener('keydown', onKey);
    return () => removeEventListener('keydown', onKey);
  });

  useLayoutEffect(
    () =>
      onLive((event) => {
        if (event.kind === 'everything') return readAgain();
        if (event.content !== id) return;
        if (event.kind === 'comment') {
          void read().then(announceNewest, () => undefined);
          return;
        }
        if (event.kind !== 'deleted' || event.comment !== null) return readAgain();
        if (deletedHere.has(id)) return;
        tell(t('photoGone'));
        leave();
      }),
  );

  const remove = async (): Promise<void> => {
    if (removing.has(id) || performance.now() - removed < DOUBLE_TAP) return;
    removed = performance.now();
    removing.add(id);
    deletedHere.add(id);
    try {
      const { undo_seconds: seconds } = await api.deleteContent(id);
      announce(t('photoDeleted'));
      if (seconds > 0) offerUndo({ text: t('photoDeleted'), undo: () => void bringBack(group, id) }, seconds);
    } catch (error) {
      // Somebody was quicker: it is gone, as it should be.
      tell(error instanceof Failure && error.word === 'not_found' ? t('photoGone') : reason(error));
      if (!(error instanceof Failure) || error.word !== 'not_found') {
        deletedHere.delete(id);
        return;
      }
    } finally {
      removing.delete(id);
    }
    leave();
    tellLive({ kind: 'deleted', group, content: '', comment: null });
  };

  const gone = failure?.word === 'not_found';
  const name = content === undefined ? t('photosOf') : photoName(content);
  const day = content === undefined ? '' : dates.taken(content.created);
  return (
    <div class="photo-view">
      <Bar title={name} heading={day || t('photosOf')} back={{ path: groupPath(group), name: t('back') }}>
        {content !== undefined && !gone && (
          <>
            <a class="button plain" href={`${content.url}?download`} download>
              <Icon name="download" />
              <span>{t('download')}</span>
            </a>
            {content.may.delete && (
              <button type="button" class="button plain" onClick={() => void remove()}>
                <Icon name="trash" />
                <span>{t('delete')}</span>
              </button>
            )}
          </>
        )}
      </Bar>
      <main id="main" class="photo" tabIndex={-1}>
        {gone && <NotThere back={groupPath(group)} name={t('toGroup')} />}
        {content === undefined && failure === null && <Loading />}
        {content === undefined && failure !== null && !gone && <Failed failure={failure} onAgain={readAgain} />}
        {content !== undefined && !gone && (
          <>
            <Stage content={content} before={near.before} after={near.after} onStep={step} />
            <div class="photo-side">
              {day !== '' && (
                <p class="photo-date" aria-hidden="true">
                  {day}
                </p>
              )}
              {content.description.trim() !== '' && (
                <p class="photo-description" dir="auto">
                  {cleanText(content.description)}
                </p>
              )}
              <p class="faint">
                <ByLine name={content.creator.name} />
                {index !== null && total > 0 && ` · ${t('photoOf', { index: index + 1, total })}`}
              </p>
              <Comments key={id} content={id} comments={own?.comments ?? null} mayWrite={mayComment} onChanged={read} />
            </div>
          </>
        )}
      </main>
    </div>
  );
}

/** Who cannot see a comment appear hears of it. */
function announceNewest(comments: readonly Comment[]): void {
  const newest = comments[comments.length - 1];
  if (newest !== undefined && newest.author.id !== session.value?.person.id) announce(t('newComment', { name: newest.author.name }));
}

/** "Added by" and the name, which keeps a direction of its own. */
function ByLine({ name }: { name: string }) {
  const [before, after] = t('by').split('{name}');
  return (
    <>
      {before}
      <Name of={name} />
      {after}
    </>
  );
}

async function bringBack(group: string, id: string): Promise<void> {
  try {
    await api.restoreContent(id);
    deletedHere.delete(id);
    announce(t('photoBack'));
    if (route.value.view === 'photo' && route.value.group === group) go(photoPath(group, id), true);
  } catch (error) {
    tell(reason(error));
  }
  tellLive({ kind: 'content', group, content: '' });
}
