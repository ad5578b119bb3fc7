// SPDX-License-Identifier: MIT
// User Timing: when the first picture of a grid was painted, and each picture of a show.

/** So many marks are kept; a show of weeks must not gather them for ever. */
const MOST = 12_000;
let count = 0;

export function mark(name: 'first-picture' | 'slide-shown', detail: { group: string; content: string }): void {
  if (++count > MOST) {
    performance.clearMarks();
    count = 1;
  }
  // Engines that do not know of details leave them out.
  performance.mark(name, { detail });
}

/** Calls when what is in the document now has been painted; also where nobody looks at the page and nothing is painted. */
export function afterPaint(then: () => void): void {
  let called = false;
  const once = (): void => {
    if (called) return;
    called = true;
    clearTimeout(timer);
    then();
  };
  const timer = setTimeout(once, 250);
  requestAnimationFrame(() => requestAnimationFrame(once));
}
