// SPDX-License-Identifier: MIT
// The guests' page's language, and its sentences.
import { chooseLanguage, sentence, type Table, type Values } from '../common/texts';
import { de } from './texts.de';
import { en } from './texts.en';

export const TABLES: Readonly<Record<string, Table>> = { en, de };
type Stem<K> = K extends `${infer S}_one` ? S : K extends `${string}_other` ? never : K;
export type Key = Stem<keyof typeof en>;

const query = typeof location === 'undefined' ? null : new URLSearchParams(location.search).get('lang');
const preferred = typeof navigator === 'undefined' ? [] : (navigator.languages ?? [navigator.language]);
export const language = chooseLanguage(Object.keys(TABLES), [query, ...preferred]);

export const t = (key: Key, values?: Values): string => sentence(TABLES[language] ?? en, language, key, values);
const own: Table = TABLES[language] ?? en;
export const reason = (word: string): string => own[`error_${word}`] ?? t('error_failed');
