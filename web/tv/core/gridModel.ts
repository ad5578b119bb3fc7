// SPDX-License-Identifier: MIT
// The photos of a source as its grid needs them: months at once, records page by page, and both anew when something happens.
import { pause } from '../../common/backoff';
import type { Shape } from '../../common/geometry';
import { Failure } from '../../common/http';
import { PageCache } from '../../common/pageCache';
import { Signal } from '../../common/signal';
import * as api from './api';
import { onLive } from './live';
import { Places } from './places';
import { insist, Newest } from './reading';
import type { Item, Months } from './records';
import type { Source } from './source';

const PAGE = 60;
const KEPT_PAGES = 24;
/** Photos of a month that are looked up before it is counted. */
const LOOKED_UP = 200;
const KEPT_MONTHS = 12;
/** Changes of one moment are one reading. */
const SETTLE = 250;
/** So long, in milliseconds, the months wait for the first photos. */
const TOGETHER = 100;
const EARLY = 8;

/** What was read anew: all months, and the pages that were on screen. */
interface Fresh {
  readonly months: Months;
  readonly pages: ReadonlyArray<readonly [number, readonly Item[]]>;
}

export class GridModel {
  /** Changes whenever there is something else to draw. */
  readonly changed = new Signal(0);
  places: Places;
  complete = true;
  total = 0;
  loaded = false;
  failure: Failure | null = null;

  private known: Months = { complete: true, total: 0, months: [] };
  private cache = new PageCache<Item>(PAGE, KEPT_PAGES);
  private readonly lookedUp = new Map<string, readonly Item[]>();
  private readonly running = new Map<string, AbortController>();
  private early: readonly HTMLImageElement[] = [];
  private readonly stop = new AbortController();
  private readonly ends: Array<() => void> = [];
  /** What was on screen last; read again when something happens. */
  private shown: readonly [number, number] = [0, 0];
  private readonly newest = new Newest(
    () => this.readAgain(),
    (fresh) => this.takeAgain(fresh),
    (error) => this.fail(error),
  );

  /** @param atFirst whether its first photo is the one that is seen first */
  constructor(
    private readonly source: Source,
    private shape: Shape,
    private readonly atFirst: boolean,
  ) {
    this.places = new Places([], shape, () => 0);
    const mine = ({ group }: { group: string }): void => {
      if (source.group === '' || group === source.group) this.refresh();
    };
    this.ends.push(onLive('content', mine), onLive('deleted', mine), onLive('index', mine), onLive('reset', () => this.refresh()));
    void this.begin();
  }

  /** The first photos are asked for together with the months, and drawn together with them: each drawing takes its time. */
  private async begin(): Promise<void> {
    const first = this.fetchPage(0);
    try {
      const months = await insist(() => this.source.months(), this.stop.signal);
      await Promise.race([first, pause(TOGETHER, this.stop.signal)]);
      // Where they were read again meanwhile, those are newer.
      if (!this.stop.signal.aborted && !this.loaded) this.takeMonths(months);
    } catch (error) {
      this.fail(error);
    }
  }

  /** While the grid is being drawn its first pictures are on their way. */
  private hasten(items: readonly Item[]): void {
    this.early = items.slice(0, EARLY).map(({ id }) => {
      const image = new Image();
      image.src = api.picture(id, 'grid');
      return image;
    });
  }

  end(): void {
    this.stop.abort();
    this.newest.end();
    for (const end of this.ends) end();
    for (const one of this.running.values()) one.abort();
    for (const image of this.early) image.removeAttribute('src');
  }

  reshape(shape: Shape): void {
    if (shape === this.shape) return;
    this.shape = shape;
    this.layOut();
  }

  private layOut(): void {
    this.places = new Places(this.known.months, this.shape, (month) => this.lookedUp.get(month)?.length ?? 0);
    this.note();
  }

  private note(): void {
    if (this.loaded || this.failure !== null) this.changed.value += 1;
  }

  /** Months and what is on screen are read again; what was there stays until the new is. */
  refresh(): void {
    this.newest.soon(SETTLE);
  }

  private async readAgain(): Promise<Fresh> {
    const pages = new Set<number>();
    for (const place of this.shown) {
      const { index } = this.places.at(place);
      if (index !== null) pages.add(Math.floor(index / PAGE));
    }
    const { signal } = this.stop;
    const [months, ...read] = await Promise.all([
      insist(() => this.source.months(), signal),
      ...[...pages].map(async (page) => [page, (await insist(() => this.source.contents(page * PAGE, PAGE, signal), signal)).contents] as const),
    ]);
    return { months, pages: read };
  }

  private takeAgain({ months, pages }: Fresh): void {
    if (this.stop.signal.aborted) return;
    const fresh = new PageCache<Item>(PAGE, KEPT_PAGES);
    for (const [page, items] of pages) fresh.put(page, items);
    // A month that somebody waits for is still wanted, until its place is known.
    for (const [key, one] of [...this.running]) {
      if (!months.complete && !key.startsWith('page')) continue;
      one.abort();
      this.running.delete(key);
    }
    this.cache = fresh;
    this.takeMonths(months);
  }

  private takeMonths(months: Months): void {
    this.known = months;
    this.complete = months.complete;
    this.total = months.total;
    this.loaded = true;
    this.failure = null;
    if (months.complete) this.lookedUp.clear();
    this.layOut();
  }

  private fail(error: unknown): void {
    if (!(error instanceof Failure) || error.word === 'aborted' || this.stop.signal.aborted) return;
    this.failure = error;
    this.note();
  }

  record(place: number): Item | undefined {
    const { index, month, offset } = this.places.at(place);
    return index === null ? this.lookedUp.get(month)?.[offset] : this.cache.get(index);
  }

  /** The place of a content that is here; -1 for another. */
  find(id: string): number {
    const index = this.cache.find((item) => item.id === id);
    if (index >= 0) return this.places.placeOf(index);
    for (const [month, items] of this.lookedUp) {
      const offset = items.findIndex((item) => item.id === id);
      if (offset >= 0) return this.places.monthStart(month) + offset;
    }
    return -1;
  }

  /** These places are on screen: what is missing of them is fetched, and nothing else any more. */
  want(first: number, end: number): void {
    this.shown = [first, Math.max(first, end - 1)];
    const wanted = new Set<string>();
    for (let place = first; place < end && place < this.places.total; ) {
      const { index } = this.places.at(place);
      if (index === null) {
        place += 1;
        continue;
      }
      const page = Math.floor(index / PAGE);
      wanted.add(`page ${page}`);
      this.cache.touch(page);
      void this.fetchPage(page);
      place += PAGE - (index % PAGE);
    }
    for (const [key, one] of this.running) {
      if (key.startsWith('page') && !wanted.has(key)) {
        this.running.delete(key);
        one.abort();
      }
    }
  }

  /** Resolves when it is here, or cannot be. */
  private async fetchPage(page: number): Promise<void> {
    if (this.cache.has(page)) return;
    await this.fetch(`page ${page}`, async (signal) => {
      const { contents } = await insist(() => this.source.contents(page * PAGE, PAGE, signal), signal);
      this.cache.put(page, contents);
      if (page === 0 && this.atFirst && !this.loaded) this.hasten(contents);
    });
  }

  /** A month whose place is not known yet is going to be shown. */
  lookUp(month: string): void {
    const known = this.known.months.find((one) => one.month === month);
    if (known === undefined || (known.index !== null && known.count !== null) || this.lookedUp.has(month)) return;
    void this.fetch(`month ${month}`, async (signal) => {
      const items = await insist(() => this.source.ofMonth(month, LOOKED_UP, signal), signal);
      this.lookedUp.set(month, items);
      if (this.lookedUp.size > KEPT_MONTHS) this.lookedUp.delete(this.lookedUp.keys().next().value as string);
      this.layOut();
    });
  }

  private async fetch(key: string, work: (signal: AbortSignal) => Promise<void>): Promise<void> {
    if (this.running.has(key)) return;
    const one = new AbortController();
    this.running.set(key, one);
    await work(one.signal).then(
      () => {
        if (this.running.get(key) !== one) return;
        this.running.delete(key);
        this.note();
      },
      (error: unknown) => {
        if (this.running.get(key) === one) this.running.delete(key);
        this.fail(error);
      },
    );
  }

  /** The record has changed on this television: marked, or commented. */
  amend(id: string, part: Partial<Item>): void {
    const index = this.cache.find((item) => item.id === id);
    const item = index < 0 ? undefined : this.cache.get(index);
    if (item === undefined) return;
    const page = Math.floor(index / PAGE);
    const items: Item[] = [];
    for (let at = 0; at < PAGE; ++at) {
      const one = this.cache.get(page * PAGE + at);
      if (one !== undefined) items.push(one.id === id ? { ...one, ...part } : one);
    }
    this.cache.put(page, items);
    this.note();
  }
}
