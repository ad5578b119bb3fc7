// SPDX-License-Identifier: MIT
// A group's photos by month. The window scrolls; only what is near the screen is in the document, and only that is asked for.
import { Component, createRef } from 'preact';
import { Geometry, shapeFor, type Stretch } from '../../common/geometry';
import { ScrollScale } from '../../common/scrollScale';
import { archive } from '../core/api';
import { type GroupFeed, type Moved, places } from '../core/groupFeed';
import { holdImages, lookAt } from '../../common/imageQueue';
import { dates, t } from '../core/language';
import type { Content } from '../core/records';
import { Icon } from './Icon';
import { Row } from './Tile';

/** Beyond both edges of the screen, in screens: what one step of a wheel or a key shows is there already. */
const OVERSCAN = 0.6;
/** What is beyond the first screen is drawn so many milliseconds after it. */
const BEYOND = 150;
/** Faster than so many pixels in a millisecond nobody can see a photo. */
const FLYING = 6;
/** Standing still for so long, in milliseconds, is having arrived. */
const ARRIVED = 90;

interface Props {
  feed: GroupFeed;
  /** Months as the feed has them now: a new list lays the feed out anew. */
  months: GroupFeed['months'];
  /** Height of what sticks to the top of the window. */
  covered: number;
  onMonth: (at: number) => void;
  /** Holds the feed while it is shown, for what leads to a place of it. */
  scroller: { current: Feed | null };
}

export class Feed extends Component<Props, { drawn: number }> {
  override state = { drawn: 0 };
  private readonly canvas = createRef<HTMLDivElement>();
  private geometry: Geometry | null = null;
  private scale: ScrollScale | null = null;
  private width = 0;
  private canvasTop = 0;
  private range = '';
  private from = 0;
  private end = 0;
  private frame = 0;
  private settle = 0;
  /** The timer for what is beyond the first screen; 0 until that is drawn. At first the screen alone is, so that its photos come the sooner. */
  private beyond = 0;
  private lastPlace = 0;
  private lastTime = 0;
  private anchor = { index: 0, offset: 0 };
  private focused = -1;
  private wantsFocus: { index: number } | null = null;
  private observer: ResizeObserver | null = null;

  override componentDidMount(): void {
    this.props.scroller.current = this;
    addEventListener('scroll', this.onScroll, { passive: true });
    addEventListener('resize', this.onResize);
    if (typeof ResizeObserver === 'function' && this.canvas.current !== null) {
      this.observer = new ResizeObserver(this.onResize);
      this.observer.observe(this.canvas.current);
    }
    this.props.feed.onSwap = (moved) => this.follow(moved);
    this.layOut();
    const place = places.get(this.props.feed.id);
    if (place !== undefined && this.geometry !== null) {
      this.goTo(this.geometry.rowTop(place.index) - place.offset);
      if (place.focus >= 0) this.focusTile(Math.min(place.focus, this.geometry.total - 1));
    }
    this.update(true);
  }

  override componentWillUnmount(): void {
    this.props.scroller.current = null;
    removeEventListener('scroll', this.onScroll);
    removeEventListener('resize', this.onResize);
    this.observer?.disconnect();
    cancelAnimationFrame(this.frame);
    clearTimeout(this.settle);
    clearTimeout(this.beyond);
    holdImages(false);
    this.props.feed.onSwap = null;
    const focus = Number((document.activeElement as HTMLElement | null)?.dataset?.index ?? -1);
    places.set(this.props.feed.id, { index: this.anchor.index, offset: this.anchor.offset, focus });
  }

  override componentDidUpdate(before: Props): void {
    if (before.months !== this.props.months) {
      this.layOut();
      this.update(true);
    }
    if (this.wantsFocus !== null) {
      const tile = this.canvas.current?.querySelector<HTMLElement>(`a[data-index="${this.wantsFocus.index}"]`);
      if (tile) {
        this.wantsFocus = null;
        tile.focus({ preventScroll: true });
      }
    }
  }

  private readonly onResize = (): void => {
    if (this.canvas.current === null || this.canvas.current.clientWidth === this.width) {
      this.onScroll();
      return;
    }
    const { index, offset } = this.anchor;
    this.layOut();
    if (this.geometry !== null && window.scrollY > this.canvasTop) this.goTo(this.geometry.rowTop(index) - offset);
    this.update(true);
  };

  private layOut(): void {
    const canvas = this.canvas.current;
    const { months } = this.props;
    if (canvas === null || months === null) return;
    this.width = canvas.clientWidth;
    this.canvasTop = canvas.getBoundingClientRect().top + window.scrollY;
    const rem = parseFloat(getComputedStyle(document.documentElement).fontSize) || 16;
    this.geometry = new Geometry(months, shapeFor(this.width, rem));
    this.scale = new ScrollScale(this.geometry.height, window.innerHeight);
    const { tile, gap } = this.geometry.shape;
    canvas.style.setProperty('--tile', `${tile}px`);
    canvas.style.setProperty('--gap', `${gap}px`);
    canvas.style.height = `${this.scale.box}px`;
  }

  private get place(): number {
    return this.scale?.placeAt(window.scrollY - this.canvasTop) ?? 0;
  }

  /** Scrolls so that a place of the feed stands at the window's upper edge. */
  private goTo(place: number): void {
    if (this.scale === null) return;
    window.scrollTo(0, Math.max(0, place <= 0 ? this.canvasTop + place : this.canvasTop + this.scale.scrollTo(place)));
  }

  /** Shows a month, right below what sticks to the top. */
  showMonth(at: number): void {
    if (this.geometry === null) return;
    this.goTo(at === 0 ? -this.canvasTop : this.geometry.monthTop(at) - this.props.covered);
    this.update(false);
  }

  /** Shows the month that stands at this share of the whole feed. */
  showShare(share: number): void {
    if (this.geometry === null) return;
    this.goTo(share * (this.geometry.height - window.innerHeight));
  }

  private readonly onScroll = (): void => {
    if (this.frame !== 0) return;
    this.frame = requestAnimationFrame((time) => {
      this.frame = 0;
      const place = this.place;
      const flying = Math.abs(place - this.lastPlace) / Math.max(1, time - this.lastTime) > FLYING;
      this.lastPlace = place;
      this.lastTime = time;
      this.update(!flying);
    });
  };

  /** Draws what is near the screen, where it is other than what was near it; asks for it unless the feed flies by. */
  private update(arrived: boolean): void {
    const { geometry } = this;
    if (geometry === null) return;
    const place = this.place;
    const view = window.innerHeight;
    const beyond = this.beyond === 0 ? 0 : OVERSCAN;
    this.from = place - view * beyond;
    this.end = place + view * (1 + beyond);
    const first = geometry.indexAt(Math.max(0, this.from));
    const end = Math.min(geometry.total, geometry.indexAt(this.end) + geometry.shape.columns);
    const visible = Math.max(0, place + this.props.covered);
    const index = geometry.indexAt(visible);
    this.anchor = { index, offset: geometry.rowTop(index) - place };
    this.props.onMonth(geometry.monthAt(visible + geometry.shape.heading / 2));
    lookAt(geometry.indexAt(place + view / 2));
    clearTimeout(this.settle);
    holdImages(!arrived);
    if (arrived) this.props.feed.want(first, end);
    // Looked at in a frame, and not when the time is over: a telephone that is late with its frames has not arrived for that.
    else this.settle = window.setTimeout(this.onScroll, ARRIVED);
    const range = `${first} ${end} ${this.scale?.shift ?? 0}`;
    if (range === this.range && this.props.months === geometry.months) return;
    this.range = range;
    if (this.beyond === 0) this.beyond = window.setTimeout(() => this.update(true), BEYOND);
    this.setState({ drawn: this.state.drawn + 1 });
  }

  /** The group has changed: what stood at the top stays there, unless that is the feed's own beginning. */
  private follow(moved: Moved): void {
    const { index, offset } = this.anchor;
    this.props.feed.changed.notify();
    const atTop = window.scrollY <= this.canvasTop;
    const target = moved(index);
    this.range = '';
    requestAnimationFrame(() => {
      if (this.geometry === null || this.canvas.current === null) return;
      if (!atTop) this.goTo(this.geometry.rowTop(target) - offset);
      this.update(true);
    });
  }

  private focusTile(index: number): void {
    const { geometry } = this;
    if (geometry === null) return;
    const top = geometry.rowTop(index);
    const place = this.place;
    if (top < place + this.props.covered + geometry.shape.heading) this.goTo(top - this.props.covered - geometry.shape.heading);
    else if (top + geometry.step > place + window.innerHeight) this.goTo(top + geometry.step - window.innerHeight);
    this.wantsFocus = { index };
    this.focused = index;
    this.range = '';
    this.update(true);
  }

  private readonly onKeyDown = (event: KeyboardEvent): void => {
    const index = Number((event.target as HTMLElement).dataset.index ?? NaN);
    const step = STEPS[event.key];
    if (Number.isNaN(index) || step === undefined || this.geometry === null || event.altKey || event.ctrlKey || event.metaKey) return;
    event.preventDefault();
    this.focusTile(this.geometry.neighbour(index, step[0], step[1]));
  };

  private readonly onFocusIn = (event: FocusEvent): void => {
    this.focused = Number((event.target as HTMLElement).dataset.index ?? -1);
  };

  private photosOf(first: number, end: number): Array<Content | undefined> {
    const photos: Array<Content | undefined> = [];
    for (let at = first; at < end; ++at) photos.push(this.props.feed.record(at));
    return photos;
  }

  private stretches(geometry: Geometry): Stretch[] {
    const stretches = geometry.between(this.from, this.end);
    // What has the focus stays in the document, wherever the feed is scrolled to.
    const month = geometry.months[geometry.monthOf(this.focused)];
    if (this.focused < 0 || this.focused >= geometry.total || month === undefined) return stretches;
    const row = Math.floor((this.focused - month.index) / geometry.shape.columns);
    const at = stretches.findIndex((stretch) => stretch.month === month);
    const there = stretches[at];
    if (there !== undefined && row >= there.firstRow && row < there.endRow) return stretches;
    if (there === undefined) stretches.push({ month, top: geometry.monthTop(geometry.monthOf(this.focused)), firstRow: row, endRow: row + 1 });
    return stretches;
  }

  private drawMonth({ month, top, firstRow, endRow }: Stretch, geometry: Geometry) {
    const { columns, tile, heading } = geometry.shape;
    const shift = this.scale?.shift ?? 0;
    const name = dates.monthName(month.month);
    const rows = [];
    let missing = false;
    for (let row = firstRow; row < endRow; ++row) {
      const first = month.index + row * columns;
      const photos = this.photosOf(first, Math.min(month.index + month.count, first + columns));
      missing = missing || photos.includes(undefined);
      const rowTop = top + heading + row * geometry.step - shift;
      rows.push(<Row key={row} first={first} before={row * columns} count={month.count} top={rowTop} side={tile} photos={photos} />);
    }
    return (
      <div key={month.month}>
        <div class="month" style={{ transform: `translateY(${top - shift}px)`, height: `${heading}px` }}>
          <h2>{name}</h2>
          <span class="faint">{t('photos', { count: month.count })}</span>
          <a
            class="button plain month-download"
            href={archive(this.props.feed.id, month.month)}
            download
            aria-label={t('downloadMonth', { month: name })}
            title={t('downloadMonth', { month: name })}
          >
            <Icon name="download" />
            <span class="wide">{t('download')}</span>
          </a>
        </div>
        {rows.length > 0 && (
          <div role="list" aria-label={name} aria-busy={missing || undefined}>
            {rows}
          </div>
        )}
      </div>
    );
  }

  render() {
    const geometry = this.geometry;
    return (
      <div class="feed" ref={this.canvas} onKeyDown={this.onKeyDown} onFocusIn={this.onFocusIn}>
        {geometry !== null && this.stretches(geometry).map((stretch) => this.drawMonth(stretch, geometry))}
      </div>
    );
  }
}

const STEPS: Readonly<Record<string, readonly [number, number]>> = {
  ArrowLeft: [-1, 0],
  ArrowRight: [1, 0],
  ArrowUp: [0, -1],
  ArrowDown: [0, 1],
};
