// SPDX-License-Identifier: MIT
// The codes that televisions show: eight letters, in two fours.

const LETTERS = /[^BCDFGHJKLMNPQRSTVWXZ]/g;
export const CODE_LENGTH = 8;

/** What was typed or pasted, as the television shows it: other signs left out, and no more than a code. */
export function tidyCode(typed: string): string {
  const letters = typed.toUpperCase().replace(LETTERS, '').slice(0, CODE_LENGTH);
  return letters.length > 4 ? `${letters.slice(0, 4)}-${letters.slice(4)}` : letters;
}

export const isWhole = (code: string): boolean => code.replace('-', '').length === CODE_LENGTH;
