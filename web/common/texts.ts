// SPDX-License-Identifier: MIT
// Texts of a page: one table per language, all with the same keys.
import { isolated } from './plainText';

/** What stands between the thousands of a number is one of a language's texts. */
export type Table = Readonly<Record<string, string>> & { readonly thousands: string };
export type Values = Readonly<Record<string, string | number>>;

/** The language to use: what the address fixes, what was chosen here before, what the browser prefers, the first there is. */
export function chooseLanguage(offered: readonly string[], wanted: ReadonlyArray<string | null | undefined>): string {
  for (const wish of wanted) {
    const language = (wish ?? '').toLowerCase().split(/[-_]/)[0] ?? '';
    if (offered.includes(language)) return language;
  }
  return offered[0] ?? 'en';
}

/** The number as the language writes it. A browser's own format of numbers takes longer to make than a screen of photos to draw. */
function numeral(value: number, table: Table, locale: string): string {
  if (!Number.isInteger(value)) return new Intl.NumberFormat(locale).format(value);
  return String(value).replace(/\B(?=(\d{3})+$)/g, table.thousands);
}

/**
 * The sentence with its values: `{name}` is replaced by others' text, isolated. Where `count` is among the values, KEY_one is taken
 * for one and KEY_other for all else, as the languages that there are have it.
 */
export function sentence(table: Table, locale: string, key: string, values: Values = {}): string {
  let template = table[key];
  if (template === undefined && typeof values.count === 'number') {
    template = table[values.count === 1 ? `${key}_one` : `${key}_other`];
  }
  return (template ?? key).replace(/\{(\w+)\}/g, (whole, name: string) => {
    const value = values[name];
    if (value === undefined) return whole;
    return typeof value === 'number' ? numeral(value, table, locale) : isolated(value);
  });
}
