// SPDX-License-Identifier: MIT
// Which photo comes next in a show. The program knows the order; here the next few are kept, with what came in between: new photos,
// photos that could not be had when it was their turn, and photos that have gone.
import type { Item, ShowPage } from './records';

export interface Pages {
  fetch(index: number, count: number): Promise<ShowPage>;
}

/** Few at first, so that the first picture does not wait for many records. */
const FIRST = 8;
const PAGE = 60;
/** Fewer than these, and the next page is fetched. */
const LOW = 30;
const MOST_PUT_OFF = 2000;
const MOST_EXTRA = 30;
const MOST_REMEMBERED = 1000;
/** Where there was nothing, something may be by now: another day has begun, or a group is known. */
const EMPTY_FOR = 60_000;

/** Lets the oldest go. */
function limit(set: Set<string>, most: number): void {
  if (set.size > most) set.delete(set.values().next().value as string);
}

export class Sequence {
  private ahead: Item[] = [];
  private extra: Item[] = [];
  private off: Item[] = [];
  private readonly gone = new Set<string>();
  private readonly early = new Set<string>();
  private fetching: Promise<void> | null = null;
  private failedAt = -Infinity;
  private emptyAt = -Infinity;
  private turn = 0;
  total = -1;

  /** @param index the place in the program's order to begin at */
  constructor(
    private readonly pages: Pages,
    public index: number,
    private readonly now: () => number,
  ) {}

  /** Fetches what comes next, where little of it is left; resolves when there is something or cannot be. */
  fill(): Promise<void> {
    if (this.fetching !== null) return this.fetching;
    if (this.ahead.length >= LOW || this.now() - this.failedAt < 1000) return Promise.resolve();
    if (this.total === 0 && this.now() - this.emptyAt < EMPTY_FOR) return Promise.resolve();
    this.fetching = this.fetch().then(() => {
      this.fetching = null;
    });
    return this.fetching;
  }

  private async fetch(): Promise<void> {
    try {
      const page = await this.pages.fetch(this.index, this.total <= 0 ? FIRST : PAGE);
      this.total = page.total;
      if (this.total === 0) this.emptyAt = this.now();
      // Of what is gone no item tells: the program says itself where it goes on.
      this.index = page.next ?? this.index + page.items.length;
      // What was shown before its turn has had it.
      for (const item of page.items) if (!this.gone.has(item.id) && !this.early.delete(item.id)) this.ahead.push(item);
      this.failedAt = -Infinity;
    } catch (error) {
      this.failedAt = this.now();
      if (this.total < 0) throw error;
    }
  }

  /** The next photo; null where none is known at present. */
  next(): Item | null {
    this.turn += 1;
    // What was put off comes in between the others, so that neither waits for all of the other.
    const item = this.extra.shift() ?? (this.turn % 2 === 0 && !this.resting ? this.off.shift() : undefined) ?? this.ahead.shift() ?? (this.resting ? undefined : this.off.shift()) ?? null;
    void this.fill();
    return item;
  }

  /** While the service is away nothing is taken that could not be had before. */
  resting = false;

  /** It could not be had now: it comes again later. */
  putOff(item: Item): void {
    if (this.gone.has(item.id)) return;
    this.off.push(item);
    if (this.off.length > MOST_PUT_OFF) this.off.shift();
  }

  /** Comes before all others: it is new, or was asked for. */
  putFirst(item: Item): void {
    const known = this.ahead.length + this.off.length;
    this.retain((one) => one.id !== item.id);
    this.gone.delete(item.id);
    if (known === this.ahead.length + this.off.length) this.early.add(item.id);
    this.extra.push(item);
    limit(this.early, MOST_REMEMBERED);
    if (this.extra.length > MOST_EXTRA) this.extra.shift();
  }

  remove(id: string): void {
    this.retain((one) => one.id !== id);
    this.gone.add(id);
    // Only pages on their way could still bring it.
    limit(this.gone, MOST_REMEMBERED);
  }

  /** Forgets what does not fit. */
  retain(fits: (item: Item) => boolean): void {
    this.ahead = this.ahead.filter(fits);
    this.extra = this.extra.filter(fits);
    this.off = this.off.filter(fits);
  }

  /** The place of the next photo in the program's order, for a show that goes on after the page was loaded anew. */
  get place(): number {
    return Math.max(0, this.index - this.ahead.length);
  }

  /** The contents that come next, for the program to have them in advance. */
  upcoming(count: number): readonly Item[] {
    return [...this.extra, ...this.ahead, ...this.off].slice(0, count);
  }

  get empty(): boolean {
    return this.extra.length === 0 && this.ahead.length === 0 && this.off.length === 0;
  }
}
