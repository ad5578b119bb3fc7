// SPDX-License-Identifier: MIT
// Texts that were typed and not sent yet. They outlive a view, a failure and a reload of the page.

const PREFIX = 'draft:';
const drafts = new Map<string, string>();

export function draftOf(key: string): string {
  const kept = drafts.get(key);
  if (kept !== undefined) return kept;
  try {
    return sessionStorage.getItem(PREFIX + key) ?? '';
  } catch {
    return '';
  }
}

export function keepDraft(key: string, text: string): void {
  drafts.set(key, text);
  try {
    if (text === '') sessionStorage.removeItem(PREFIX + key);
    else sessionStorage.setItem(PREFIX + key, text);
  } catch {
    // Storage that is full or switched off: memory has it, for as long as the page lives.
  }
}

export function anyDraft(): boolean {
  try {
    return Object.keys(sessionStorage).some((key) => key.startsWith(PREFIX));
  } catch {
    return false;
  }
}
