// SPDX-License-Identifier: MIT
// One photo on the whole screen, its neighbours at the arrows, what was said of it at one key.
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { useSignal } from '../../common/signal';
import { useAhead } from '../core/ahead';
import * as api from '../core/api';
import { groups, nameOf, wantGroups } from '../core/groups';
import { handed, handOn } from '../core/handed';
import { onInput } from '../core/idle';
import { act, usePresses, useStrokes } from '../core/input';
import { photoName, taken, t } from '../core/language';
import { onLive } from '../core/live';
import { hide, toggleMark } from '../core/marking';
import { useMonthSteps } from '../core/monthSteps';
import { failed } from '../core/notices';
import { loadPicture, type Loading, release, sharpAddress } from '../core/pictures';
import { useReading } from '../core/reading';
import type { Details, Item } from '../core/records';
import { go, goBack } from '../core/router';
import { photoPath, showPath } from '../core/routes';
import { remember } from '../core/useGrid';
import { CommentsPanel } from '../parts/CommentsPanel';
import { Button, Drifting, Name, useBeginning } from '../parts/Small';

const CALM_AFTER = 8000;
/** So many photos on each side are known, for those who step quickly. */
const AROUND = 6;

const address = (item: Item): string => sharpAddress(item.id, item.width, item.height);

interface Shown {
  readonly details: Details;
  /** The photos around it, itself among them, the newest first. */
  readonly beside: readonly Item[];
}

async function read(group: string, id: string, signal: AbortSignal): Promise<Shown> {
  const details = await api.content(id, signal);
  const { index } = details.content;
  if (index === null || index < 0) return { details, beside: [] };
  const first = Math.max(0, index - AROUND);
  const { contents } = await api.contents(group, first, index - first + AROUND + 1, signal);
  return { details, beside: contents };
}

/** The picture at the panel's resolution, with the grid's own below it until it has come. */
function Sharp({ item, box }: { item: Item; box: { current: HTMLDivElement | null } }) {
  const [isBroken, setBroken] = useState(false);
  useLayoutEffect(() => {
    const place = box.current;
    if (place === null) return undefined;
    setBroken(false);
    let image: HTMLImageElement | null = null;
    let stopped = false;
    let loading: Loading | null = null;
    let timer = 0;
    const begin = (wait: number): void => {
      loading = loadPicture(address(item));
      void loading.outcome.then((outcome) => {
        if (stopped) {
          if (outcome.kind === 'ready') release(outcome.image);
        } else if (outcome.kind === 'ready') {
          image = outcome.image;
          image.className = 'sharp';
          image.alt = photoName(item);
          image.tabIndex = -1;
          image.draggable = false;
          const blurred = place.querySelector<HTMLElement>('img.blurred');
          const focused = document.activeElement === blurred || document.activeElement === document.body;
          place.appendChild(image);
          if (blurred !== null) blurred.style.display = 'none';
          if (focused) image.focus({ preventScroll: true });
        } else if (outcome.kind === 'away') {
          timer = setTimeout(() => begin(Math.min(wait * 2, 10_000)), wait) as unknown as number;
        } else {
          setBroken(true);
        }
      });
    };
    begin(1000);
    return () => {
      stopped = true;
      clearTimeout(timer);
      loading?.cancel();
      if (image === null) return;
      const hadFocus = document.activeElement === image;
      image.remove();
      release(image);
      if (hadFocus) place.querySelector<HTMLElement>('img.blurred')?.focus({ preventScroll: true });
    };
  }, [item.id, item.width, item.height]);
  return (
    <>
      <img key={item.id} class="blurred" src={api.picture(item.id, 'grid')} alt={photoName(item)} tabIndex={-1} draggable={false} data-first="" />
      {isBroken && <p class="broken">{t('brokenPhoto')}</p>}
    </>
  );
}

/** Nothing was pressed for a while: what stands over the photo goes. */
function useCalm(id: string): boolean {
  const [calm, setCalm] = useState(false);
  useEffect(() => {
    let timer = 0;
    const begin = (): void => {
      setCalm(false);
      clearTimeout(timer);
      timer = setTimeout(() => setCalm(true), CALM_AFTER) as unknown as number;
    };
    begin();
    const end = onInput(begin);
    return () => {
      clearTimeout(timer);
      end();
    };
  }, [id]);
  return calm;
}

export function PhotoView({ group, id }: { group: string; id: string }) {
  useSignal(groups);
  const [asked, setAsked] = useState(0);
  const { value, failure } = useReading((signal) => read(group, id, signal), id, asked);
  const [talking, setTalking] = useState(false);
  const [telling, setTelling] = useState(false);
  const [marked, setMarked] = useState<boolean | null>(null);
  const calm = useCalm(id);
  const box = useRef<HTMLDivElement>(null);
  const pending = useRef<-1 | 0 | 1>(0);
  /** The photo that this view has left already because it is gone, or goes for being hidden from here. */
  const left = useRef('');
  const current = value !== null && value.details.content.id === id ? value : null;
  // While its own record is on its way, what is known of it as a neighbour, or was known where somebody came from, is enough.
  const isGone = current === null && failure?.status === 404;
  const item = isGone ? null : (current?.details.content ?? value?.beside.find((one) => one.id === id) ?? handed(id));
  const at = value?.beside.findIndex((one) => one.id === id) ?? -1;
  const newer = at < 1 ? undefined : value?.beside[at - 1];
  const older = at < 0 ? undefined : value?.beside[at + 1];
  const total = value?.details.total ?? null;
  const isMarked = marked ?? item?.marked ?? false;

  const leave = (gone: string): void => {
    left.current = gone;
    failed(t('photoGone'));
    goBack();
  };

  useBeginning(item === null ? t('loading') : photoName(item), item !== null);
  useEffect(() => {
    wantGroups();
    const again = (): void => setAsked((count) => count + 1);
    const ends = [
      onLive('reset', again),
      onLive('content', (event) => event.group === group && again()),
      onLive('deleted', (event) => {
        if (event.group !== group) return;
        if (event.content_id !== location.hash.split('/').pop()) again();
        else if (event.content_id !== left.current) leave(event.content_id);
      }),
    ];
    return () => ends.forEach((end) => end());
  }, [group]);
  // Deleted while this page could not be told: it learns of it when it reads again.
  useEffect(() => {
    if (failure?.status === 404 && current !== null && id !== left.current) leave(id);
  }, [failure]);
  useEffect(() => {
    setMarked(null);
    setTelling(false);
  }, [id]);
  // Before anything is drawn: whoever sees where the photo stands may go back at once.
  useLayoutEffect(() => {
    if (item !== null && item.index !== null) remember(group, item.id, item.index);
  }, [id, item?.index]);
  useAhead([older, newer]);

  const step = (to: Item | undefined, by: -1 | 0 | 1 = 0): boolean => {
    // What lies there may still be on its way.
    pending.current = to === undefined && current === null ? by : 0;
    if (to !== undefined) go(photoPath(group, to.id), true);
    return true;
  };
  useEffect(() => {
    const by = pending.current;
    pending.current = 0;
    if (by !== 0) step(by > 0 ? older : newer);
  }, [value]);
  const stepMonth = useMonthSteps({
    month: item?.created?.slice(0, 7) ?? '',
    months: async () => (await api.months(group)).months,
    go: async ({ month, index }) => {
      const { contents } = index === null ? await api.contentsOfMonth(group, month, 1) : await api.contents(group, index, 1);
      step(contents[0]);
    },
  });
  const onHide = async (): Promise<void> => {
    if (item === null) return;
    // What follows is known before it is gone.
    const after = older ?? newer;
    const stay = after === undefined ? null : photoPath(group, after.id);
    left.current = item.id;
    if (!(await hideQuietly(item, stay))) left.current = '';
    else if (stay === null) goBack();
  };
  const onPicture = (): boolean => box.current?.contains(document.activeElement) === true || document.activeElement === document.body;
  usePresses(({ action }) => {
    if (action === 'newer' || action === 'older') {
      stepMonth(action === 'older' ? 1 : -1);
      return true;
    }
    if (item === null) return false;
    switch (action) {
      case 'left':
        return onPicture() && step(newer, -1);
      case 'right':
        return onPicture() && step(older, 1);
      case 'enter':
        if (!onPicture()) return false;
        setTalking(true);
        return true;
      case 'up':
        if (onPicture()) return true;
        box.current?.querySelector<HTMLElement>('img.sharp, img.blurred')?.focus({ preventScroll: true });
        return true;
      case 'comment':
        setTalking(true);
        return true;
      case 'mark':
        void toggleMark({ ...item, marked: isMarked }).then(setMarked);
        return true;
      case 'hide':
        void onHide();
        return true;
      case 'info':
        setTelling(!telling);
        return true;
      case 'show':
      case 'play':
      case 'playPause':
        handOn(item);
        go(showPath(group, { from: item.id }));
        return true;
      default:
        return false;
    }
  });
  useStrokes(box, (direction) => direction === 'left' ? step(newer, -1) : direction === 'right' && step(older, 1));

  if (item === null) {
    return (
      <main class="view photo">
        <h1 class="unseen">{t('loading')}</h1>
        {failure === null ? <p aria-busy="true">{t('loading')}</p> : <p role="alert">{t('photoGone')}</p>}
      </main>
    );
  }
  const { creator, description, index } = item;
  return (
    <main class={`photo${talking ? ' is-talking' : ''}${calm && !telling ? ' is-calm' : ''}`}>
      <h1 class="unseen">{photoName(item)}</h1>
      <div class="picture" ref={box} onClick={() => act('info')}>
        <Sharp item={item} box={box} />
        {newer !== undefined && <i class="side left" />}
        {older !== undefined && <i class="side right" />}
      </div>
      <div class="foot">
        <Drifting reach={0.5}>
          <div class="caption">
            {description.trim() !== '' && (
              <p class="lead">
                <Name of={description} />
              </p>
            )}
            <p>
              <time>{taken(item)}</time>
              {creator !== null && creator.name !== '' && <span> · {t('by', { name: creator.name })}</span>}
              {index !== null && total !== null && <span> · {t('position', { index: index + 1, total })}</span>}
            </p>
            {telling && (
              <p class="faint">
                {nameOf(group)} {item.width > 0 && `· ${t('size', { width: item.width, height: item.height })}`}
              </p>
            )}
          </div>
          <div class="bar" data-row="">
            <Button name={t('comment')} icon="comment" note={item.comment_count > 0 ? String(item.comment_count) : undefined} onPress={() => setTalking(true)} />
            <Button name={t('mark')} icon="mark" pressed={isMarked} onPress={() => act('mark')} />
            <Button name={t('hide')} icon="hide" onPress={() => act('hide')} />
            <Button name={t('startShow')} icon="play" onPress={() => act('show')} />
            <Button name={t('keys')} icon="keys" onPress={() => act('keys')} />
          </div>
        </Drifting>
      </div>
      {talking && <CommentsPanel item={item} onClose={() => setTalking(false)} onCounted={() => undefined} />}
    </main>
  );
}

/** Goes on to the next photo first: this view must not take the hidden one for one that has gone. */
async function hideQuietly(item: Item, next: string | null): Promise<boolean> {
  const here = location.hash;
  if (next !== null) go(next, true);
  if (await hide(item)) return true;
  go(here, true);
  return false;
}
