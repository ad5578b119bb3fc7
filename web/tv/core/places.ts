// SPDX-License-Identifier: MIT
// Where each photo of a source stands on the page, from its months' counts alone. While the program still reads a group, some months
// are known by name only: they take as many places as have been looked up of them.
import { Geometry, type MonthCount, type Shape } from '../../common/geometry';
import type { Month } from './records';

export interface Place {
  readonly month: string;
  /** Among the photos of the month. */
  readonly offset: number;
  /** In the program's order; null where it does not know it yet. */
  readonly index: number | null;
}

export class Places {
  readonly geometry: Geometry;
  private readonly byMonth = new Map<string, number>();

  /** @param lookedUp how many photos of a month without a count are known */
  constructor(
    readonly months: readonly Month[],
    shape: Shape,
    lookedUp: (month: string) => number,
  ) {
    let index = 0;
    const counts: MonthCount[] = months.map(({ month, count }, at) => {
      this.byMonth.set(month, at);
      const known = count ?? lookedUp(month);
      const entry = { month, count: known, index };
      index += known;
      return entry;
    });
    this.geometry = new Geometry(counts, shape);
  }

  get total(): number {
    return this.geometry.total;
  }

  /** Of which month a place is. */
  monthAt(place: number): number {
    return this.geometry.monthOf(place);
  }

  at(place: number): Place {
    const at = this.geometry.monthOf(place);
    const counted = this.geometry.months[at];
    const month = this.months[at];
    if (counted === undefined || month === undefined) return { month: '', offset: 0, index: null };
    const offset = place - counted.index;
    return { month: month.month, offset, index: month.index === null ? null : month.index + offset };
  }

  /** The place of a photo of the program's order; -1 where its month is not known by count. */
  placeOf(index: number): number {
    for (let at = this.months.length - 1; at >= 0; --at) {
      const month = this.months[at];
      if (month === undefined || month.index === null || month.index > index) continue;
      const counted = this.geometry.months[at];
      return counted === undefined || index - month.index >= counted.count ? -1 : counted.index + index - month.index;
    }
    return -1;
  }

  /** Where a month begins; -1 for one that is not there. */
  monthStart(month: string): number {
    return this.geometry.months[this.byMonth.get(month) ?? -1]?.index ?? -1;
  }

  indexOfMonth(month: string): number {
    return this.byMonth.get(month) ?? -1;
  }
}
