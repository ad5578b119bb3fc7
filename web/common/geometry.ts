// SPDX-License-Identifier: MIT
// Where everything of a feed stands. Rows and headings have fixed heights, so that counts alone tell every place: a month that was
// never loaded is where it will be.

export interface MonthCount {
  /** "2010-05" */
  readonly month: string;
  readonly count: number;
  /** The place of its first content in the group's order. */
  readonly index: number;
}

/** What the window makes of it, in CSS pixels. */
export interface Shape {
  readonly columns: number;
  /** A tile's side. */
  readonly tile: number;
  readonly gap: number;
  /** Height of a month's heading. */
  readonly heading: number;
  /** Room below a month's last row. */
  readonly below: number;
}

/** The part of a month that a stretch of the feed shows: rows from first up to, not including, end. */
export interface Stretch {
  readonly month: MonthCount;
  readonly top: number;
  readonly firstRow: number;
  readonly endRow: number;
}

const NARROW = 600;

/**
 * Three columns on a telephone; then tiles that grow with the window, slower than it does.
 * @param rem the size of the page's text, with which everything else grows too
 */
export function shapeFor(width: number, rem: number): Shape {
  const heading = Math.round(rem * 3.5);
  const gap = width < NARROW ? 2 : 6;
  const wanted = width < NARROW ? width / 3 : Math.min(17.5 * rem, 7.5 * rem + width / 20);
  const columns = Math.max(2, Math.round(width / wanted));
  const tile = Math.floor((width - gap * (columns - 1)) / columns);
  return { columns, tile: Math.max(1, tile), gap, heading, below: width < NARROW ? 8 : 20 };
}

export class Geometry {
  private readonly tops: Float64Array;
  readonly height: number;
  readonly total: number;
  /** From one row to the next. */
  readonly step: number;

  constructor(
    readonly months: readonly MonthCount[],
    readonly shape: Shape,
  ) {
    this.step = shape.tile + shape.gap;
    this.tops = new Float64Array(months.length);
    let top = 0;
    let total = 0;
    months.forEach((month, at) => {
      this.tops[at] = top;
      top += shape.heading + this.rows(month) * this.step + shape.below;
      total = month.index + month.count;
    });
    this.height = top;
    this.total = total;
  }

  private rows(month: MonthCount): number {
    return Math.ceil(month.count / this.shape.columns);
  }

  /** The last month that begins at or above this height; 0 above all. */
  monthAt(y: number): number {
    let low = 0;
    let high = this.tops.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if ((this.tops[middle] ?? 0) <= y) low = middle;
      else high = middle - 1;
    }
    return low;
  }

  monthTop(at: number): number {
    return this.tops[at] ?? 0;
  }

  /** The month in which a content stands. */
  monthOf(index: number): number {
    let low = 0;
    let high = this.months.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if ((this.months[middle]?.index ?? 0) <= index) low = middle;
      else high = middle - 1;
    }
    return low;
  }

  /** The height at which the row of a content begins. */
  rowTop(index: number): number {
    const at = this.monthOf(index);
    const month = this.months[at];
    if (month === undefined) return 0;
    return this.monthTop(at) + this.shape.heading + Math.floor((index - month.index) / this.shape.columns) * this.step;
  }

  /** The first content of the row that is, in part or whole, the first one at or below this height. */
  indexAt(y: number): number {
    const at = this.monthAt(y);
    const month = this.months[at];
    if (month === undefined) return 0;
    const row = Math.floor((y - this.monthTop(at) - this.shape.heading) / this.step);
    if (row >= this.rows(month)) return Math.min(month.index + month.count, Math.max(0, this.total - 1));
    return month.index + Math.max(0, row) * this.shape.columns;
  }

  /** What stands between two heights. */
  between(from: number, to: number): Stretch[] {
    const stretches: Stretch[] = [];
    for (let at = this.monthAt(from); at < this.months.length; ++at) {
      const month = this.months[at];
      const top = this.monthTop(at);
      if (month === undefined || top >= to) break;
      const rowsTop = top + this.shape.heading;
      const rows = this.rows(month);
      const firstRow = Math.min(rows, Math.max(0, Math.floor((from - rowsTop) / this.step)));
      const endRow = Math.max(firstRow, Math.min(rows, Math.ceil((to - rowsTop) / this.step)));
      if (endRow > firstRow || rowsTop > from) stretches.push({ month, top, firstRow, endRow });
    }
    return stretches;
  }

  /** The content that an arrow key leads to from another, so many columns or rows away; the same one at the edges. */
  neighbour(index: number, columns: number, rows: number): number {
    const last = this.total - 1;
    if (rows === 0) return Math.min(last, Math.max(0, index + columns));
    const at = this.monthOf(index);
    const month = this.months[at];
    if (month === undefined) return index;
    const offset = index - month.index;
    const column = offset % this.shape.columns;
    const row = Math.floor(offset / this.shape.columns) + rows;
    if (row >= 0 && row < this.rows(month)) return month.index + Math.min(month.count - 1, row * this.shape.columns + column);
    const beside = this.months[at + Math.sign(rows)];
    if (beside === undefined) return index;
    const besideRow = rows > 0 ? 0 : this.rows(beside) - 1;
    return beside.index + Math.min(beside.count - 1, besideRow * this.shape.columns + column);
  }
}
