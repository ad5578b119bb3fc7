// SPDX-License-Identifier: MIT
// The page's language, its sentences and its dates.
import { chooseLanguage, sentence, type Table, type Values } from '../../common/texts';
import { Failure } from '../../common/http';
import { Dates } from '../../common/wallClock';
import { de } from './texts.de';
import { en } from './texts.en';

const TABLES: Readonly<Record<string, Table>> = { en, de };
export const LANGUAGES = Object.keys(TABLES);
const KEPT = 'language';

/** `photos` stands for `photos_one` and `photos_other`. */
type Stem<K> = K extends `${infer S}_one` ? S : K extends `${string}_other` ? never : K;
export type Key = Stem<keyof typeof en>;

function kept(): string | null {
  try {
    return localStorage.getItem(KEPT);
  } catch {
    return null;
  }
}

const fixed = new URLSearchParams(location.search).get('lang');
export const language = chooseLanguage(LANGUAGES, [fixed, kept(), ...(navigator.languages ?? [navigator.language])]);

/** What dates and numbers look like: as in the reader's own country, unless the address fixes the language. */
const DEFAULT_LOCALES: Readonly<Record<string, string>> = { en: 'en-GB', de: 'de-DE' };
const own = fixed === null ? navigator.languages?.find((locale) => locale.toLowerCase().startsWith(language)) : undefined;
export const locale = own ?? DEFAULT_LOCALES[language] ?? language;

export const dates = new Dates(locale);

const table: Table = TABLES[language] ?? en;

export function t(key: Key, values?: Values): string {
  return sentence(table, locale, key, values);
}

/** The sentence for a failure, in the reader's language. */
export function reason(failure: unknown): string {
  const word = failure instanceof Failure ? failure.word : String(failure);
  return table[`error_${word}`] ?? t('error_failed');
}

export const nameOfLanguage = (code: string): string => TABLES[code]?.language ?? code;

/** The page in another language, from the next load on, which is now. */
export function changeLanguage(code: string): void {
  try {
    localStorage.setItem(KEPT, code);
  } catch {
    // Then it holds for this load alone.
  }
  const address = new URL(location.href);
  address.searchParams.delete('lang');
  location.replace(address.href);
}

/** How a photo is called: by its date, and its description where it has one. */
export function photoName(photo: { created: string | null; description: string }): string {
  const date = dates.taken(photo.created) || t('undated');
  return photo.description.trim() === '' ? date : t('photoNamed', { date, description: photo.description });
}
