// SPDX-License-Identifier: MIT
// The show's clockwork: what is prepared, what is shown when. It knows no document; pictures, screen and time are given to it.
//
// A few photos are being prepared at any time. When a slide's time is over, the first one that is ready is shown, whatever the others
// do: one that takes long is shown later, one that cannot be had now comes again later, a broken one not at all. Where nothing is
// ready for a moment, a slide of before is shown again rather than nothing new.
import type { Loading, Outcome } from './pictures';
import type { Item } from './records';
import type { Sequence } from './sequence';

export interface Picture {
  readonly item: Item;
  readonly image: HTMLImageElement;
}

export interface Means {
  load(item: Item): Loading;
  /** Lets a picture go that was prepared and is not shown, or not any more. */
  release(picture: Picture): void;
  /** Puts the slide on screen; those before it leave it. */
  show(slide: readonly Picture[]): void;
  now(): number;
  /** Calls after so many milliseconds; returns what ends it. */
  after(milliseconds: number, then: () => void): () => void;
  /** What is prepared has changed. */
  onAhead(): void;
}

export interface Pace {
  /** Milliseconds for each slide. */
  readonly time: number;
  readonly pairs: boolean;
  /** Whether the order matters: a photo that is nearly ready is waited for, and pairs are of neighbours. */
  readonly ordered: boolean;
}

interface Entry {
  readonly item: Item;
  readonly loading: Loading;
  readonly since: number;
  /** It has just come, and is not to wait for the end of a long slide. */
  readonly isNew: boolean;
  image: HTMLImageElement | null;
}

/** A slide of before that is ready to be shown again. */
interface StandBy {
  readonly slide: readonly Item[];
  readonly pictures: readonly Picture[];
}

/** So many photos are prepared at a time, of which two or three are decoded at once. */
const AHEAD = 4;
/** A photo that takes longer makes room for others, unless none comes sooner. */
const SLOW = 6000;
/** So many are prepared at a time where they take so long: the fewer share the way, the sooner one is there. */
const AHEAD_IF_SLOW = 2;
/** So long a slide is late rather than out of order. */
const GRACE = 400;
/** So long the first one, where somebody has asked for it. */
const GRACE_FOR_WISH = 2000;
/** Nothing ready for so long: a slide of before has to do, which was fetched meanwhile. */
const LATEST = 800;
/** One that takes so long makes room for another; twice as long each time, since where all take long none would ever be there. */
const STAND_BY_SLOW = 500;
const STAND_BY_SLOWEST = 8000;
const LOOK_AGAIN = 100;
const HISTORY = 60;
/** Pauses between attempts while nothing can be had: the service is not asked for one photo after the other without end. */
const LONGEST_PAUSE = 2000;
/** A photo that nobody could decode is not tried again for so long. */
const BROKEN_FOR = 600_000;
const MOST_BROKEN = 5000;
/** So long a slide stays at least when a new photo waits. */
const LOOK = 3000;

const isTall = (image: HTMLImageElement): boolean => image.naturalHeight > image.naturalWidth * 1.1 && image.naturalWidth > image.naturalHeight * 0.42;

export class Player {
  private ahead: Entry[] = [];
  private history: ReadonlyArray<readonly Item[]> = [];
  /** Where in the history the slide on screen is. */
  private at = -1;
  private endTimer: () => void = () => undefined;
  /** Since when a slide is due; null while none is. */
  private dueSince: number | null = null;
  private paused = false;
  private resting = false;
  private isWish = false;
  private ended = false;
  private failures = 0;
  private isSlow = false;
  private blockedUntil = 0;
  private shownAt = 0;
  /** A slide of before that is being fetched because it was asked for, or because nothing else can be had. */
  private fetching: Loading[] = [];
  private fetchingSince = 0;
  private fetchingFor = STAND_BY_SLOW;
  private standBy: StandBy | null = null;
  /** Until when photos are passed over. */
  private readonly broken = new Map<string, number>();
  /** Photos that were passed over since the last one that was not. */
  private passedOver = 0;

  constructor(
    private readonly sequence: Sequence,
    private readonly means: Means,
    private pace: Pace,
  ) {}

  /** @param isWish whether the first photo was asked for. Fails where it cannot be known what there is to show. */
  async start(isWish = false): Promise<void> {
    this.isWish = isWish;
    // What was asked for is fetched before it is known what follows.
    if (isWish) this.begin();
    await this.sequence.fill();
    this.begin();
  }

  private begin(): void {
    if (!this.resting && this.at < 0) this.dueSince ??= this.means.now();
    this.prepare();
  }

  end(): void {
    this.ended = true;
    this.endTimer();
    this.endFetching();
    this.dropStandBy();
    for (const entry of this.ahead.splice(0)) this.discard(entry);
  }

  setPace(pace: Pace): void {
    this.pace = pace;
    if (!this.paused && !this.resting && this.at >= 0 && this.dueSince === null) this.await();
  }

  get current(): readonly Item[] {
    return this.history[this.at] ?? [];
  }

  /** How many photos are prepared, or being so. */
  get prepared(): number {
    return this.ahead.length;
  }

  /** What is on screen, and what is shown next without being asked for again. */
  get held(): readonly Item[] {
    return [...this.current, ...(this.standBy?.slide ?? []), ...this.ahead.map(({ item }) => item)];
  }

  /** What is on screen stays there; the first slide comes all the same. */
  pause(paused: boolean): void {
    this.paused = paused;
    if (this.resting || this.at < 0) return;
    this.endTimer();
    if (paused) this.dueSince = null;
    else this.await();
  }

  /** Nothing is shown any more and nothing fetched; afterwards it goes on with the next photo. */
  rest(resting: boolean): void {
    if (resting === this.resting) return;
    this.resting = resting;
    this.endTimer();
    if (resting) {
      this.dueSince = null;
      this.dropStandBy();
      this.endFetching();
    } else {
      this.next();
    }
  }

  /** Whether the photos to come can be had at all at present. */
  setAway(away: boolean): void {
    this.sequence.resting = away;
    if (!away) {
      this.blockedUntil = 0;
      this.failures = 0;
      this.prepare();
    }
  }

  next(): void {
    if (this.resting) return;
    if (this.at < this.history.length - 1) return void this.again(this.at + 1);
    this.dueSince ??= this.means.now();
    this.endTimer();
    this.prepare();
    this.showReady();
  }

  previous(): void {
    if (this.resting) return;
    if (this.at > 0) void this.again(this.at - 1);
  }

  /** A photo that has just come: it is shown as soon as it is there and the one on screen was looked at. */
  welcome(item: Item): void {
    this.sequence.putFirst(item);
    // It is prepared beside the others, and shown before them.
    const last = this.ahead.pop();
    if (last !== undefined) {
      this.sequence.putOff(last.item);
      this.discard(last);
    }
    this.prepare(true);
  }

  /** A photo has gone: it is never shown again, and not any longer where it is. */
  remove(id: string): void {
    this.sequence.remove(id);
    this.retain((item) => item.id !== id);
  }

  /** The same of all that do not fit. */
  retain(fits: (item: Item) => boolean): void {
    this.sequence.retain(fits);
    this.ahead = this.ahead.filter((entry) => {
      if (fits(entry.item)) return true;
      this.discard(entry);
      return false;
    });
    const wasShown = !this.current.every(fits);
    this.history = this.history.map((slide) => slide.filter(fits));
    this.dropStandBy();
    if (wasShown) this.next();
    this.prepare();
  }

  private discard(entry: Entry): void {
    entry.loading.cancel();
    if (entry.image !== null) this.means.release({ item: entry.item, image: entry.image });
  }

  private isBroken({ id }: Item): boolean {
    const until = this.broken.get(id);
    if (until !== undefined && until <= this.means.now()) this.broken.delete(id);
    return this.broken.has(id);
  }

  private prepare(first = false): void {
    if (this.ended || this.resting) return;
    // Of a few photos no more are prepared than there are.
    const many = this.isSlow ? AHEAD_IF_SLOW : AHEAD;
    const most = this.sequence.total > 0 ? Math.min(many, this.sequence.total) : many;
    while ((first || this.ahead.length < most) && this.means.now() >= this.blockedUntil) {
      const item = this.sequence.next();
      if (item === null) {
        // The sequence may be fetching, or the program be away: it is asked again soon; later where a whole round was in vain.
        const inVain = this.passedOver > 0 && this.passedOver >= this.sequence.total;
        if (inVain) this.blockedUntil = this.means.now() + LONGEST_PAUSE;
        this.retry(inVain ? LONGEST_PAUSE : 250);
        break;
      }
      if (this.ahead.some((entry) => entry.item.id === item.id) || this.isBroken(item)) {
        this.passedOver += 1;
        continue;
      }
      this.passedOver = 0;
      const entry: Entry = { item, loading: this.means.load(item), since: this.means.now(), isNew: first, image: null };
      if (first) this.ahead.unshift(entry);
      else this.ahead.push(entry);
      first = false;
      void entry.loading.outcome.then((outcome) => this.settled(entry, outcome));
    }
    this.means.onAhead();
  }

  private retrying = false;
  private retry(wait: number): void {
    if (this.retrying) return;
    this.retrying = true;
    this.means.after(wait, () => {
      this.retrying = false;
      this.prepare();
      this.showReady();
    });
  }

  private settled(entry: Entry, outcome: Outcome): void {
    const at = this.ahead.indexOf(entry);
    if (this.ended || at < 0) {
      if (outcome.kind === 'ready') this.means.release({ item: entry.item, image: outcome.image });
      return;
    }
    if (outcome.kind === 'ready') {
      entry.image = outcome.image;
      this.isSlow = this.means.now() - entry.since >= SLOW;
      this.failures = 0;
      this.blockedUntil = 0;
      if (entry.isNew && this.dueSince === null && this.at >= 0 && !this.paused && !this.resting) this.await();
      this.showReady();
      return;
    }
    this.ahead.splice(at, 1);
    if (outcome.kind === 'away') {
      this.sequence.putOff(entry.item);
      this.failures += 1;
      // The first few are replaced at once: the next ones may well be stored.
      if (this.failures > 3 * AHEAD) {
        const wait = Math.min(LONGEST_PAUSE, 50 * (this.failures - 3 * AHEAD));
        this.blockedUntil = this.means.now() + wait;
        this.retry(wait);
      }
    } else if (outcome.kind === 'gone') {
      this.sequence.remove(entry.item.id);
    } else {
      this.broken.set(entry.item.id, this.means.now() + BROKEN_FOR);
      if (this.broken.size > MOST_BROKEN) this.broken.delete(this.broken.keys().next().value as string);
    }
    this.prepare();
  }

  /** The slide that can be shown now, taken from those that are prepared; null where none can. */
  private take(): Picture[] | null {
    const grace = this.at < 0 && this.isWish ? GRACE_FOR_WISH : GRACE;
    const waits = (this.pace.ordered || this.at < 0) && this.means.now() - (this.dueSince ?? 0) < grace;
    const at = this.ahead.findIndex((entry) => waits || entry.image !== null);
    const entry = this.ahead[at];
    if (entry === undefined || entry.image === null) return null;
    this.ahead.splice(at, 1);
    const slide: Picture[] = [{ item: entry.item, image: entry.image }];
    if (this.pace.pairs && isTall(entry.image)) {
      const candidates = this.pace.ordered ? this.ahead.slice(at, at + 1) : this.ahead;
      const partner = candidates.find((one) => one.image !== null && isTall(one.image));
      if (partner !== undefined && partner.image !== null) {
        this.ahead.splice(this.ahead.indexOf(partner), 1);
        slide.push({ item: partner.item, image: partner.image });
      }
    }
    return slide;
  }

  private showReady(): void {
    if (this.ended || this.resting || this.dueSince === null) return;
    const slide = this.take();
    if (slide === null) {
      this.makeRoom();
      this.waitOn(this.means.now() - this.dueSince);
      return;
    }
    this.dropStandBy();
    this.endFetching();
    this.history = [...this.history, slide.map(({ item }) => item)].slice(-HISTORY);
    this.at = this.history.length - 1;
    this.put(slide);
    this.prepare();
  }

  /** What takes too long comes again later, but for one: where all take so long none would ever be there. */
  private makeRoom(): void {
    const now = this.means.now();
    const slow = this.ahead.filter((entry) => entry.image === null && now - entry.since >= SLOW);
    if (slow.length === 0) return;
    this.isSlow = true;
    const oldest = slow.reduce((one, other) => (other.since < one.since ? other : one));
    for (const entry of slow) {
      if (entry === oldest) continue;
      this.ahead.splice(this.ahead.indexOf(entry), 1);
      this.sequence.putOff(entry.item);
      this.discard(entry);
    }
    this.prepare();
  }

  private put(slide: readonly Picture[]): void {
    this.dueSince = null;
    this.shownAt = this.means.now();
    this.fetchingFor = STAND_BY_SLOW;
    this.means.show(slide);
    if (!this.paused) this.await();
  }

  private await(): void {
    this.endTimer();
    const time = this.ahead.some((entry) => entry.isNew && entry.image !== null) ? Math.min(this.pace.time, LOOK) : this.pace.time;
    const wait = Math.max(0, this.shownAt + time - this.means.now());
    this.endTimer = this.means.after(wait, () => {
      // A step back leads forward again through the slides that were there.
      if (this.at < this.history.length - 1) return void this.again(this.at + 1);
      this.dueSince = this.means.now();
      this.showReady();
    });
  }

  /** Nothing is ready, so late already. */
  private waitOn(late: number): void {
    this.endTimer();
    if (late >= GRACE && this.at >= 0) {
      if (this.standBy !== null && late >= LATEST) return this.showStandBy(this.standBy);
      if (this.standBy === null) this.fetchStandBy();
    }
    const next = late < GRACE ? GRACE - late : this.standBy === null ? LOOK_AGAIN : Math.max(0, LATEST - late);
    this.endTimer = this.means.after(next, () => this.showReady());
  }

  /** A slide of before, the one that was not seen for longest. */
  private fetchStandBy(): void {
    if (this.fetching.length > 0) {
      if (this.means.now() - this.fetchingSince < this.fetchingFor) return;
      this.fetchingFor = Math.min(this.fetchingFor * 2, STAND_BY_SLOWEST);
    }
    const slide = this.history.find((items, at) => at !== this.at && items.length > 0) ?? this.current;
    if (slide.length === 0) return;
    // It goes to the end of the history, so that they take turns.
    const current = this.current;
    this.history = [...this.history.filter((one) => one !== slide && one !== current), slide, ...(slide === current ? [] : [current])];
    this.at = this.history.length - 1;
    void this.fetchSlide(slide).then((pictures) => {
      const wanted = !this.ended && this.dueSince !== null && this.standBy === null && pictures.length > 0;
      if (!wanted) return pictures.forEach((picture) => this.means.release(picture));
      this.standBy = { slide, pictures };
      this.showReady();
    });
  }

  private showStandBy({ slide, pictures }: StandBy): void {
    this.standBy = null;
    this.history = [...this.history.filter((one) => one !== slide), slide];
    this.at = this.history.length - 1;
    this.put(pictures);
  }

  private dropStandBy(): void {
    this.standBy?.pictures.forEach((picture) => this.means.release(picture));
    this.standBy = null;
  }

  /** A slide of the history. */
  private async again(to: number): Promise<void> {
    const slide = this.history[to];
    if (slide === undefined) return;
    this.endTimer();
    this.dropStandBy();
    this.at = to;
    const pictures = await this.fetchSlide(slide);
    if (this.ended || this.resting || this.at !== to) {
      for (const picture of pictures) this.means.release(picture);
      return;
    }
    if (pictures.length > 0) this.put(pictures);
    else this.next();
  }

  private endFetching(): void {
    const before = this.fetching;
    this.fetching = [];
    for (const one of before) one.cancel();
  }

  private async fetchSlide(slide: readonly Item[]): Promise<Picture[]> {
    this.endFetching();
    const loadings = slide.map((item) => this.means.load(item));
    this.fetching = loadings;
    this.fetchingSince = this.means.now();
    const outcomes = await Promise.all(loadings.map((one) => one.outcome));
    if (this.fetching === loadings) this.fetching = [];
    const pictures: Picture[] = [];
    outcomes.forEach((outcome, at) => {
      const item = slide[at];
      if (outcome.kind === 'ready' && item !== undefined) pictures.push({ item, image: outcome.image });
    });
    return pictures;
  }
}
