// SPDX-License-Identifier: MIT
// Feeds that are higher than what browsers can measure. The scroll box is never higher than a bound. Where the feed is, small steps
// move it by what they are, and large ones (the bar dragged, a jump) by their share of the whole; in between the two are kept together
// by an offset: place in the feed = scroll position + offset.

/** Well below the 2^24 pixels that the weakest browser lays out. */
export const HIGHEST_BOX = 8_000_000;

export class ScrollScale {
  private offset = 0;
  private last = 0;

  constructor(
    /** Height of the feed. */
    readonly height: number,
    readonly view: number,
    private readonly highest: number = HIGHEST_BOX,
  ) {}

  /** Height of the scroll box. */
  get box(): number {
    return Math.min(this.height, this.highest);
  }

  private get scrollable(): number {
    return Math.max(1, this.box - this.view);
  }

  private get travel(): number {
    return Math.max(0, this.height - this.view);
  }

  /** How far things have to be moved up to stand in the scroll box. */
  get shift(): number {
    return this.offset;
  }

  /** The place in the feed that a scroll position shows. */
  placeAt(scroll: number): number {
    if (this.height <= this.highest) return scroll;
    const clamped = Math.min(this.scrollable, Math.max(0, scroll));
    const near = Math.abs(clamped - this.last) < this.view * 2;
    const atEdge = clamped <= 0 || clamped >= this.scrollable;
    if (!near || atEdge) this.offset = Math.round((clamped / this.scrollable) * this.travel) - clamped;
    this.last = clamped;
    return Math.min(this.travel, Math.max(0, clamped + this.offset));
  }

  /** The scroll position that shows a place; things move with it. */
  scrollTo(place: number): number {
    const target = Math.min(this.travel, Math.max(0, place));
    if (this.height <= this.highest) return target;
    // The box's ends are the feed's ends and nothing else.
    const inside = target <= 0 ? 0 : target >= this.travel ? this.scrollable : null;
    const share = Math.round((target / Math.max(1, this.travel)) * this.scrollable);
    const scroll = inside ?? Math.min(this.scrollable - 1, Math.max(1, share));
    this.offset = target - scroll;
    this.last = scroll;
    return scroll;
  }
}
