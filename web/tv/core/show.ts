// SPDX-License-Identifier: MIT
// A show in the page: the order of the program, the clockwork, the stage, and what happens meanwhile.
import { Failure } from '../../common/http';
import { Signal } from '../../common/signal';
import * as api from './api';
import { onLive } from './live';
import { minute } from './drift';
import { groups } from './groups';
import { handed } from './handed';
import { Player } from './player';
import { loadPicture, release, sharpAddress, sharpFor } from './pictures';
import { insist } from './reading';
import type { Item } from './records';
import type { ShowWish } from './routes';
import { Sequence } from './sequence';
import { Stage } from './stage';
import { isOutdated, renew, settings, state } from './state';

/** How many photos the program is to have in advance: those of some minutes without a service. */
const IN_ADVANCE = 60;
/** Of many photos that come at once, the rest are seen in their turn. */
const MOST_WELCOMES = 30;
const KEPT = 'show';
const tab = Math.random().toString(36).slice(2, 12);

interface Kept {
  readonly key: string;
  readonly seed: number;
  readonly place: number;
}

/** A show goes on where it was after the page was loaded anew. */
function keptFor(key: string): Kept | null {
  try {
    const kept = JSON.parse(sessionStorage.getItem(KEPT) ?? 'null') as Kept | null;
    return kept !== null && kept.key === key ? kept : null;
  } catch {
    return null;
  }
}

export class Show {
  /** What is on screen. */
  readonly slide = new Signal<readonly Item[]>([]);
  /** Photos that came while the show ran, for the caption. */
  readonly news = new Set<string>();
  readonly paused = new Signal(false);
  /** Whether there is anything to show; null until it is known. */
  readonly found = new Signal<boolean | null>(null);

  private player: Player | null = null;
  private sequence: Sequence | null = null;
  private readonly stop = new AbortController();
  private readonly ends: Array<() => void> = [];
  private toldAt = 0;
  private toldTimer = 0;
  private seed = 0;
  private resting = false;
  private failedStarts = 0;
  private welcomes: Promise<void> = Promise.resolve();
  private waiting = 0;

  constructor(
    private readonly stage: Stage,
    readonly group: string,
    readonly wish: ShowWish,
  ) {
    this.ends.push(
      settings.subscribe(() => this.player?.setPace(this.pace())),
      state.subscribe(() => this.player?.setAway(state.value?.service === 'away')),
      groups.subscribe(() => this.keepShared()),
      onLive('deleted', ({ content_id }) => this.player?.remove(content_id)),
      onLive('content', ({ group: its, content_id }) => this.expect(its, content_id)),
      // What there was nothing of may be there by now: another day has begun, or a group is known.
      minute.subscribe(() => void (this.found.value === false && this.begin())),
      onLive('reset', () => void (this.player === null ? this.begin() : this.lookAgain(this.player))),
    );
    void this.begin();
  }

  /** A show that was left begins anew the next time. */
  end(): void {
    this.stop.abort();
    sessionStorage.removeItem(KEPT);
    this.stage.hold(false);
    clearTimeout(this.toldTimer);
    for (const end of this.ends) end();
    this.player?.end();
  }

  private get order(): string {
    return this.wish.order === '' ? settings.value.order : this.wish.order;
  }

  private get key(): string {
    return [this.group, this.wish.of, this.order, this.wish.from].join(' ');
  }

  private pace() {
    const time = (this.wish.seconds > 0 ? this.wish.seconds : settings.value.seconds) * 1000;
    // Pairs that go by are not looked at as pairs.
    return { time, pairs: settings.value.pairs && time >= 2000, ordered: this.order === 'time' };
  }

  /** Begins, where it has not begun. */
  private async begin(): Promise<void> {
    if (this.player !== null || this.stop.signal.aborted) return;
    const kept = keptFor(this.key);
    this.seed = kept?.seed ?? Math.floor(Math.random() * 2 ** 31);
    const query = { of: this.wish.of, group: this.group, order: this.order, seed: this.seed };
    const { signal } = this.stop;
    const { from } = this.wish;
    let first: Item | null = null;
    if (from !== '' && kept === null) first = handed(from) ?? (await api.content(from).then(({ content }) => content, () => null));
    const inOrder = first !== null && first.index !== null && this.order === 'time' && this.wish.of === 'all' && this.group !== '';
    const sequence = new Sequence({ fetch: (index, count) => insist(() => api.show(query, index, count), signal) }, kept?.place ?? (inOrder ? (first?.index ?? 0) : 0), () => performance.now());
    if (first !== null) sequence.putFirst(first);
    if (signal.aborted || this.player !== null) return;
    const player = new Player(
      sequence,
      {
        load: (item) => loadPicture(sharpAddress(item.id, item.width, item.height)),
        release: ({ image }) => release(image),
        show: (slide) => this.put(slide.map(({ item }) => item), slide),
        now: () => performance.now(),
        after: (milliseconds, then) => {
          const timer = setTimeout(then, milliseconds);
          return () => clearTimeout(timer);
        },
        onAhead: () => this.tell(),
      },
      this.pace(),
    );
    this.player = player;
    this.sequence = sequence;
    player.setAway(state.value?.service === 'away');
    player.rest(this.resting);
    try {
      await player.start(first !== null);
      this.found.value = sequence.total > 0 || !sequence.empty || this.slide.value.length > 0 || player.prepared > 0;
      if (this.found.value === false) this.forgetPlayer();
    } catch {
      if (signal.aborted) return;
      this.forgetPlayer();
      // The program has said no: the group has gone, or the page was closed.
      this.failedStarts += 1;
      if (this.failedStarts > 2) this.found.value = false;
      setTimeout(() => void this.begin(), 1000);
    }
  }

  /** What is held may have been deleted while nobody could tell; whatever else comes is asked for when its turn comes. */
  private async lookAgain(player: Player): Promise<void> {
    await Promise.all(
      player.held.map(({ id }) =>
        insist(() => api.content(id, this.stop.signal), this.stop.signal).catch((error: unknown) => {
          if (error instanceof Failure && error.status === 404) player.remove(id);
        }),
      ),
    );
  }

  private forgetPlayer(): void {
    this.player?.end();
    this.player = null;
    this.sequence = null;
  }

  private put(items: readonly Item[], slide: Parameters<Stage['show']>[0]): void {
    this.found.value = true;
    this.stage.show(slide, { time: this.pace().time, moving: settings.value.motion });
    this.slide.value = items;
    if (this.sequence !== null && this.player !== null) {
      // What is prepared and was not seen comes again.
      const steps = items.map((item) => item.step).filter((step): step is number => step !== undefined);
      const place = steps.length > 0 ? Math.max(...steps) + 1 : Math.max(0, this.sequence.place - this.player.prepared);
      sessionStorage.setItem(KEPT, JSON.stringify({ key: this.key, seed: this.seed, place } satisfies Kept));
    }
    // Between two slides nobody notices that the page is loaded anew.
    if (isOutdated()) renew();
  }

  /** The program hears what comes next, once in a second at most. */
  private tell(): void {
    if (this.toldTimer !== 0) return;
    const wait = Math.max(0, this.toldAt + 1000 - performance.now());
    this.toldTimer = setTimeout(() => {
      this.toldTimer = 0;
      this.toldAt = performance.now();
      const upcoming = this.sequence?.upcoming(IN_ADVANCE) ?? [];
      api.watching(tab, upcoming.map(({ id, width, height }) => sharpFor(id, width, height))).catch(() => undefined);
    }, wait) as unknown as number;
  }

  private fits(item: Item): boolean {
    const { of } = this.wish;
    const date = item.created ?? '';
    if (of === 'all') return true;
    if (of === 'marked') return false;
    if (of !== 'day') return date.startsWith(of);
    const now = new Date();
    return date.slice(5, 10) === `${String(now.getMonth() + 1).padStart(2, '0')}-${String(now.getDate()).padStart(2, '0')}`;
  }

  /** One after the other: many at once would leave no connection for the pictures. */
  private expect(group: string, id: string): void {
    if ((this.group !== '' && group !== this.group) || this.waiting >= MOST_WELCOMES) return;
    this.waiting += 1;
    this.welcomes = this.welcomes.then(() => this.welcome(id)).finally(() => {
      this.waiting -= 1;
    });
  }

  private async welcome(id: string): Promise<void> {
    try {
      const { content } = await insist(() => api.content(id, this.stop.signal), this.stop.signal);
      if (!this.fits(content)) return;
      this.news.add(id);
      if (this.news.size > 200) this.news.delete(this.news.values().next().value as string);
      if (this.player === null) return void this.begin();
      this.player.welcome(content);
    } catch {
      // It has gone again.
    }
  }

  /** Photos of groups that are not shared with this person any more leave. */
  private keepShared(): void {
    const shared = groups.value;
    if (shared === null) return;
    this.player?.retain((item) => shared.some((group) => group.id === item.group));
  }

  next(): void {
    this.player?.next();
  }

  previous(): void {
    this.player?.previous();
  }

  pause(paused: boolean): void {
    this.paused.value = paused;
    this.player?.pause(paused);
    this.stage.hold(paused);
  }

  /** By night nothing is shown and nothing fetched. */
  rest(resting: boolean): void {
    if (resting === this.resting) return;
    this.resting = resting;
    this.player?.rest(resting);
    if (!resting) return;
    this.stage.clear();
    this.slide.value = [];
  }
}
