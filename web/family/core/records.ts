// SPDX-License-Identifier: MIT
// What the service answers with.

export interface Person {
  readonly id: string;
  readonly name: string;
  readonly photo?: string | null;
}

export interface Group {
  readonly id: string;
  readonly name: string;
  readonly description: string;
  readonly master: Person;
  readonly photos: number;
  readonly contents: number;
  readonly comments: number;
  readonly image: string | null;
  readonly role: 'master' | 'member';
  readonly may: {
    readonly upload: boolean;
    readonly comment: boolean;
    readonly invite: boolean;
    readonly delete_any: boolean;
  };
}

export interface Content {
  readonly id: string;
  readonly format: string;
  readonly description: string;
  readonly size: number | null;
  readonly resolution: { readonly width: number; readonly height: number } | null;
  readonly created: string | null;
  readonly uploaded: string | null;
  readonly creator: Person;
  readonly url: string;
  readonly thumbnails: ReadonlyArray<{ readonly name: string; readonly url: string }>;
  readonly comment_count: number;
  readonly group: string;
  readonly may: { readonly delete: boolean };
}

export interface Comment {
  readonly id: string;
  readonly text: string;
  readonly written: string | null;
  readonly author: Person;
  readonly may: { readonly delete: boolean };
}

export interface ContentPage {
  readonly total: number;
  readonly index: number;
  readonly contents: readonly Content[];
}

export interface ContentDetails {
  readonly content: Content;
  readonly comments: readonly Comment[];
  readonly group: string;
  readonly index: number;
  readonly total: number;
  readonly previous: string | null;
  readonly next: string | null;
}

export interface Session {
  readonly person: Person;
  readonly session: string;
  readonly version: string;
  readonly max_upload_bytes: number;
}

export interface Invitation {
  readonly inviter: string | null;
  readonly group: { readonly id: string; readonly name: string } | null;
  readonly name: string;
  readonly state: 'open' | 'used' | 'expired';
  readonly expires: string;
}

export interface NewInvitation {
  readonly url: string;
  readonly qr_svg: string;
  readonly name: string;
  readonly expires: string;
}

export interface Device {
  readonly duid: string;
  readonly name: string;
  readonly created: string | null;
  readonly signed_in: string | null;
}

export interface BrowserSession {
  readonly id: string;
  readonly name: string;
  readonly address: string;
  readonly used: string | null;
  readonly current: boolean;
}

export interface Pairing {
  readonly user_code: string;
  readonly device_name: string;
  readonly address: string;
  readonly expires_in: number;
}

/** The address of one of a content's sizes. */
export function sized(content: Content, size: 'small' | 'medium' | 'large'): string {
  return content.thumbnails.find((thumbnail) => thumbnail.name === size)?.url ?? content.url;
}
