// SPDX-License-Identifier: MIT
// What the pages' benchmarks have measured.
import { appendFile } from 'node:fs/promises';

const figures = [];

/** Notes the best of the rounds. */
export function report(name, rounds, unit, goal) {
  const value = Math.min(...rounds);
  figures.push({ name, value, unit, goal, better: 'lower', spread: [value, Math.max(...rounds)] });
  process.stderr.write(`${name}: ${value.toFixed(2)} ${unit} (at most ${goal}; ${rounds.map((one) => one.toFixed(2)).join(', ')})\n`);
}

/** Appends all figures to a file, a line of JSON each; nowhere without one. */
export async function keepFigures(file) {
  if (file !== undefined) await appendFile(file, figures.map((figure) => `${JSON.stringify(figure)}\n`).join(''));
}
