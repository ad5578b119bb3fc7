// SPDX-License-Identifier: MIT
// Others' text, made fit to stand in the midst of our own.

// Controls draw nothing, or draw over what is not theirs. Line feeds and tabulators are kept where lines are wanted.
// eslint-disable-next-line no-control-regex
const CONTROLS = /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u2028\u2029\ufff9-\ufffb]/g;
// What turns the direction of the text behind it round: embeddings, overrides, isolates. The marks that languages need stay.
const TURNS = /[\u202a-\u202e\u2066-\u2069]/g;
const RIGHT_TO_LEFT = /[\u0590-\u08ff\u200f\ufb1d-\ufdff\ufe70-\ufefc]|[\ud802-\ud803\ud83a-\ud83b]/;

/** Text of several lines without what could reach beyond it. */
export function cleanText(text: string): string {
  return text.replace(CONTROLS, '').replace(TURNS, '');
}

/** The same in one line. */
export function cleanLine(text: string): string {
  return cleanText(text).replace(/\s+/g, ' ').trim();
}

/** A piece for a sentence of ours: where it is written from right to left it is isolated, so that our words stay where they are. */
export function isolated(text: string): string {
  const line = cleanLine(text);
  return RIGHT_TO_LEFT.test(line) ? `\u2068${line}\u2069` : line;
}
