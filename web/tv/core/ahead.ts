// SPDX-License-Identifier: MIT
// Pictures that are likely to be shown next, ready before anybody asks for them.
import { useEffect } from 'preact/hooks';
import { loadPicture, release, sharpAddress } from './pictures';
import type { Item } from './records';

/** Milliseconds that they stay when they are not likely any more: whoever shows one just then finds it there. */
const STAY = 1000;

/** Returns what ends it. */
function load({ id, width, height }: Item): () => void {
  let ended = false;
  let image: HTMLImageElement | null = null;
  const loading = loadPicture(sharpAddress(id, width, height));
  void loading.outcome.then((outcome) => {
    if (outcome.kind !== 'ready') return;
    if (ended) release(outcome.image);
    else image = outcome.image;
  });
  return () => {
    ended = true;
    loading.cancel();
    if (image !== null) release(image);
  };
}

/** @param rest milliseconds that they have to be likely before they are fetched */
export function useAhead(items: ReadonlyArray<Item | undefined>, rest = 0): void {
  const wanted = items.filter((one): one is Item => one !== undefined);
  useEffect(() => {
    let ends: Array<() => void> = [];
    const timer = setTimeout(() => {
      ends = wanted.map(load);
    }, rest);
    return () => {
      clearTimeout(timer);
      setTimeout(() => ends.forEach((end) => end()), STAY);
    };
  }, [wanted.map(({ id }) => id).join(' ')]);
}
