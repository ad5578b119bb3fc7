// SPDX-License-Identifier: MIT
// The page's language, its sentences and its dates. What the address fixes holds; else what the settings say; else what the browser prefers.
import { Failure } from '../../common/http';
import { Signal } from '../../common/signal';
import { chooseLanguage, sentence, type Table, type Values } from '../../common/texts';
import { Dates } from '../../common/wallClock';
import type { Item } from './records';
import { de } from './texts.de';
import { en } from './texts.en';

const TABLES: Readonly<Record<string, Table>> = { en, de };
export const LANGUAGES = Object.keys(TABLES);
const DEFAULT_LOCALES: Readonly<Record<string, string>> = { en: 'en-GB', de: 'de-DE' };

/** `photos` stands for `photos_one` and `photos_other`. */
type Stem<K> = K extends `${infer S}_one` ? S : K extends `${string}_other` ? never : K;
export type Key = Stem<keyof typeof en>;

// Some keep the query behind the '#', where the views' own is.
const fixed = new URLSearchParams(location.search).get('lang') ?? new URLSearchParams(location.hash.split('?')[1] ?? '').get('lang');

interface Speech {
  readonly code: string;
  readonly locale: string;
  readonly table: Table;
  readonly dates: Dates;
}

function speech(wanted: string | null): Speech {
  const preferred = navigator.languages ?? [navigator.language];
  const code = chooseLanguage(LANGUAGES, [fixed, wanted === 'auto' ? null : wanted, ...preferred]);
  const own = fixed === null ? preferred.find((one) => one.toLowerCase().startsWith(code)) : undefined;
  const locale = own ?? DEFAULT_LOCALES[code] ?? code;
  return {
    code,
    locale,
    table: TABLES[code] ?? en,
    dates: new Dates(locale),
  };
}

export const spoken = new Signal<Speech>(speech(null));

/** The language that the settings name, or "auto". */
export function speak(wanted: string): void {
  const next = speech(wanted);
  document.documentElement.lang = next.code;
  if (next.code !== spoken.value.code) spoken.value = next;
}

export function t(key: Key, values?: Values): string {
  return sentence(spoken.value.table, spoken.value.locale, key, values);
}

/** The sentence for a failure. */
export function reason(failure: unknown): string {
  const word = failure instanceof Failure ? failure.word : String(failure);
  return spoken.value.table[`error_${word}`] ?? t('error_failed');
}

export const nameOfLanguage = (code: string): string => (code === 'auto' ? t('automatic') : (TABLES[code]?.language ?? code));

export const monthName = (month: string): string => (month === '' ? t('undated') : spoken.value.dates.monthName(month));

/** The month without its year, for lists under their year. */
export const shortMonth = (month: string): string => spoken.value.dates.monthAlone(month) || t('undated');

export const taken = (item: Item): string => spoken.value.dates.taken(item.created) || t('undated');

/** How a photo is called: by its date, and its description where it has one. */
export function photoName(item: Item): string {
  const date = taken(item);
  return item.description.trim() === '' ? date : t('photoNamed', { date, description: item.description });
}
