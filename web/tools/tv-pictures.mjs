// SPDX-License-Identifier: MIT
// Pictures of the living room's views, at the sizes that televisions have.
//
// Usage: tv-pictures.mjs --address ADDRESS --outdir DIR [--lang de]
// The address is the one that kinloom-tv names, with its key. CHROMIUM in the environment names the browser's program where it is not
// Debian's.
import { mkdir, mkdtemp, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { parseArgs } from 'node:util';
import { chromium } from 'playwright-core';
import { PROGRAM, SWITCHES } from './chromium.mjs';

const { values } = parseArgs({ options: { address: { type: 'string' }, outdir: { type: 'string' }, lang: { type: 'string', default: 'en' } } });
if (values.address === undefined || values.outdir === undefined) {
  process.stderr.write('usage: tv-pictures.mjs --address ADDRESS --outdir DIR [--lang en|de]\n');
  process.exit(2);
}

/** Milliseconds for a view: the largest ones are drawn without a graphics processor. */
const PATIENCE = 120_000;
const SIZES = { 720: [1280, 720], 1080: [1920, 1080], 2160: [3840, 2160] };

const loaded = () => document.querySelector('[aria-busy=true]') === null && [...document.images].every((image) => image.complete) && document.querySelector('main') !== null;
const seen = {
  grid: () => document.querySelector('[role=gridcell] img') !== null && document.querySelector('[role=gridcell] img:not([data-state=there])') === null,
  photo: () => document.querySelector('img.sharp')?.complete === true,
  show: () => document.querySelector('img.slide')?.complete === true,
};

/** Each view: its address, what shows that it is there, and the keys that lead on from it. */
function viewsOf({ group, content }) {
  const views = { groups: ['#/groups', null, []], settings: ['#/settings', null, []], keys: ['#/groups', null, ['F1']] };
  if (group === undefined) return { pair: ['#/pair', null, []] };
  views.group = [`#/group/${group}`, seen.grid, ['ArrowRight', 'ArrowDown']];
  views.rail = [`#/group/${group}`, seen.grid, ['ArrowLeft', 'ArrowDown', 'ArrowDown']];
  if (content !== undefined) {
    views.photo = [`#/group/${group}/photo/${content}`, seen.photo, []];
    views.comments = [`#/group/${group}/photo/${content}`, seen.photo, ['Enter']];
    views.show = [`#/group/${group}/show?order=time&seconds=600`, seen.show, []];
    views.controls = [`#/group/${group}/show?order=time&seconds=600`, seen.show, ['ArrowDown', 'ArrowRight']];
  }
  return views;
}

await mkdir(values.outdir, { recursive: true });
const profile = await mkdtemp(join(tmpdir(), 'kinloom-browser-'));
const browser = await chromium.launch({ executablePath: PROGRAM, args: SWITCHES, env: { ...process.env, HOME: profile } });
try {
  for (const [name, [width, height]] of Object.entries(SIZES)) {
    const context = await browser.newContext({ viewport: { width, height }, locale: 'en-GB' });
    const page = await context.newPage();
    await page.goto(values.address);
    const { origin } = new URL(values.address);
    const found = await page.evaluate(async () => {
      const read = async (path) => (await fetch(path)).json();
      if (!(await read('/api/state')).paired) return {};
      const group = (await read('/api/groups')).groups.find((one) => one.total > 0);
      if (group === undefined) return {};
      const { contents } = await read(`/api/groups/${group.id}/contents?index=0&count=1`);
      return { group: group.id, content: contents[0]?.id };
    });
    for (const [view, [hash, there, keys]] of Object.entries(viewsOf(found))) {
      // A page of its own for each: the address alone would only change the view.
      const own = await context.newPage();
      own.setDefaultTimeout(PATIENCE);
      await own.goto(`${origin}/?lang=${values.lang}${hash}`);
      await own.waitForFunction(loaded, null, { polling: 'raf' });
      if (there !== null) await own.waitForFunction(there, null, { polling: 'raf' });
      for (const key of keys) await own.keyboard.press(key);
      await own.waitForFunction(loaded, null, { polling: 'raf' });
      const file = join(values.outdir, `${view}-${name}.png`);
      await own.screenshot({ path: file, animations: 'disabled' });
      process.stdout.write(`${file}\n`);
      await own.close();
    }
    await context.close();
  }
} finally {
  await browser.close();
  await rm(profile, { recursive: true, force: true });
}
