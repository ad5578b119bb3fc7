// SPDX-License-Identifier: MIT
// The addresses of the television's program, one function each. All throw a Failure.
import { request } from '../../common/http';
import type { Wanted } from './pictures';
import type { Comment, Contents, Details, Group, Guests, Months, Settings, ShowPage, Size, State } from './records';

const part = encodeURIComponent;

export const EVENTS = '/api/events';

export const state = (): Promise<State> => request('/api/state');
export const beginPairing = (): Promise<unknown> => request('/api/pairing', { method: 'POST', json: {} });
export const forget = (): Promise<unknown> => request('/api/signout', { method: 'POST', json: {} });

export const groups = (): Promise<{ groups: Group[] }> => request('/api/groups');
export const months = (group: string): Promise<Months> => request(`/api/groups/${part(group)}/months`);
export const contents = (group: string, index: number, count: number, signal?: AbortSignal): Promise<Contents> =>
  request(`/api/groups/${part(group)}/contents?index=${index}&count=${count}`, { signal });
/** Contents of a month before the group is known as a whole. */
export const contentsOfMonth = (group: string, month: string, count: number, signal?: AbortSignal): Promise<{ contents: Contents['contents'] }> =>
  request(`/api/groups/${part(group)}/contents?month=${part(month)}&count=${count}`, { signal });

export const content = (id: string, signal?: AbortSignal): Promise<Details> => request(`/api/contents/${part(id)}`, { signal });
export const writeComment = (id: string, text: string): Promise<Comment> => request(`/api/contents/${part(id)}/comments`, { method: 'POST', json: { text } });
export const mark = (id: string, marked: boolean): Promise<unknown> => request(`/api/contents/${part(id)}/mark`, { method: 'PUT', json: { marked } });
export const hide = (id: string, hidden: boolean): Promise<unknown> => request(`/api/contents/${part(id)}/hide`, { method: 'PUT', json: { hidden } });
export const kept = (which: 'hidden' | 'marked', index: number, count: number, signal?: AbortSignal): Promise<Contents> =>
  request(`/api/${which}?index=${index}&count=${count}`, { signal });

export interface ShowQuery {
  readonly of: string;
  /** Empty for all groups. */
  readonly group: string;
  readonly order: string;
  readonly seed: number;
}
export const show = ({ of, group, order, seed }: ShowQuery, index: number, count: number): Promise<ShowPage> =>
  request(`/api/show?of=${part(of)}${group === '' ? '' : `&group=${part(group)}`}&order=${part(order)}&seed=${seed}&index=${index}&count=${count}`);
/** What a tab shows next, for the program to have it in advance. */
export const watching = (tab: string, contents: readonly Wanted[]): Promise<unknown> => request('/api/watching', { method: 'POST', json: { tab, contents } });

export const putSettings = (part: Partial<Settings>): Promise<Settings> => request('/api/settings', { method: 'PUT', json: part });

export const startGuests = (group: string): Promise<Guests> => request('/api/guests', { method: 'POST', json: { group } });
export const endGuests = (): Promise<unknown> => request('/api/guests', { method: 'DELETE' });

/** The address of a content's picture. */
export const picture = (id: string, size: Size): string => `/media/${part(id)}/${size}`;
