// SPDX-License-Identifier: MIT
// The show: pictures on the whole screen, one after the other, until somebody ends it.
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { useSignal } from '../../common/signal';
import * as api from '../core/api';
import { minute } from '../core/drift';
import { groups, nameOf, wantGroups } from '../core/groups';
import { endGuests, toggleGuests } from '../core/guestsControl';
import { idleFor, onInput } from '../core/idle';
import { act, usePresses, useStrokes } from '../core/input';
import { monthName, photoName, t } from '../core/language';
import { hide, toggleMark } from '../core/marking';
import { useMonthSteps } from '../core/monthSteps';
import { isNight } from '../core/nightHours';
import type { Item } from '../core/records';
import { go, goBack } from '../core/router';
import { type ShowWish, showPath } from '../core/routes';
import { Show } from '../core/show';
import { Stage } from '../core/stage';
import { guests, settings, state } from '../core/state';
import { Ask } from '../parts/Ask';
import { CommentsPanel } from '../parts/CommentsPanel';
import { Icon } from '../parts/Icon';
import { Captions, Corner, GuestsSign, NightSign } from '../parts/ShowSigns';
import { Button, Clock, Empty, useBeginning } from '../parts/Small';

/** So long the controls stay after the last key or move. */
const CONTROLS_STAY = 6000;
/** A night's rest begins so long after the last key, and a show that was stopped goes on. */
const AWAKE_MINUTES = 10;

const isAwake = (): boolean => idleFor() < Math.max(1, settings.value.idle_minutes || AWAKE_MINUTES) * 60_000;

/** The months that a show can go to, newest first. */
async function monthsOf(group: string): Promise<Array<{ month: string }>> {
  const of = group !== '' ? [group] : (groups.value ?? []).slice(0, 50).map((one) => one.id);
  const lists = await Promise.all(of.map((id) => api.months(id)));
  const months = new Set(([] as string[]).concat(...lists.map((list) => list.months.map((one) => one.month))));
  return [...months].sort().reverse().map((month) => ({ month }));
}

type Acts = 'comment' | 'mark' | 'hide';

function useShow(stage: { current: HTMLDivElement | null }, group: string, wish: ShowWish): Show | null {
  const [show, setShow] = useState<Show | null>(null);
  const on = useRef<Stage | null>(null);
  useLayoutEffect(() => {
    if (stage.current === null) return undefined;
    on.current ??= new Stage(stage.current);
    const next = new Show(on.current, group, wish);
    setShow(next);
    return () => next.end();
  }, [group, wish.of, wish.order, wish.from, wish.seconds]);
  useEffect(() => () => on.current?.clear(), []);
  return show;
}

/** Whether the controls are on screen: for a while after somebody asked for them or moved the pointer. */
function useControls(): [boolean, (on: boolean) => void] {
  const [shown, setShown] = useState(false);
  useEffect(() => {
    const byPointer = (): void => setShown(true);
    addEventListener('pointermove', byPointer);
    return () => removeEventListener('pointermove', byPointer);
  }, []);
  useEffect(() => {
    if (!shown) return undefined;
    let timer = 0;
    const begin = (): void => {
      clearTimeout(timer);
      timer = setTimeout(() => setShown(false), CONTROLS_STAY) as unknown as number;
    };
    begin();
    const end = onInput(begin);
    return () => {
      clearTimeout(timer);
      end();
    };
  }, [shown]);
  return [shown, setShown];
}

const focusControls = (): void => document.querySelector<HTMLElement>('.controls button')?.focus({ preventScroll: true });

function useNight(show: Show | null): boolean {
  const { night } = useSignal(settings);
  useSignal(minute);
  const [resting, setResting] = useState(false);
  useEffect(() => {
    const look = (): void => setResting(isNight(settings.value.night, new Date()) && !isAwake());
    look();
    return onInput(look);
  }, [night, minute.value]);
  useEffect(() => show?.rest(resting), [show, resting]);
  return resting;
}

interface InnerProps {
  readonly show: Show;
  readonly resting: boolean;
  readonly main: { current: HTMLElement | null };
}

function Inner({ show, resting, main }: InnerProps) {
  const items = useSignal(show.slide);
  const paused = useSignal(show.paused);
  const found = useSignal(show.found);
  const now = useSignal(state);
  const drop = useSignal(guests);
  const set = useSignal(settings);
  useSignal(minute);
  const [controls, setControls] = useControls();
  const [tells, setTells] = useState(false);
  const [talking, setTalking] = useState<Item | null>(null);
  const [choosing, setChoosing] = useState<Acts | null>(null);
  const [marks, setMarks] = useState<Readonly<Record<string, boolean>>>({});
  const { group, wish } = show;
  const item = items[0];
  const isMarked = (one: Item): boolean => marks[one.id] ?? one.marked;

  useEffect(() => {
    if (paused && idleFor() > AWAKE_MINUTES * 60_000 && talking === null) show.pause(false);
  }, [minute.value]);
  const wanted = useRef(false);
  useLayoutEffect(() => {
    // They were asked for by a key, which goes on among them.
    if (controls && wanted.current) focusControls();
    wanted.current = false;
  });
  useEffect(() => {
    if (controls) return;
    // The focus was on a control that is gone now.
    if (document.querySelector('[role=dialog]') === null) main.current?.focus({ preventScroll: true });
  }, [controls]);

  const doTo = (what: Acts, to: Item): void => {
    setChoosing(null);
    if (what === 'comment') {
      show.pause(true);
      setTalking(to);
    } else if (what === 'mark') {
      void toggleMark({ ...to, marked: isMarked(to) }).then((marked) => setMarks({ [to.id]: marked }));
    } else {
      void hide(to);
    }
  };
  /** Of two pictures side by side one is chosen first. */
  const ask = (what: Acts): boolean => {
    if (items.length > 1) {
      show.pause(true);
      setChoosing(what);
    } else if (item !== undefined) {
      doTo(what, item);
    }
    return true;
  };
  const step = (by: 1 | -1): boolean => {
    if (by > 0) show.next();
    else show.previous();
    return true;
  };
  const stepMonth = useMonthSteps({
    month: /^\d/.test(wish.of) ? wish.of : (item?.created?.slice(0, 7) ?? ''),
    months: () => monthsOf(group),
    go: ({ month }) => go(showPath(group, { ...wish, of: month, from: '' }), true),
  });

  usePresses(({ action }) => {
    // The first key by night shows pictures and does nothing else.
    if (resting) return true;
    const onControls = main.current !== document.activeElement && main.current?.contains(document.activeElement) === true;
    switch (action) {
      case 'left':
        return !onControls && step(-1);
      case 'right':
        return !onControls && step(1);
      case 'down':
        if (onControls) return true;
        if (controls) focusControls();
        else setControls(true);
        wanted.current = !controls;
        return true;
      case 'up':
        if (onControls) main.current?.focus({ preventScroll: true });
        else setTells(!tells);
        return true;
      case 'enter':
        if (onControls) return false;
        show.pause(!paused);
        setControls(true);
        return true;
      case 'playPause':
        show.pause(!paused);
        return true;
      case 'play':
        show.pause(false);
        return true;
      case 'pause':
        show.pause(true);
        return true;
      case 'info':
        setTells(!tells);
        return true;
      case 'newer':
      case 'older':
        stepMonth(action === 'older' ? 1 : -1);
        return true;
      case 'comment':
      case 'mark':
      case 'hide':
        return ask(action);
      case 'back':
        if (onControls) {
          setControls(false);
          return true;
        }
        return goBack();
      case 'show':
      case 'stop':
        return goBack();
      default:
        return false;
    }
  });

  if (resting) return <NightSign />;
  const isBusy = talking !== null || choosing !== null;
  return (
    <>
      {set.clock && !controls && (
        <Corner of={1}>
          <Clock />
        </Corner>
      )}
      {(set.caption || tells) && items.length > 0 && !controls && (
        <Corner of={3}>
          <Captions items={items} news={show.news} tells={tells} />
        </Corner>
      )}
      {drop !== null && (group === '' || drop.group === group) && (
        <Corner of={2}>
          <GuestsSign guests={drop} />
        </Corner>
      )}
      {paused && !isBusy && (
        <p class="paused">
          <Icon name="pause" />
          {t('paused')}
        </p>
      )}
      {found === false && items.length === 0 && (
        <div class="show-empty">
          <Empty icon="picture" title={t(wish.of === 'day' ? 'showEmptyDay' : 'showEmpty')} hint={t('showEmptyHint')} />
        </div>
      )}
      {(controls || found === false) && (
        <div class="controls">
          {item !== undefined && (
            <p class="controls-caption">
              {photoName(item)} · {nameOf(item.group)}
              {wish.of !== 'all' && /^\d/.test(wish.of) && ` · ${monthName(wish.of)}`}
            </p>
          )}
          <div class="bar" data-row="">
            <Button name={t(paused ? 'resume' : 'pause')} icon={paused ? 'play' : 'pause'} onPress={() => show.pause(!paused)} />
            <Button name={t('previousSlide')} icon="back" onPress={() => step(-1)} />
            <Button name={t('nextSlide')} icon="forward" onPress={() => step(1)} />
            <Button name={t('comment')} icon="comment" onPress={() => ask('comment')} />
            <Button name={t('mark')} icon="mark" pressed={item !== undefined && isMarked(item)} onPress={() => ask('mark')} />
            <Button name={t('hide')} icon="hide" onPress={() => ask('hide')} />
            {group !== '' && now?.guests_possible !== false && <Button name={t(drop !== null ? 'guestsEnd' : 'inviteGuests')} icon="guests" onPress={() => void toggleGuests(group)} />}
            <Button name={t('keys')} icon="keys" onPress={() => act('keys')} />
            <Button name={t('endShow')} onPress={() => goBack()} />
          </div>
        </div>
      )}
      {choosing !== null && (
        <Ask
          question={t(choosing)}
          onClose={() => {
            setChoosing(null);
            show.pause(false);
          }}
          answers={items.map((one) => [
            photoName(one),
            () => {
              show.pause(false);
              doTo(choosing, one);
            },
          ])}
        />
      )}
      {talking !== null && (
        <CommentsPanel
          item={talking}
          onCounted={() => undefined}
          onClose={() => {
            setTalking(null);
            show.pause(false);
          }}
        />
      )}
    </>
  );
}

export function ShowView({ group, wish }: { group: string; wish: ShowWish }) {
  const all = useSignal(groups);
  const stage = useRef<HTMLDivElement>(null);
  const main = useRef<HTMLElement>(null);
  const show = useShow(stage, group, wish);
  const resting = useNight(show);
  useBeginning(`${t('show')} ${group === '' ? '' : nameOf(group)}`);
  // Whoever leaves the show takes the guests' key along.
  useEffect(() => () => endGuests(), []);
  useEffect(() => {
    if (all === null) wantGroups();
    // A group that is not shared any more has no show.
    else if (group !== '' && !all.some((one) => one.id === group)) go('#/groups', true);
  }, [all]);
  useStrokes(stage, (direction) => act(direction));
  return (
    <main class={`show${resting ? ' is-night' : ''}`} ref={main} tabIndex={-1} data-first="">
      <h1 class="unseen">{t('show')}</h1>
      <div class="stage" ref={stage} onClick={() => act('playPause')} />
      {show !== null && <Inner show={show} resting={resting} main={main} />}
    </main>
  );
}
