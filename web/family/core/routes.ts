// SPDX-License-Identifier: MIT
// The page's addresses, and what each of them shows.

export type Route =
  | { view: 'groups' }
  | { view: 'group'; group: string; month: string | null }
  | { view: 'photo'; group: string; content: string }
  | { view: 'pair'; code: string }
  | { view: 'devices' }
  | { view: 'invite'; key: string }
  | { view: 'unknown' };

const PATTERNS: ReadonlyArray<[RegExp, (parts: string[], hash: string) => Route]> = [
  [/^\/$/, () => ({ view: 'groups' })],
  [/^\/group\/([^/]+)$/, ([group = ''], hash) => ({ view: 'group', group, month: /^#\d{4}-\d{2}$/.test(hash) ? hash.slice(1) : null })],
  [/^\/group\/([^/]+)\/photo\/([^/]+)$/, ([group = '', content = '']) => ({ view: 'photo', group, content })],
  [/^\/pair(?:\/([^/]*))?$/, ([code = '']) => ({ view: 'pair', code })],
  [/^\/devices$/, () => ({ view: 'devices' })],
  [/^\/invite\/([^/]+)$/, ([key = '']) => ({ view: 'invite', key })],
];

/** What an address of the page shows. */
export function routeOf(path: string, hash = ''): Route {
  for (const [pattern, make] of PATTERNS) {
    const found = pattern.exec(path);
    if (found === null) continue;
    try {
      return make(found.slice(1).map((text) => (text === undefined ? '' : decodeURIComponent(text))), hash);
    } catch {
      return { view: 'unknown' };
    }
  }
  return { view: 'unknown' };
}

export const groupPath = (group: string): string => `/group/${encodeURIComponent(group)}`;
export const photoPath = (group: string, content: string): string => `${groupPath(group)}/photo/${encodeURIComponent(content)}`;
