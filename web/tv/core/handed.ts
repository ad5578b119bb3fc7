// SPDX-License-Identifier: MIT
// What one view knows of the photo that it leads to. The next one shows that at once, however long the service takes to tell the rest.
import type { Item } from './records';
import { onForget } from './state';

let last: Item | null = null;
onForget(() => {
  last = null;
});

export function handOn(item: Item): void {
  last = item;
}

/** Null where nothing was handed on, or another photo. */
export const handed = (id: string): Item | null => (last !== null && last.id === id ? last : null);
