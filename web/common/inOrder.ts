// SPDX-License-Identifier: MIT

/** Answers that come in another order than they were asked for: one that is older than the last one taken is not to be taken. */
export class InOrder {
  private asked = 0;
  private taken = 0;

  /** Called when something is asked; returns what says, once, whether the answer may be taken. */
  ask(): () => boolean {
    this.asked += 1;
    const mine = this.asked;
    return () => {
      if (mine < this.taken) return false;
      this.taken = mine;
      return true;
    };
  }

  /** Whether anything was ever asked. */
  get hasBegun(): boolean {
    return this.asked > 0;
  }
}
