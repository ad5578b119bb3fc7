// SPDX-License-Identifier: MIT
// All groups, with their pictures. Of very many only those around the focus are in the document.
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { useSignal } from '../../common/signal';
import { focusFirst } from '../core/focus';
import { groups, wantGroups } from '../core/groups';
import { idleFor } from '../core/idle';
import { act, usePresses } from '../core/input';
import { t } from '../core/language';
import type { Group } from '../core/records';
import { go } from '../core/router';
import { groupPath, showPath } from '../core/routes';
import { state } from '../core/state';
import { Icon } from '../parts/Icon';
import { Button, Drifting, Empty, Name, useBeginning } from '../parts/Small';

const COLUMNS = 3;
/** Rows in the document: two on screen, and one on each side for the way there. */
const ROWS = 4;

/** Which group had the focus, for those that come back. */
let last = '';

function Card({ group, at, count, focused }: { group: Group; at: number; count: number; focused: boolean }) {
  const [failed, setFailed] = useState(false);
  return (
    <li class="card" aria-setsize={count} aria-posinset={at + 1}>
      <a href={groupPath(group.id)} data-group={at} data-first={focused ? '' : undefined} draggable={false}>
        <span class="card-picture">
          {group.image !== null && !failed ? <img alt="" src={group.image} draggable={false} onError={() => setFailed(true)} /> : <Icon name="picture" />}
        </span>
        <span class="card-name">
          <Name of={group.name} />
        </span>
        <span class="faint">{t('photos', { count: group.total })}</span>
      </a>
    </li>
  );
}

export function GroupsView() {
  const all = useSignal(groups);
  const now = useSignal(state);
  const list = useRef<HTMLUListElement>(null);
  const [focus, setFocus] = useState(() => Math.max(0, all?.findIndex((group) => group.id === last) ?? 0));
  const count = all?.length ?? 0;
  const at = Math.min(focus, Math.max(0, count - 1));
  const row = Math.floor(at / COLUMNS);
  const rows = Math.ceil(count / COLUMNS);
  const start = Math.max(0, Math.min(row - 1, rows - ROWS + 1));
  const moved = useRef(false);

  useEffect(() => {
    wantGroups();
  }, [all === null]);
  useBeginning(t('groups'), all !== null);
  const since = useRef(performance.now());
  useLayoutEffect(() => {
    // Groups that come when nobody has pressed anything yet are where the focus belongs.
    if (count > 0 && idleFor() >= performance.now() - since.current) focusFirst();
  }, [count > 0]);
  // Before anything is painted: the next press must find the focus where it is.
  useLayoutEffect(() => {
    if (moved.current) list.current?.querySelector<HTMLElement>(`[data-group="${at}"]`)?.focus({ preventScroll: true });
    moved.current = false;
  }, [at]);

  const to = (next: number): boolean => {
    const target = Math.min(count - 1, Math.max(0, next));
    last = all?.[target]?.id ?? '';
    moved.current = true;
    setFocus(target);
    return true;
  };
  usePresses(({ action, steps }) => {
    if (action === 'show' || action === 'play' || action === 'playPause') {
      go(showPath(''));
      return true;
    }
    const here = document.activeElement as HTMLElement | null;
    if (here?.dataset.group === undefined) return false;
    switch (action) {
      case 'left':
        return at % COLUMNS === 0 && steps === 1 ? true : to(at - steps);
      case 'right':
        return to(at + steps);
      case 'down':
      case 'newer':
      case 'older':
        if (action === 'newer') return to(at - COLUMNS * ROWS);
        return row === rows - 1 ? true : to(at + COLUMNS * (action === 'older' ? ROWS : steps));
      case 'up':
        if (row === 0) return false;
        return to(at - COLUMNS * Math.min(steps, row));
      case 'enter':
        last = all?.[at]?.id ?? '';
        return false;
      default:
        return false;
    }
  });

  const name = now?.person?.name;
  return (
    <main class="view groups">
      <Drifting reach={0.5}>
        <header class="head">
          <h1>{t('groups')}</h1>
          <p class="faint">{name !== undefined && t('greeting', { name })}</p>
          <div class="bar" data-row="">
            <Button name={t('startShow')} icon="play" kind="strong" onPress={() => go(showPath(''))} />
            <Button name={t('onThisDay')} icon="day" onPress={() => go(showPath('', { of: 'day' }))} />
            <Button name={t('marked')} icon="mark" onPress={() => go('#/marked')} />
            <Button name={t('settings')} icon="settings" onPress={() => go('#/settings')} />
            <Button name={t('keys')} icon="keys" onPress={() => act('keys')} />
          </div>
        </header>
        {all !== null && count === 0 && <Empty icon="groups" title={t('noGroups')} hint={t('noGroupsHint')} />}
        {all === null && (
          <p class="faint" aria-busy="true">
            {t('loading')}
          </p>
        )}
        {count > 0 && (
          <ul class="cards" aria-label={t('groups')} data-row="" data-columns={COLUMNS} ref={list}>
            {(all ?? []).slice(start * COLUMNS, (start + ROWS) * COLUMNS).map((group, offset) => (
              <Card key={group.id} group={group} at={start * COLUMNS + offset} count={count} focused={start * COLUMNS + offset === at} />
            ))}
          </ul>
        )}
      </Drifting>
    </main>
  );
}
