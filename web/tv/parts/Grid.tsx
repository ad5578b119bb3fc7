// SPDX-License-Identifier: MIT
// Photos in rows of fixed height under their months. Only the rows on screen are in the document.
import { useEffect, useLayoutEffect, useRef } from 'preact/hooks';
import { dropImage, holdImages, lookAt, wantImage } from '../../common/imageQueue';
import { useSignal } from '../../common/signal';
import { useAhead } from '../core/ahead';
import * as api from '../core/api';
import { Glide } from '../core/glide';
import { flying, useStrokes } from '../core/input';
import { monthName, photoName, t } from '../core/language';
import { afterPaint, mark } from '../core/marks';
import type { Item } from '../core/records';
import { Slots } from '../core/slots';
import type { GridState } from '../core/useGrid';
import { Icon } from './Icon';
import { still } from './still';

/** Milliseconds that a photo has the focus before it is taken for one that may be opened. */
const REST = 150;

/** Without an identifier it is one that waits for its photo. */
function Thumb({ id, place }: { id: string; place: number }) {
  const image = useRef<HTMLImageElement>(null);
  // It is asked for before the cell is painted: that takes longer than the picture's way.
  useLayoutEffect(() => {
    const element = image.current;
    if (element === null || id === '') return undefined;
    element.dataset.content = id;
    wantImage(element, api.picture(id, 'grid'), place);
    return () => {
      dropImage(element);
      // The next photo of this cell must not begin with this one's picture.
      element.removeAttribute('src');
      delete element.dataset.state;
    };
  }, [id]);
  return <img ref={image} class="thumb" alt="" draggable={false} />;
}

interface CellProps {
  readonly item: Item | undefined;
  readonly place: number;
  readonly column: number;
  readonly left: number;
  readonly width: number;
  readonly height: number;
  readonly isFocused: boolean;
}

/** Most cells are the same before and after a move. */
const Cell = still(({ item, place, column, left, width, height, isFocused }: CellProps) => (
  <div
    role="gridcell"
    class="cell"
    aria-label={item === undefined ? t('loading') : photoName(item)}
    aria-busy={item === undefined}
    aria-colindex={column + 1}
    tabIndex={isFocused ? 0 : -1}
    data-place={place}
    style={{ left: `${left}px`, width: `${width}px`, height: `${height}px` }}
  >
    <Thumb id={item?.id ?? ''} place={place} />
    {item !== undefined && (item.marked || item.comment_count > 0) && (
      <span class="badges" aria-hidden="true">
        {item.marked && <Icon name="mark" full />}
        {item.comment_count > 0 && <Icon name="comment" />}
        {item.comment_count > 0 && <i data-count={item.comment_count} />}
      </span>
    )}
  </div>
));

interface Props {
  readonly state: GridState;
  readonly name: string;
  readonly group: string;
  readonly across: number;
  readonly view: number;
  /** Whether the focus belongs here. */
  readonly active: boolean;
  readonly onOpen: (item: Item) => void;
}

export function Grid({ state, name, group, across, view, active, onOpen }: Props) {
  const { model, focus, scroll } = state;
  const { geometry } = model.places;
  const { shape, step } = geometry;
  const box = useRef<HTMLDivElement>(null);
  const isFlying = useSignal(flying);
  const wasPainted = useRef(false);
  /** From the first photos on: that they appear is no move. */
  const glide = useRef<Glide | null>(null);
  const slots = useRef(new Slots());

  const stretches = geometry.total === 0 ? [] : geometry.between(scroll, scroll + view);
  const names: string[] = [];
  let first = Infinity;
  let end = 0;
  for (const { month, firstRow, endRow } of stretches) {
    if (endRow <= firstRow) continue;
    for (let row = firstRow; row < endRow; ++row) names.push(`${month.month} ${row}`);
    first = Math.min(first, month.index + firstRow * shape.columns);
    end = Math.max(end, month.index + Math.min(month.count, endRow * shape.columns));
  }

  useEffect(() => {
    holdImages(isFlying);
    lookAt(focus);
    // While the photos fly by nothing is fetched: it would come too late to be seen.
    if (!isFlying && end > first) model.want(first, end);
  }, [first, end, isFlying, geometry]);
  useEffect(() => () => holdImages(false), []);
  useAhead([isFlying ? undefined : model.record(focus)], REST);

  useLayoutEffect(() => {
    if (active) box.current?.querySelector<HTMLElement>(`[data-place="${focus}"]`)?.focus({ preventScroll: true });
  });

  // Together with the images themselves: those that are stored come at once.
  useLayoutEffect(() => {
    const element = box.current;
    if (element === null) return undefined;
    const onLoad = (event: Event): void => {
      if (wasPainted.current || !(event.target instanceof HTMLImageElement)) return;
      wasPainted.current = true;
      const content = event.target.dataset.content ?? '';
      afterPaint(() => mark('first-picture', { group, content }));
    };
    element.addEventListener('load', onLoad, true);
    return () => element.removeEventListener('load', onLoad, true);
  }, []);

  useStrokes(box, (direction) => (direction === 'up' || direction === 'down') && state.step(0, direction === 'down' ? 1 : -1), step / 2);

  const open = (event: MouseEvent): void => {
    const cell = (event.target as Element).closest<HTMLElement>('[data-place]');
    if (cell === null) return;
    const place = Number(cell.dataset.place);
    const item = model.record(place);
    state.move(place);
    if (item !== undefined) onOpen(item);
  };

  const taken = slots.current.take(names, scroll);
  const rows = [];
  let at = 0;
  for (const { month, top, firstRow, endRow } of stretches) {
    if (month.month !== '' && top + shape.heading > scroll) {
      rows.push(
        <div key={`m${month.month}`} role="row" class="month" style={{ transform: `translate3d(0, ${top - scroll}px, 0)`, height: `${shape.heading}px` }}>
          <span role="columnheader">{monthName(month.month)}</span>
        </div>,
      );
    }
    for (let row = firstRow; row < endRow; ++row, ++at) {
      const from = month.index + row * shape.columns;
      const count = Math.min(shape.columns, month.index + month.count - from);
      const cells = [];
      for (let column = 0; column < count; ++column) {
        const place = from + column;
        cells.push(
          <Cell
            key={column}
            item={model.record(place)}
            place={place}
            column={column}
            left={column * (across + shape.gap)}
            width={across}
            height={shape.tile}
            isFocused={place === focus}
          />,
        );
      }
      const y = top + shape.heading + row * step - scroll;
      const slot = taken[at];
      rows.push(
        <div
          key={slot?.slot}
          role="row"
          class={slot?.isNew === true ? 'photos new' : 'photos'}
          style={{ transform: `translate3d(0, ${y}px, 0)`, height: `${shape.tile}px` }}
        >
          {cells}
        </div>,
      );
    }
  }
  if (rows.length > 0) glide.current ??= new Glide(scroll);
  const glides = glide.current?.to(scroll, view, isFlying, performance.now()) === true;
  return (
    <div class={`grid${glides ? ' glides' : ''}`} role="grid" aria-label={name} aria-rowcount={-1} aria-colcount={shape.columns} ref={box} onClick={open}>
      {rows}
    </div>
  );
}
