// SPDX-License-Identifier: MIT
// One group's photos: how many in which month, and the records of those that are looked at.
import type { MonthCount } from '../../common/geometry';
import { Failure } from '../../common/http';
import { PageCache } from '../../common/pageCache';
import { Signal } from '../../common/signal';
import * as api from './api';
import { onLive, type LiveEvent } from './live';
import type { Content } from './records';

export const PAGE_SIZE = 100;
/** Some 8 MB of records; a screen of the largest size shows three pages. */
const MOST_PAGES = 40;
/** What happens within so many milliseconds is asked for once. */
const GATHER = 400;
/** A page that could not be had is asked for again after so many milliseconds, and up to twice as many. */
const AGAIN = 1500;

/** Where the content of an index has gone in a new state of the group; a guess where it is not there any more. */
export type Moved = (index: number) => number;

export class GroupFeed {
  months: readonly MonthCount[] | null = null;
  total = 0;
  failure: Failure | null = null;
  /** Notified when records or months have come. */
  readonly changed = new Signal<GroupFeed>(this);
  /** Called when a new state takes the place of the old one, after it has. */
  onSwap: ((moved: Moved) => void) | null = null;

  private pages = new PageCache<Content>(PAGE_SIZE, MOST_PAGES);
  private readonly loading = new Map<number, { stop: AbortController; done: Promise<void> }>();
  private wanted: [number, number] = [0, 0];
  private refreshing: Promise<void> | null = null;
  private stale = false;
  private timer = 0;
  private againTimer = 0;

  constructor(readonly id: string) {}

  /** Months and the first photos, both at once. */
  open(): void {
    if (this.months === null && this.refreshing === null) void this.refresh();
  }

  /** Whether anything of it was asked for: what happens meanwhile may be missing in the answer. */
  get isOpen(): boolean {
    return this.months !== null || this.refreshing !== null;
  }

  record(index: number): Content | undefined {
    return this.pages.get(index);
  }

  indexOf(id: string): number {
    return this.pages.find((record) => record.id === id);
  }

  /** The record, fetched where it is not here. Undefined beyond the end. */
  async fetchRecord(index: number): Promise<Content | undefined> {
    if (index < 0 || (this.months !== null && index >= this.total)) return undefined;
    const page = Math.floor(index / PAGE_SIZE);
    if (!this.pages.has(page)) await (this.loading.get(page)?.done ?? this.load(page));
    return this.pages.get(index);
  }

  /** What is on screen, from index to index: it is fetched, and what was wanted before and has not come is given up. */
  want(from: number, end: number): void {
    this.wanted = [from, end];
    const wanted = this.wantedPages();
    for (const [page, { stop }] of this.loading) if (!wanted.includes(page)) stop.abort();
    for (const page of wanted) {
      if (this.pages.has(page)) this.pages.touch(page);
      else if (!this.loading.has(page)) this.load(page).catch(() => this.wantAgainSoon());
    }
  }

  /** What could not be had may be had in a while, if it is still wanted then. */
  private wantAgainSoon(): void {
    clearTimeout(this.againTimer);
    this.againTimer = window.setTimeout(() => this.want(...this.wanted), AGAIN * (1 + Math.random()));
  }

  private wantedPages(): number[] {
    const [from, end] = this.wanted;
    const first = Math.floor(Math.max(0, from) / PAGE_SIZE);
    const last = Math.max(first, Math.floor((end - 1) / PAGE_SIZE));
    return Array.from({ length: last - first + 1 }, (_, at) => first + at);
  }

  private load(page: number): Promise<void> {
    const stop = new AbortController();
    const done = this.fetchPage(page, stop);
    this.loading.set(page, { stop, done });
    return done;
  }

  private async fetchPage(page: number, stop: AbortController): Promise<void> {
    const pages = this.pages;
    try {
      const { contents } = await api.contents(this.id, page * PAGE_SIZE, PAGE_SIZE, stop.signal);
      pages.put(page, contents);
      if (pages === this.pages) this.changed.notify();
    } catch (error) {
      if (!(error instanceof Failure) || error.word !== 'aborted') throw error;
    } finally {
      if (this.loading.get(page)?.stop === stop) this.loading.delete(page);
    }
  }

  /** Asks again for what is on screen, soon; however often it is called. */
  refreshSoon(): void {
    if (this.timer !== 0) return;
    this.timer = window.setTimeout(() => {
      this.timer = 0;
      void this.refresh();
    }, GATHER);
  }

  /** Months and what is on screen as they are now, in place of what was: never half of each. Never throws; `failure` tells. */
  refresh(): Promise<void> {
    if (this.refreshing !== null) {
      this.stale = true;
      return this.refreshing;
    }
    this.refreshing = this.readAgain().finally(() => {
      this.refreshing = null;
      if (this.stale) {
        this.stale = false;
        this.refreshSoon();
      }
    });
    return this.refreshing;
  }

  private async readAgain(): Promise<void> {
    try {
      const fresh = new PageCache<Content>(PAGE_SIZE, MOST_PAGES);
      const fetchPage = async (page: number): Promise<void> => {
        const { contents } = await api.contents(this.id, page * PAGE_SIZE, PAGE_SIZE);
        fresh.put(page, contents);
      };
      const [summary] = await Promise.all([api.months(this.id), ...this.wantedPages().map(fetchPage)]);
      // The feed may have been scrolled on meanwhile; once more will do, then what is missing comes as it always does.
      await Promise.all(
        this.wantedPages()
          .filter((page) => !fresh.has(page))
          .map(fetchPage),
      );
      // What is under way belongs to the old state.
      for (const { stop } of this.loading.values()) stop.abort();
      this.loading.clear();
      const grown = summary.total - this.total;
      const old = this.pages;
      this.pages = fresh;
      this.months = summary.months;
      this.total = summary.total;
      this.failure = null;
      this.onSwap?.((index) => {
        const id = old.get(index)?.id;
        const found = id === undefined ? -1 : fresh.find((record) => record.id === id);
        return found >= 0 ? found : Math.max(0, Math.min(this.total - 1, index + grown));
      });
    } catch (error) {
      if (!(error instanceof Failure)) throw error;
      this.failure = error;
    }
    this.changed.notify();
  }

  onLive(event: LiveEvent): void {
    if (event.kind === 'everything' || event.group === this.id) this.refreshSoon();
  }
}

// Those opened last; the others are read anew when they are opened.
const MOST_FEEDS = 3;
const feeds = new Map<string, GroupFeed>();

export function feedOf(group: string): GroupFeed {
  const feed = feeds.get(group) ?? new GroupFeed(group);
  feeds.delete(group);
  feeds.set(group, feed);
  for (const id of feeds.keys()) if (feeds.size > MOST_FEEDS) feeds.delete(id);
  return feed;
}

onLive((event) => {
  for (const feed of feeds.values()) if (feed.isOpen) feed.onLive(event);
});

/** Where a feed was left, to come back to. */
export interface Place {
  readonly index: number;
  readonly offset: number;
  /** The photo that the keyboard's focus goes to; -1 for none. */
  readonly focus: number;
}
export const places = new Map<string, Place>();
