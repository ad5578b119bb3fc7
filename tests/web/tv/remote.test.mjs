// SPDX-License-Identifier: MIT
// Every key of the remote control, as the browser gets it: numbers without names, and names.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';
import { Browser, until } from '../support/browser.mjs';
import { PAGES } from '../support/modules.mjs';
import { focused, openView, remote, untilFocused, untilGrid, untilHash, untilPlace, untilSlides } from './screen.mjs';
import { startTelevision } from './standIn.mjs';

const browser = Browser.forTests();
let tv;
let photo;
before(async () => {
  tv = await startTelevision({ pages: PAGES, today: new Date('2026-11-22T12:00:00Z') });
  photo = tv.state.groups[0].item(3).id;
});
afterEach(() => {
  tv.state.marked.clear();
  for (const id of tv.state.hidden) for (const group of tv.state.groups) group.bring(id);
  tv.state.hidden.clear();
  tv.state.settings = { ...tv.state.settings, seconds: 8, pairs: true };
});
after(() => tv.end());

test('Remote.BackIsEachOfItsKeys', async () => {
  for (const code of [461, 10009]) {
    const page = await openView(browser, tv, '#/group/101');
    await untilGrid(page);
    await remote(page, code);
    await untilHash(page, '#/groups');
    await page.context().close();
  }
  for (const key of ['Escape', 'Backspace', 'BrowserBack']) {
    const page = await openView(browser, tv, `#/group/101/photo/${photo}`);
    await page.getByRole('button', { name: 'Comment' }).waitFor();
    await page.evaluate((name) => document.activeElement.dispatchEvent(new KeyboardEvent('keydown', { key: name, keyCode: 0, bubbles: true, cancelable: true })), key);
    await untilHash(page, '#/group/101');
    await page.context().close();
  }
});

test('Remote.BackAtTheRootStaysWhereItIs', async () => {
  const page = await openView(browser, tv, '#/groups');
  await untilFocused(page, 'Holidays');
  await remote(page, 461);
  await page.keyboard.press('Escape');
  assert.equal(await focused(page).then((name) => name.includes('Holidays')), true);
});

test('Remote.PlayAndPauseKeysStartAndStopTheShow', async () => {
  for (const code of [415, 10252, 179, 503]) {
    const page = await openView(browser, tv, '#/group/101');
    await untilGrid(page);
    await remote(page, code);
    await until(page, () => location.hash.startsWith('#/group/101/show'));
    await untilSlides(page, 1);
    await page.context().close();
  }
  const page = await openView(browser, tv, '#/group/101/show?seconds=60');
  await untilSlides(page, 1);
  const paused = page.getByText('Paused');
  await remote(page, 19);
  await paused.waitFor();
  await remote(page, 19);
  await remote(page, 415);
  await paused.waitFor({ state: 'detached' });
  for (const code of [179, 503, 10252]) {
    await remote(page, code);
    await paused.waitFor();
    await remote(page, code);
    await paused.waitFor({ state: 'detached' });
  }
  await page.keyboard.press('Space');
  await paused.waitFor();
});

test('Remote.ColoursCommentMarkHideAndShow', async () => {
  const page = await openView(browser, tv, `#/group/101/photo/${photo}`);
  await until(page, () => document.querySelector('img.sharp') !== null);
  await remote(page, 403);
  await page.getByRole('dialog').waitFor();
  await page.keyboard.press('Enter');
  await page.getByRole('article').waitFor();
  await remote(page, 403);
  await page.getByRole('dialog').waitFor({ state: 'detached' });
  await remote(page, 404);
  await page.locator('button[aria-pressed=true]').waitFor();
  assert.ok(tv.state.marked.has(photo));
  const isAnswered = page.waitForResponse('**/hide');
  await remote(page, 405);
  await until(page, (id) => !location.hash.includes(id), photo);
  await isAnswered;
  assert.ok(tv.state.hidden.has(photo));
  await remote(page, 406);
  await until(page, () => location.hash.startsWith('#/group/101/show'));
  await untilSlides(page, 1);
  await remote(page, 406);
  await until(page, () => location.hash.includes('/photo/'));
});

test('Remote.ColoursWorkInAShow', async () => {
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=60');
  await untilSlides(page, 1);
  const id = await page.evaluate(() => performance.getEntriesByName('slide-shown')[0].detail.content);
  const isSaid = until(page, () => document.querySelector('.notice') !== null);
  await remote(page, 404);
  await isSaid;
  assert.ok(tv.state.marked.has(id));
  await remote(page, 403);
  await page.getByRole('dialog').waitFor();
  await page.keyboard.press('Enter');
  await page.getByRole('article').waitFor();
  await page.keyboard.press('Escape');
  await page.getByRole('dialog').waitFor({ state: 'detached' });
  await remote(page, 405);
  await untilSlides(page, 2);
  assert.ok(tv.state.hidden.has(id));
  await remote(page, 413);
  await untilHash(page, '#/group/101');
});

test('Remote.ChannelsLeadMonthByMonth', async () => {
  const { months } = tv.state.groups[0].months();
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  await remote(page, 428);
  await untilPlace(page, months[1].index);
  await remote(page, 428);
  await untilPlace(page, months[2].index);
  await remote(page, 427);
  await untilPlace(page, months[1].index);
  await page.keyboard.press('Enter');
  await page.getByText(`${months[1].index + 1} of`).waitFor();
  await remote(page, 428);
  await page.getByText(`${months[2].index + 1} of`).waitFor();
  await page.goto(`${tv.url}/?lang=en#/group/101/show?order=time&seconds=60`);
  await page.reload();
  await untilSlides(page, 1);
  // A show goes on where it was, also behind a load of the page.
  const id = await page.evaluate(() => performance.getEntriesByName('slide-shown')[0].detail.content);
  const month = months.findIndex((one) => one.month === tv.state.groups[0].item(tv.state.groups[0].indexOf(id)).created.slice(0, 7));
  await remote(page, 428);
  await until(page, (wanted) => location.hash.includes(`of=${wanted}`), months[month + 1].month);
});

test('Remote.InfoTellsMoreOfAPhoto', async () => {
  const page = await openView(browser, tv, `#/group/101/photo/${photo}`);
  await page.getByText(/ of \d+/).waitFor();
  await remote(page, 457);
  await page.getByText(/Holidays · .* dots/).waitFor();
  await page.goto(`${tv.url}/?lang=en#/show?seconds=60`);
  await page.reload();
  await untilSlides(page, 1);
  await remote(page, 457);
  await page.getByText(/^by /).first().waitFor();
});

test('Remote.BackThatIsPressedQuicklyLeadsToTheRootAndNotBeyond', async () => {
  const page = await openView(browser, tv, '#/groups');
  await untilFocused(page, 'Holidays');
  await page.keyboard.press('Enter');
  await untilGrid(page);
  await page.keyboard.press('Enter');
  await page.getByRole('button', { name: 'Comment' }).waitFor();
  await page.evaluate(() => {
    const key = { key: 'Escape', bubbles: true, cancelable: true };
    for (let press = 0; press < 5; ++press) for (const kind of ['keydown', 'keyup']) document.activeElement.dispatchEvent(new KeyboardEvent(kind, key));
  });
  await untilFocused(page, 'Holidays');
  assert.equal(await page.evaluate(() => location.hash), '#/groups');
});

test('Remote.ArrowsAloneAreEnoughForAShow', async () => {
  // A slide is one photo, and comes by a key alone: what was shown is counted.
  tv.state.settings = { ...tv.state.settings, seconds: 300, pairs: false };
  const page = await openView(browser, tv, '#/groups');
  await page.getByText('Photos of Anna').waitFor();
  await untilFocused(page, 'Holidays');
  await page.keyboard.press('ArrowUp');
  await untilFocused(page, 'Start show');
  await page.keyboard.press('Enter');
  await untilHash(page, '#/show');
  await untilSlides(page, 1);
  await page.keyboard.press('ArrowRight');
  await untilSlides(page, 2);
  await page.keyboard.press('ArrowLeft');
  await untilSlides(page, 3);
  const ids = await page.evaluate(() => performance.getEntriesByName('slide-shown').map((one) => one.detail.content));
  assert.ok(ids.slice(0, -1).includes(ids.at(-1)));
  await page.keyboard.press('Enter');
  await page.getByText('Paused').waitFor();
  await page.keyboard.press('ArrowDown');
  await page.getByRole('button', { name: 'Go on' }).waitFor();
  await until(page, () => document.activeElement.tagName === 'BUTTON');
  await untilFocused(page, 'Go on');
  await page.keyboard.press('Enter');
  await page.getByText('Paused').waitFor({ state: 'detached' });
  await page.keyboard.press('Escape');
  await page.keyboard.press('Escape');
  await untilHash(page, '#/groups');
});

test('Remote.AWheelThatArrivesAsANumberIsNotBack', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  await remote(page, 1536);
  await page.keyboard.press('ArrowRight');
  await untilPlace(page, 1);
});
