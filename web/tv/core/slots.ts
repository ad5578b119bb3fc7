// SPDX-License-Identifier: MIT
// Which element of the document stands for which row. A row that comes takes over the element of one that goes: making elements anew
// costs a slow processor several times what filling them costs.

interface Holding {
  readonly slot: number;
  /** The move with which the row came. */
  readonly since: number;
}

export interface Slot {
  readonly slot: number;
  /** It has just come, so the way from where its element was is not its own. */
  readonly isNew: boolean;
}

export class Slots {
  private holdings = new Map<string, Holding>();
  private spare: number[] = [];
  private count = 0;
  private moves = 0;
  private scroll = 0;

  /** Gives each row, named in the order in which they are seen, its slot. Rows keep theirs while they are on screen. */
  take(names: readonly string[], scroll: number): Slot[] {
    if (scroll !== this.scroll) {
      this.scroll = scroll;
      this.moves += 1;
    }
    const before = this.holdings;
    const staying = new Set(names);
    // In the order in which they stood, so that few elements change their order.
    const free = [...before].filter(([name]) => !staying.has(name)).map(([, { slot }]) => slot);
    free.push(...this.spare);
    const after = new Map<string, Holding>();
    const slots = names.map((name) => {
      const holding = before.get(name) ?? { slot: free.shift() ?? this.count++, since: this.moves };
      after.set(name, holding);
      return { slot: holding.slot, isNew: holding.since === this.moves };
    });
    this.holdings = after;
    this.spare = free;
    return slots;
  }
}
