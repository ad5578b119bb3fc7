// SPDX-License-Identifier: MIT
// Which moves of a grid are seen as ways.

/** Milliseconds behind a move in which a further one is made at once. */
const QUICK = 200;

/**
 * Short ways are seen as ways. Jumps, held keys and presses that follow one another quickly are not: whoever presses again does not wait
 * for the end of a way, and each of its frames is drawn whole, which keeps a slow processor from the next press.
 */
export class Glide {
  private last = -Infinity;
  private glides = false;

  constructor(private scroll: number) {}

  /** Whether the grid glides to where it is scrolled now: the same answer until it is scrolled on. */
  to(scroll: number, view: number, isFlying: boolean, now: number): boolean {
    if (scroll === this.scroll) return this.glides;
    this.glides = !isFlying && Math.abs(scroll - this.scroll) < view && now - this.last > QUICK;
    this.scroll = scroll;
    this.last = now;
    return this.glides;
  }
}
