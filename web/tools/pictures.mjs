// SPDX-License-Identifier: MIT
// Pictures of the page's views, as a telephone and a desktop show them, by somebody who uses an invitation up.
//
// Usage: pictures.mjs --invitation ADDRESS --outdir DIR
// CHROMIUM in the environment names the browser's program where it is not Debian's.
import { mkdir, mkdtemp, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { parseArgs } from 'node:util';
import { chromium } from 'playwright-core';
import { PROGRAM, SWITCHES } from './chromium.mjs';

const { values } = parseArgs({ options: { invitation: { type: 'string' }, outdir: { type: 'string' } } });
if (values.invitation === undefined || values.outdir === undefined) {
  process.stderr.write('usage: pictures.mjs --invitation ADDRESS --outdir DIR\n');
  process.exit(2);
}

const SIZES = {
  telephone: { viewport: { width: 390, height: 844 }, deviceScaleFactor: 2, isMobile: true, hasTouch: true },
  desktop: { viewport: { width: 1280, height: 800 } },
};
/** All pictures on screen have come. */
const complete = (page) =>
  page.waitForFunction(() => document.querySelector('[aria-busy]') === null && [...document.images].every((image) => image.complete), null, { polling: 'raf' });

async function take(context, size, origin, found) {
  const page = await context.newPage();
  const views = { groups: '/', pair: '/pair', devices: '/devices' };
  if (found.group !== undefined) views.feed = `/group/${found.group}`;
  if (found.content !== undefined) views.photo = `/group/${found.group}/photo/${found.content}`;
  for (const [name, path] of Object.entries(views)) {
    await page.goto(`${origin}${path}?lang=en`);
    await page.getByRole('heading', { level: 1 }).waitFor();
    await complete(page);
    const file = join(values.outdir, `${name}-${size}.png`);
    await page.screenshot({ path: file, animations: 'disabled' });
    process.stdout.write(`${file}\n`);
  }
  await page.close();
}

/** The group used last, and its newest photo. */
async function look(page) {
  return page.evaluate(async () => {
    const read = async (path) => (await fetch(path)).json();
    const [group] = (await read('/page/groups')).groups;
    if (group === undefined) return {};
    const [content] = (await read(`/page/groups/${group.id}/contents?index=0&count=1`)).contents;
    return { group: group.id, content: content?.id };
  });
}

await mkdir(values.outdir, { recursive: true });
const profile = await mkdtemp(join(tmpdir(), 'kinloom-browser-'));
const browser = await chromium.launch({ executablePath: PROGRAM, args: SWITCHES, env: { ...process.env, HOME: profile } });
try {
  const { origin } = new URL(values.invitation);
  const guest = await browser.newContext({ ...SIZES.telephone, locale: 'en-GB' });
  const page = await guest.newPage();
  await page.goto(`${values.invitation}?lang=en`);
  const accept = page.getByRole('button', { name: 'Accept invitation' });
  await accept.waitFor();
  const file = join(values.outdir, 'invitation-telephone.png');
  await page.screenshot({ path: file });
  process.stdout.write(`${file}\n`);
  await accept.click();
  await page.waitForURL((url) => !url.pathname.startsWith('/invite/'));
  const found = await look(page);
  const state = await guest.storageState();
  for (const [size, options] of Object.entries(SIZES)) {
    const context = await browser.newContext({ ...options, locale: 'en-GB', storageState: state });
    await take(context, size, origin, found);
    await context.close();
  }
} finally {
  await browser.close();
  await rm(profile, { recursive: true, force: true });
}
