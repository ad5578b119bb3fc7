// SPDX-License-Identifier: MIT
// Views as pictures, compared with those of pictures/. KINLOOM_UPDATE_PICTURES=1 takes them anew.
import assert from 'node:assert/strict';
import { mkdir, readFile, writeFile } from 'node:fs/promises';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { PNG } from './modules.mjs';

const FOLDER = fileURLToPath(new URL('../pictures', import.meta.url));
/** Dots that may differ, of a thousand: letters are drawn a little differently from version to version. */
const MOST_OF_A_THOUSAND = 20;
/** How far apart two dots are that differ. */
const APART = 48;

function difference(one, other) {
  if (one.width !== other.width || one.height !== other.height) return 1000;
  let different = 0;
  for (let at = 0; at < one.data.length; at += 4) {
    const apart = Math.abs(one.data[at] - other.data[at]) + Math.abs(one.data[at + 1] - other.data[at + 1]) + Math.abs(one.data[at + 2] - other.data[at + 2]);
    if (apart > APART) different += 1;
  }
  return (different / (one.data.length / 4)) * 1000;
}

export async function compare(page, name) {
  // Without the window's caret and movements, at the dots of the page.
  const bytes = await page.screenshot({ animations: 'disabled', caret: 'hide', scale: 'css' });
  const path = join(FOLDER, `${name}.png`);
  if (process.env.KINLOOM_UPDATE_PICTURES === '1') {
    await mkdir(FOLDER, { recursive: true });
    await writeFile(path, bytes);
    return;
  }
  const apart = difference(PNG.sync.read(bytes), PNG.sync.read(await readFile(path)));
  if (apart > MOST_OF_A_THOUSAND && process.env.KINLOOM_PICTURES !== undefined) await writeFile(join(process.env.KINLOOM_PICTURES, `${name}.png`), bytes);
  assert.ok(apart <= MOST_OF_A_THOUSAND, `${name}: ${apart.toFixed(1)} of a thousand dots differ`);
}
