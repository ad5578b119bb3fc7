// SPDX-License-Identifier: MIT
// A group of a million photos: moving and jumping in it is as in one of a hundred.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { Browser, until } from '../support/browser.mjs';
import { PAGES } from '../support/modules.mjs';
import { drawAll } from './pictures.mjs';
import { hold, openView, place, untilFocused, untilGrid, untilPlace, untilSlides } from './screen.mjs';
import { startTelevision } from './standIn.mjs';

const browser = Browser.forTests();
let tv;
before(async () => {
  drawAll();
  tv = await startTelevision({ pages: PAGES, photos: 10, million: true });
});
after(() => tv.end());

const elements = (page) => page.evaluate(() => document.getElementsByTagName('*').length);

test('Million.JumpsToItsOldestPhotoAndBack', async () => {
  const page = await openView(browser, tv, '#/group/900');
  await untilGrid(page);
  await page.getByText('1,000,000 photos').waitFor();
  await page.keyboard.press('ArrowLeft');
  await untilFocused(page, 'November 2026');
  await hold(page, 'ArrowDown', 120);
  const name = await page.evaluate(() => document.activeElement.getAttribute('aria-label'));
  assert.match(name, /2006|200\d/);
  await page.keyboard.press('ArrowRight');
  await untilPlace(page, 996_000);
  await untilGrid(page);
  // The very last photo, and not beyond it.
  await hold(page, 'ArrowDown', 140);
  for (let step = 0; step < 6; ++step) await page.keyboard.press('ArrowRight');
  assert.ok((await place(page)) > 996_500);
  assert.ok((await elements(page)) <= 400);
});

test('Million.HeldKeysSpeedUpAndStopAtOnce', async () => {
  const page = await openView(browser, tv, '#/group/900');
  await untilGrid(page);
  await hold(page, 'ArrowDown', 100);
  const reached = await place(page);
  assert.ok(reached > 100 * 4 * 2, `faster than row by row: ${reached}`);
  await page.evaluate(() => new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve))));
  assert.equal(await place(page), reached, 'stopped');
  await untilGrid(page);
  await page.keyboard.press('ArrowDown');
  await untilPlace(page, reached + 4);
});

test('Million.NeverHasMoreThanFourHundredElements', async () => {
  for (const size of ['oldTelevision', 'television', 'largeTelevision']) {
    const page = await openView(browser, tv, '#/group/900', { size });
    await untilGrid(page);
    await page.evaluate(() => {
      globalThis.most = 0;
      const count = () => {
        globalThis.most = Math.max(globalThis.most, document.getElementsByTagName('*').length);
        requestAnimationFrame(count);
      };
      count();
    });
    await hold(page, 'ArrowDown', 60);
    await page.keyboard.press('PageDown');
    await untilGrid(page);
    const focus = await page.evaluate(() => {
      const cell = document.activeElement.getBoundingClientRect();
      return { top: cell.top, bottom: cell.bottom, left: cell.left, right: cell.right, width: innerWidth, height: innerHeight };
    });
    assert.ok(focus.top >= 0.05 * focus.height - 1 && focus.bottom <= 0.96 * focus.height && focus.right <= 0.951 * focus.width, JSON.stringify(focus));
    assert.ok((await page.evaluate(() => globalThis.most)) <= 400);
    await page.context().close();
  }
});

test('Million.IsShownAsWell', async () => {
  const page = await openView(browser, tv, '#/group/900/show?seconds=1');
  await untilSlides(page, 10);
  const ids = await page.evaluate(() => performance.getEntriesByName('slide-shown').map((one) => one.detail.content));
  assert.equal(new Set(ids).size, ids.length);
  assert.ok(Math.max(...ids.map(Number)) - Math.min(...ids.map(Number)) > 100_000);
});

test('Million.OpensAPhotoInItsMidst', async () => {
  const page = await openView(browser, tv, '#/group/900/photo/10500000');
  await page.getByText('500,001 of 1,000,000').waitFor();
  await page.keyboard.press('ArrowRight');
  await page.getByText('500,002 of 1,000,000').waitFor();
  await page.keyboard.press('Escape');
  await untilPlace(page, 500_001);
  await until(page, () => document.activeElement.querySelector('img')?.naturalWidth > 0);
});
