// SPDX-License-Identifier: MIT
// Going from one of the page's views to another.
import { Signal } from '../../common/signal';
import { above, type Route, routeOf } from './routes';

export const route = new Signal<Route>(routeOf(location.hash));

interface Step {
  /** The address of the view that this one was opened from. */
  readonly from?: string;
}

const read = (): void => {
  route.value = routeOf(location.hash);
};

export function go(path: string, replace = false): void {
  if (path === location.hash) return;
  // A language that the address fixes stays in front of the '#'.
  const address = location.pathname + location.search + path;
  if (replace) history.replaceState(history.state, '', address);
  else history.pushState({ from: location.hash } as Step, '', address);
  read();
}

/** The browser goes back on its own time: whoever is quicker goes on from where that leads to, and never past the page's beginning. */
let isGoing = false;
let stepsWanted = 0;
let patience: ReturnType<typeof setTimeout> | undefined;

function arrived(): void {
  clearTimeout(patience);
  isGoing = false;
}

/** To where this view was opened from, else to the one above it. False at the root. */
export function goBack(): boolean {
  if (isGoing) {
    stepsWanted += 1;
    return true;
  }
  const from = (history.state as Step | null)?.from;
  const up = above(route.value);
  if (from !== undefined && from !== location.hash && up !== null) {
    isGoing = true;
    history.back();
    // A browser that does not go must not take the key away for good.
    patience = setTimeout(() => {
      arrived();
      stepsWanted = 0;
    }, 1000);
    return true;
  }
  if (up === null) return false;
  go(up, true);
  return true;
}

export function startRouter(): void {
  addEventListener('popstate', () => {
    arrived();
    read();
    if (stepsWanted === 0) return;
    stepsWanted -= 1;
    goBack();
  });
  addEventListener('hashchange', read);
}
