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

/** To where this view was opened from, else to the one above it. False at the root. */
export function goBack(): boolean {
  const from = (history.state as Step | null)?.from;
  const up = above(route.value);
  if (from !== undefined && from !== location.hash && up !== null) {
    history.back();
    return true;
  }
  if (up === null) return false;
  go(up, true);
  return true;
}

export function startRouter(): void {
  addEventListener('popstate', read);
  addEventListener('hashchange', read);
}
