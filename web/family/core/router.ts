// SPDX-License-Identifier: MIT
// Going from one of the page's addresses to another without loading the page anew.
import { Signal } from '../../common/signal';
import { type Route, routeOf } from './routes';

const here = (): Route => routeOf(location.pathname, location.hash);

export const route = new Signal<Route>(here());

function withQuery(path: string): string {
  // A language that the address fixes stays fixed.
  const lang = new URLSearchParams(location.search).get('lang');
  return lang === null || path.includes('?') ? path : path.replace(/(#|$)/, `?lang=${encodeURIComponent(lang)}$1`);
}

interface State {
  /** The path of the view that this one was opened from. */
  readonly from?: string;
}

export function go(path: string, replace = false): void {
  if (replace) history.replaceState(history.state, '', withQuery(path));
  else history.pushState({ from: location.pathname } as State, '', withQuery(path));
  route.value = here();
}

/** To the view named: a step back where this one was opened from there, so that the browser's own Back does not lead here again. */
export function goBack(path: string): void {
  if ((history.state as State | null)?.from === path) history.back();
  else go(path, true);
}

/** Links lead through here, those with `data-back` by goBack. */
export function startRouter(): void {
  history.scrollRestoration = 'manual';
  addEventListener('popstate', () => {
    route.value = here();
  });
  document.addEventListener('click', (event) => {
    if (event.defaultPrevented || event.button !== 0 || event.metaKey || event.ctrlKey || event.shiftKey || event.altKey) return;
    const link = (event.target as Element | null)?.closest?.('a');
    if (!link || link.origin !== location.origin || link.hasAttribute('download') || link.target !== '') return;
    if (routeOf(link.pathname).view === 'unknown') return;
    event.preventDefault();
    const path = link.pathname + link.hash;
    if (link.dataset.back !== undefined) goBack(path);
    else if (path !== location.pathname + location.hash) go(path);
  });
}
