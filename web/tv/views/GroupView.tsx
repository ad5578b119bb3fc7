// SPDX-License-Identifier: MIT
// A group: its photos by month, and the rail that jumps. The lists that the television keeps look alike.
import { useCallback, useEffect, useMemo, useRef, useState } from 'preact/hooks';
import { useSignal } from '../../common/signal';
import { groups, readGroups, wantGroups } from '../core/groups';
import { toggleGuests } from '../core/guestsControl';
import { handOn } from '../core/handed';
import { act, usePresses } from '../core/input';
import { t } from '../core/language';
import { bringBack } from '../core/marking';
import type { Press } from '../core/keys';
import { railOf, railStep } from '../core/rail';
import type { Item } from '../core/records';
import { go } from '../core/router';
import { photoPath, showPath } from '../core/routes';
import { groupSource, keptSource, type Source } from '../core/source';
import { state } from '../core/state';
import { shapeOf, useGrid } from '../core/useGrid';
import { Grid } from '../parts/Grid';
import { Rail } from '../parts/Rail';
import { Button, Drifting, Empty, Name, useBeginning } from '../parts/Small';

type Zone = 'bar' | 'grid' | 'rail';

interface Room {
  readonly width: number;
  readonly height: number;
  readonly rem: number;
}

/** The room that styles give to the grid, from the window's size alone, so that nothing need be measured. */
function roomNow(): Room {
  const rem = parseFloat(getComputedStyle(document.documentElement).fontSize) || 20;
  return { width: Math.floor(innerWidth * 0.9 - 13.1 * rem), height: Math.floor(innerHeight * 0.9 - 6.6 * rem), rem };
}

function useRoom(): Room {
  const [room, setRoom] = useState(roomNow);
  useEffect(() => {
    const measure = (): void => setRoom(roomNow());
    addEventListener('resize', measure);
    return () => removeEventListener('resize', measure);
  }, []);
  return room;
}

interface PhotosProps {
  readonly source: Source;
  readonly name: string;
  readonly hint: string;
  readonly emptyTitle: string;
  readonly emptyHint: string;
  readonly bar: preact.ComponentChildren;
  readonly onOpen: (item: Item) => void;
}

export function Photos({ source, name, hint, emptyTitle, emptyHint, bar, onOpen }: PhotosProps) {
  const room = useRoom();
  const shape = useMemo(() => shapeOf(room.width, room.rem), [room]);
  const state = useGrid(source, shape, room.height);
  const { model } = state;
  const { places } = model;
  const [zone, setZone] = useState<Zone>('grid');
  const [entry, setEntry] = useState(-1);
  const entries = useMemo(() => railOf(places.months), [places]);
  const month = places.months[places.monthAt(state.focus)]?.month ?? '';
  const isEmpty = model.loaded && model.complete && places.total === 0;
  const bars = useRef<HTMLDivElement>(null);
  useBeginning(name, isEmpty || model.failure !== null);

  const jumpTo = (to: number): void => {
    const target = entries[to];
    if (target !== undefined) state.toMonth(target.month);
  };
  const choose = useRef(jumpTo);
  choose.current = (to) => {
    setZone('rail');
    setEntry(to);
    jumpTo(to);
  };
  // The same one always, so that the rail is not drawn again for it.
  const onChoose = useCallback((to: number): void => choose.current(to), []);
  const toBar = (): boolean => {
    setZone('bar');
    bars.current?.querySelector<HTMLElement>('[data-first], button')?.focus({ preventScroll: true });
    return true;
  };
  const toGrid = (): boolean => {
    if (places.total === 0) return false;
    setZone('grid');
    setEntry(-1);
    return true;
  };
  const toRail = (): boolean => {
    const at = entries.findIndex((one) => one.kind === 'month' && one.name === month);
    if (at < 0) return false;
    setZone('rail');
    setEntry(at);
    return true;
  };

  const inGrid = ({ action, steps }: Press): boolean => {
    switch (action) {
      case 'left':
        if ((state.focus - (places.geometry.months[places.monthAt(state.focus)]?.index ?? 0)) % shape.columns === 0 && steps === 1) return toRail();
        state.step(-steps, 0);
        return true;
      case 'right':
        state.step(steps, 0);
        return true;
      case 'down':
        state.step(0, steps);
        return true;
      case 'up':
        if (places.geometry.neighbour(state.focus, 0, -1) === state.focus) return steps === 1 ? toBar() : true;
        state.step(0, -steps);
        return true;
      case 'enter': {
        const item = model.record(state.focus);
        if (item !== undefined) onOpen(item);
        return true;
      }
      default:
        return false;
    }
  };
  const inRail = ({ action, steps }: Press): boolean => {
    if (action === 'up' || action === 'down') {
      const to = railStep(entries, entry, action === 'down' ? steps : -steps);
      if (to === entry && action === 'up' && steps === 1) return toBar();
      setEntry(to);
      jumpTo(to);
      return true;
    }
    if (action === 'right' || action === 'enter') return toGrid();
    return action === 'left';
  };
  usePresses((press) => {
    if (press.action === 'newer' || press.action === 'older') {
      setZone('grid');
      setEntry(-1);
      state.stepMonth(press.action === 'older' ? press.steps : -press.steps);
      return true;
    }
    if (press.action === 'show' || press.action === 'play' || press.action === 'playPause') {
      if (source.group === '') return false;
      const item = zone === 'grid' ? model.record(state.focus) : undefined;
      if (item !== undefined) handOn(item);
      go(showPath(source.group, item === undefined ? {} : { from: item.id }));
      return true;
    }
    if (zone === 'grid' && places.total > 0) return inGrid(press);
    if (zone === 'rail') return inRail(press);
    return press.action === 'down' && toGrid();
  });

  const known = places.total;
  const percent = model.loaded && !model.complete ? Math.min(99, Math.floor((known * 100) / Math.max(1, model.total))) : null;
  return (
    <main class="view group" aria-label={name}>
      <Drifting reach={0.5}>
        <header class="head">
          <h1>
            <Name of={name} />
          </h1>
          <p class="faint">{hint === '' && model.loaded ? t('photos', { count: model.total }) : hint}</p>
          <div class="bar" data-row="" ref={bars} onFocusCapture={() => zone !== 'bar' && setZone('bar')}>
            {bar}
          </div>
        </header>
        <div class="below">
          {isEmpty || (model.failure !== null && !model.loaded) ? (
            <Empty icon="picture" title={emptyTitle} hint={emptyHint} />
          ) : (
            <>
              <Rail
                months={places.months}
                current={month}
                focus={zone === 'rail' ? entry : -1}
                room={Math.floor(room.height / (room.rem * 2.1))}
                percent={percent}
                onChoose={onChoose}
              />
              <Grid key={source.key} state={state} name={name} group={source.group} across={shape.across} view={room.height} active={zone === 'grid'} onOpen={onOpen} />
            </>
          )}
        </div>
      </Drifting>
    </main>
  );
}

function open(group: string, item: Item): void {
  handOn(item);
  go(photoPath(group, item.id));
}

export function GroupView({ id }: { id: string }) {
  const all = useSignal(groups);
  const now = useSignal(state);
  const source = useMemo(() => groupSource(id), [id]);
  const group = all?.find((one) => one.id === id);
  useEffect(() => {
    if (all === null) wantGroups();
    else if (group === undefined) void readGroups();
  }, [id]);
  return (
    <Photos
      source={source}
      name={group?.name ?? t('groups')}
      hint=""
      emptyTitle={t('noPhotos')}
      emptyHint={t('noPhotosHint')}
      onOpen={(item) => open(id, item)}
      bar={
        <>
          <Button name={t('startShow')} icon="play" kind="strong" first onPress={() => go(showPath(id))} />
          <Button name={t('onThisDay')} icon="day" onPress={() => go(showPath(id, { of: 'day' }))} />
          {now?.guests_possible !== false && <Button name={t('inviteGuests')} icon="guests" onPress={() => void toggleGuests(id)} />}
          <Button name={t('groups')} icon="groups" onPress={() => act('back')} />
          <Button name={t('keys')} icon="keys" onPress={() => act('keys')} />
        </>
      }
    />
  );
}

export function KeptView({ which }: { which: 'hidden' | 'marked' }) {
  const source = useMemo(() => keptSource(which), [which]);
  const [bringing, setBringing] = useState<Promise<void> | null>(null);
  const onOpen = (item: Item): void => {
    if (which === 'marked') return open(item.group, item);
    if (bringing === null) setBringing(bringBack(item).then(() => setBringing(null)));
  };
  return (
    <Photos
      source={source}
      name={t(which)}
      hint={t(which === 'hidden' ? 'hiddenHint' : 'markedHint')}
      emptyTitle={t(which === 'hidden' ? 'noHidden' : 'noMarked')}
      emptyHint=""
      onOpen={onOpen}
      bar={
        <>
          {which === 'marked' && <Button name={t('startShow')} icon="play" kind="strong" first onPress={() => go(showPath('', { of: 'marked' }))} />}
          <Button name={t(which === 'hidden' ? 'settings' : 'groups')} icon="back" onPress={() => act('back')} />
        </>
      }
    />
  );
}
