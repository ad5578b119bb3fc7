// SPDX-License-Identifier: MIT
// What the television's program answers with.
import type { Night } from './nightHours';

export interface Person {
  readonly id: string;
  readonly name: string;
}

export interface Group {
  readonly id: string;
  readonly name: string;
  readonly description: string;
  readonly total: number;
  readonly complete: boolean;
  readonly image: string | null;
}

export interface Item {
  readonly id: string;
  readonly group: string;
  readonly index: number | null;
  readonly description: string;
  readonly created: string | null;
  readonly creator: Person | null;
  readonly width: number;
  readonly height: number;
  readonly marked: boolean;
  readonly comment_count: number;
  /** Its place in the order of a show. */
  readonly step?: number;
}

export interface Month {
  readonly month: string;
  readonly count: number | null;
  readonly index: number | null;
}

export interface Months {
  readonly complete: boolean;
  readonly total: number;
  readonly months: readonly Month[];
}

export interface Contents {
  readonly total: number;
  readonly index: number;
  readonly complete?: boolean;
  readonly contents: readonly Item[];
}

export interface Comment {
  /** Null for one that was written though nobody could tell its number. */
  readonly id: string | null;
  readonly text: string;
  readonly written: string | null;
  readonly author: Person | null;
}

export interface Details {
  readonly content: Item;
  readonly comments: readonly Comment[];
  readonly total: number;
  /** False where the service is away: what was said is not known then. */
  readonly complete?: boolean;
}

export interface ShowPage {
  readonly total: number;
  readonly index: number;
  readonly round?: number;
  /** The index to ask for next. */
  readonly next?: number;
  readonly items: readonly Item[];
}

export interface QrCode {
  readonly size: number;
  /** One text of '0' and '1' for each row. */
  readonly rows: readonly string[];
}

export interface Pairing {
  /** There is a code only while it is waited for somebody. */
  readonly user_code: string | null;
  readonly verification_uri: string | null;
  readonly verification_uri_complete: string | null;
  readonly expires_in: number | null;
  readonly state: 'starting' | 'waiting' | 'denied' | 'expired' | 'failed';
  readonly message: string | null;
  readonly qr: QrCode | null;
}

export interface Transfer {
  readonly id: string;
  readonly name: string;
  readonly sent: number;
  readonly size: number;
  readonly state: string;
}

export interface Guests {
  readonly url: string;
  readonly qr: QrCode | null;
  readonly group: string;
  readonly expires_in: number;
  readonly left: { readonly count: number; readonly bytes: number };
  readonly transfers: readonly Transfer[];
}

export interface Settings {
  readonly seconds: number;
  readonly order: 'time' | 'shuffle';
  readonly night: Night | null;
  /** 0 is never. */
  readonly idle_minutes: number;
  readonly clock: boolean;
  readonly caption: boolean;
  readonly motion: boolean;
  readonly pairs: boolean;
  readonly phrases: readonly string[];
  readonly language: string;
}

export type Service = 'ok' | 'away' | 'refused';

export interface State {
  readonly paired: boolean;
  readonly service: Service;
  readonly person: Person | null;
  readonly version: string;
  readonly pairing: Pairing | null;
  readonly guests: Guests | null;
  /** Whether guests can be let in at all. */
  readonly guests_possible?: boolean;
  readonly settings: Settings;
  readonly panel?: { readonly width: number; readonly height: number };
}

export type Size = 'grid' | 'screen' | 'full';
