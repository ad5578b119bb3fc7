// SPDX-License-Identifier: MIT
// The page's addresses. They stand behind the '#', so that the television's program need not know them.

export interface ShowWish {
  /** all, day, marked, or a month as YYYY-MM. */
  readonly of: string;
  /** Empty for what the settings say. */
  readonly order: '' | 'time' | 'shuffle';
  /** Seconds for each picture; 0 for what the settings say. */
  readonly seconds: number;
  /** The content to begin with; empty for any. */
  readonly from: string;
}

export type Route =
  | { readonly view: 'groups' }
  | { readonly view: 'pair' }
  | { readonly view: 'settings' }
  | { readonly view: 'kept'; readonly which: 'hidden' | 'marked' }
  | { readonly view: 'group'; readonly group: string }
  | { readonly view: 'photo'; readonly group: string; readonly content: string }
  /** Of all groups where the group is empty. */
  | { readonly view: 'show'; readonly group: string; readonly wish: ShowWish };

const SHORTEST = 0.1;

function wishOf(query: URLSearchParams): ShowWish {
  const of = query.get('of') ?? 'all';
  const order = query.get('order');
  const seconds = Number(query.get('seconds') ?? 0);
  return {
    of: /^(day|marked|\d{4}-\d{2})$/.test(of) ? of : 'all',
    order: order === 'time' || order === 'shuffle' ? order : '',
    seconds: Number.isFinite(seconds) && seconds > 0 ? Math.max(SHORTEST, seconds) : 0,
    from: query.get('from') ?? '',
  };
}

function decoded(text: string): string {
  try {
    return decodeURIComponent(text);
  } catch {
    return text;
  }
}

export function routeOf(hash: string): Route {
  const [path = '', search = ''] = hash.replace(/^#/, '').split('?');
  const parts = path.split('/').filter((part) => part !== '').map(decoded);
  const [first, group = '', third, content = ''] = parts;
  const query = new URLSearchParams(search);
  switch (first) {
    case 'pair':
    case 'settings':
      return { view: first };
    case 'hidden':
    case 'marked':
      return { view: 'kept', which: first };
    case 'show':
      return { view: 'show', group: '', wish: wishOf(query) };
    case 'group':
      if (group === '') break;
      if (third === 'show') return { view: 'show', group, wish: wishOf(query) };
      if (third === 'photo' && content !== '') return { view: 'photo', group, content };
      return { view: 'group', group };
  }
  return { view: 'groups' };
}

const part = encodeURIComponent;

export const groupPath = (group: string): string => `#/group/${part(group)}`;
export const photoPath = (group: string, content: string): string => `#/group/${part(group)}/photo/${part(content)}`;

export function showPath(group: string, wish: Partial<ShowWish> = {}): string {
  const query = new URLSearchParams();
  if (wish.of !== undefined && wish.of !== 'all') query.set('of', wish.of);
  if (wish.order) query.set('order', wish.order);
  if (wish.seconds) query.set('seconds', String(wish.seconds));
  if (wish.from) query.set('from', wish.from);
  const text = query.toString();
  return `${group === '' ? '#/show' : `${groupPath(group)}/show`}${text === '' ? '' : `?${text}`}`;
}

/** Where Back leads to; null at the root. */
export function above(route: Route): string | null {
  switch (route.view) {
    case 'groups':
    case 'pair':
      return null;
    case 'photo':
      return groupPath(route.group);
    case 'show':
      return route.group === '' ? '#/groups' : groupPath(route.group);
    case 'kept':
      return route.which === 'hidden' ? '#/settings' : '#/groups';
    default:
      return '#/groups';
  }
}
