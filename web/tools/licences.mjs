// SPDX-License-Identifier: MIT
// The licences of the packages that a bundle holds.
import { readdir, readFile } from 'node:fs/promises';
import { join } from 'node:path';

/** @param inputs the bundle's sources, as the bundler names them, relative to the folder */
export async function licences(folder, inputs) {
  const packages = new Set();
  for (const input of inputs) {
    const found = /^(?:.*\/)?node_modules\/((?:@[^/]+\/)?[^/]+)\//.exec(input);
    if (found !== null) packages.add(found[1]);
  }
  const parts = [];
  for (const name of [...packages].sort()) {
    const home = join(folder, 'node_modules', name);
    const { version, license } = JSON.parse(await readFile(join(home, 'package.json'), 'utf8'));
    const file = (await readdir(home)).find((entry) => /^licen[cs]e(\.|$)/i.test(entry));
    if (file === undefined) throw new Error(`${name} has no licence file`);
    parts.push(`${name} ${version} (${license})\n${'='.repeat(72)}\n\n${(await readFile(join(home, file), 'utf8')).trim()}\n`);
  }
  return `The pages hold parts of these packages.\n\n${parts.join('\n\n')}`;
}
