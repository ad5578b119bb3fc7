// SPDX-License-Identifier: MIT
// A source's photos and where the focus among them is. Moving is arithmetic on places: counts of months, columns, rows.
import { useEffect, useLayoutEffect, useMemo, useReducer, useRef, useState } from 'preact/hooks';
import type { Shape } from '../../common/geometry';
import { GridModel } from './gridModel';
import type { Source } from './source';
import { onForget } from './state';

export const COLUMNS = 4;

/** Where the focus was in each source, for those that come back. */
const memory = new Map<string, { id: string; place: number }>();
onForget(() => memory.clear());

export function remember(key: string, id: string, place: number): void {
  memory.delete(key);
  memory.set(key, { id, place });
  if (memory.size > 50) memory.delete(memory.keys().next().value as string);
}

/** The grid's shape in dots, for a window and its text's size. */
export function shapeOf(width: number, rem: number): Shape & { readonly across: number } {
  const gap = Math.round(0.8 * rem);
  const across = Math.max(1, Math.floor((width - gap * (COLUMNS - 1)) / COLUMNS));
  return { columns: COLUMNS, tile: Math.round(across * 0.75), gap, heading: Math.round(2.6 * rem), below: Math.round(0.6 * rem), across };
}

export interface GridState {
  readonly model: GridModel;
  /** The place that has the focus. */
  readonly focus: number;
  /** How far the grid is scrolled, in dots. */
  readonly scroll: number;
  /** To another place; shown as far up as possible where it is a jump. */
  move(place: number, jump?: boolean): void;
  /** By columns and rows. */
  step(columns: number, rows: number): void;
  /** To the first photo of a month; where its photos are not known yet, as soon as they are. */
  toMonth(month: string): void;
  /** Month by month: 1 is the next older one. */
  stepMonth(by: number): void;
}

/** The scroll that shows the row with as little movement as may be. */
function scrollFor(model: GridModel, place: number, scroll: number, view: number, jump: boolean): number {
  const { geometry } = model.places;
  const { step, shape, height } = geometry;
  const most = Math.max(0, height - view);
  const top = geometry.rowTop(place);
  // The heading stays in sight with the first row of its month.
  const month = geometry.months[geometry.monthOf(place)];
  const isFirstRow = month !== undefined && place - month.index < shape.columns;
  const upper = isFirstRow ? top - shape.heading : top - step * 0.35;
  const lower = top + step * 1.35 - view;
  let wanted = scroll;
  if (jump || upper < scroll) wanted = upper;
  else if (lower > scroll) wanted = Math.min(lower, upper);
  return Math.round(Math.max(0, Math.min(most, wanted)));
}

/** Where a month begins; -1 while none of its photos is known. */
function knownStart(model: GridModel, month: string): number {
  const { geometry } = model.places;
  const counted = geometry.months[model.places.indexOfMonth(month)];
  return counted === undefined || counted.count === 0 ? -1 : counted.index;
}

export function useGrid(source: Source, shape: Shape, view: number): GridState {
  const [, draw] = useReducer((count: number) => count + 1, 0);
  const kept = useRef(memory.get(source.key));
  const model = useMemo(() => new GridModel(source, shape, kept.current === undefined), [source.key]);
  const [at, setAt] = useState({ focus: kept.current?.place ?? 0, scroll: -1 });
  const now = useRef(at);
  now.current = at;
  /** The content that has the focus, found again when places change. */
  const focused = useRef(kept.current?.id ?? '');

  /** The month that is waited for. */
  const awaited = useRef('');

  useEffect(() => () => model.end(), [model]);
  useEffect(() => model.reshape(shape), [shape.columns, shape.tile, shape.gap, shape.heading]);
  // Together with the first drawing: the first photos may be there before its frame is.
  useLayoutEffect(
    () =>
      model.changed.subscribe(() => {
        const { focus, scroll } = now.current;
        const item = model.record(focus);
        const start = awaited.current === '' ? -1 : knownStart(model, awaited.current);
        if (start >= 0) {
          awaited.current = '';
          focused.current = model.record(start)?.id ?? '';
          setAt({ focus: start, scroll: scrollFor(model, start, scroll, view, true) });
          return;
        }
        if (focused.current !== '' && item !== undefined && item.id !== focused.current) {
          const moved = model.find(focused.current);
          if (moved >= 0 && moved !== focus) {
            // What stood under the focus keeps its height on screen.
            const by = model.places.geometry.rowTop(moved) - model.places.geometry.rowTop(focus);
            setAt({ focus: moved, scroll: Math.max(0, scroll + by) });
            return;
          }
        }
        if (item !== undefined && model.find(focused.current) < 0) focused.current = item.id;
        draw(0);
      }),
    [model],
  );

  const last = Math.max(0, model.places.total - 1);
  const focus = model.loaded ? Math.min(at.focus, last) : at.focus;
  const scroll = at.scroll >= 0 || !model.loaded ? Math.max(0, at.scroll) : scrollFor(model, focus, 0, view, false);

  const move = (place: number, jump = false): void => {
    awaited.current = '';
    const target = Math.min(last, Math.max(0, place));
    focused.current = model.record(target)?.id ?? '';
    remember(source.key, focused.current, target);
    setAt({ focus: target, scroll: scrollFor(model, target, scroll, view, jump) });
  };
  const toMonth = (month: string): void => {
    model.lookUp(month);
    const start = knownStart(model, month);
    if (start >= 0) move(start, true);
    else awaited.current = month;
  };
  return {
    model,
    focus,
    scroll: Math.min(scroll, Math.max(0, model.places.geometry.height - view)),
    move,
    step: (columns, rows) => {
      if (rows === 0) return move(focus + columns);
      // Row by row, since months end in rows of their own.
      let place = focus;
      for (let left = Math.abs(rows); left > 0; --left) place = model.places.geometry.neighbour(place, 0, Math.sign(rows));
      move(place);
    },
    toMonth,
    stepMonth: (by) => {
      const month = model.places.monthAt(focus);
      const target = model.places.months[Math.min(model.places.months.length - 1, Math.max(0, month + by))];
      if (target !== undefined) toMonth(target.month);
    },
  };
}
