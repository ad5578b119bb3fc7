// SPDX-License-Identifier: MIT
// The service's addresses, one function each. All throw a Failure.
import type { MonthCount } from '../../common/geometry';
import { request } from '../../common/http';
import type { BrowserSession, Comment, ContentDetails, Content, ContentPage, Device, Group, Invitation, NewInvitation, Pairing, Session } from './records';

const part = encodeURIComponent;

export const EVENTS = '/page/events';

export const session = (): Promise<Session> => request('/page/session');

export const groups = (): Promise<{ groups: Group[] }> => request('/page/groups');
export const createGroup = (name: string): Promise<Group> => request('/page/groups', { method: 'POST', json: { name } });
export const group = (id: string): Promise<Group> => request(`/page/groups/${part(id)}`);
export const months = (id: string): Promise<{ total: number; months: MonthCount[] }> => request(`/page/groups/${part(id)}/months`);
export const contents = (id: string, index: number, count: number, signal?: AbortSignal): Promise<ContentPage> =>
  request(`/page/groups/${part(id)}/contents?index=${index}&count=${count}`, { signal });
export const archive = (id: string, month: string): string => `/page/groups/${part(id)}/archive?month=${part(month)}`;

export const content = (id: string, signal?: AbortSignal): Promise<ContentDetails> => request(`/page/contents/${part(id)}`, { signal });
export const deleteContent = (id: string): Promise<{ undo_seconds: number }> => request(`/page/contents/${part(id)}`, { method: 'DELETE' });
export const restoreContent = (id: string): Promise<Content> => request(`/page/contents/${part(id)}/restore`, { method: 'POST' });

export const writeComment = (id: string, text: string): Promise<Comment> => request(`/page/contents/${part(id)}/comments`, { method: 'POST', json: { text } });
export const deleteComment = (id: string): Promise<{ undo_seconds: number }> => request(`/page/comments/${part(id)}`, { method: 'DELETE' });
export const restoreComment = (id: string): Promise<Comment> => request(`/page/comments/${part(id)}/restore`, { method: 'POST' });

export interface FileDigest {
  sha256: string;
  size: number;
}
export const knownFiles = (id: string, files: FileDigest[], signal: AbortSignal): Promise<{ known: Array<{ sha256: string; content_id: string }> }> =>
  request(`/page/groups/${part(id)}/check`, { method: 'POST', json: { files }, signal });
export const uploadAddress = (id: string, name: string, sha256: string, modified: string): string =>
  `/page/groups/${part(id)}/contents?name=${part(name)}${sha256 === '' ? '' : `&sha256=${sha256}`}&modified=${part(modified)}`;

export const invitation = (key: string): Promise<Invitation> => request(`/page/invitations/${part(key)}`);
export const acceptInvitation = (key: string): Promise<unknown> => request(`/page/invitations/${part(key)}`, { method: 'POST' });
export const invite = (id: string, name: string): Promise<NewInvitation> => request(`/page/groups/${part(id)}/invitations`, { method: 'POST', json: { name } });

export const devices = (): Promise<{ devices: Device[]; sessions: BrowserSession[] }> => request('/page/devices');
export const revokeDevice = (duid: string): Promise<unknown> => request(`/page/devices/${part(duid)}`, { method: 'DELETE' });
export const endSession = (id: string): Promise<unknown> => request(`/page/sessions/${part(id)}`, { method: 'DELETE' });

export const pairing = (code: string): Promise<Pairing> => request(`/page/pairings/${part(code)}`);
export const decidePairing = (code: string, approve: boolean): Promise<unknown> => request(`/page/pairings/${part(code)}`, { method: 'POST', json: { approve } });
