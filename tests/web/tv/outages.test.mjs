// SPDX-License-Identifier: MIT
// What the television does while the service, or its own program, is away, slow, or says no.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';
import { Browser, button, until } from '../support/browser.mjs';
import { PAGES } from '../support/modules.mjs';
import { LATE, openView, slides, status, untilFocused, untilGrid, untilHash, untilSlides } from './screen.mjs';
import { startTelevision } from './standIn.mjs';

const browser = Browser.forTests();
let tv;
before(async () => {
  tv = await startTelevision({ pages: PAGES, photos: 80 });
});
afterEach(() => {
  tv.state.interfere = () => null;
  tv.state.stored = null;
  tv.state.delay = 0;
  if (tv.state.service !== 'ok') tv.setService('ok');
});
after(() => tv.end());

const untilStatus = (page, text) => until(page, (wanted) => (wanted === '' ? document.querySelector('[role=status]').textContent === '' : document.querySelector('[role=status]').textContent.includes(wanted)), text);

test('Outage.ShowGoesOnFromWhatIsStoredAndSaysSoInOneSign', async () => {
  tv.state.stored = new Set();
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=0.5');
  await untilSlides(page, 8);
  assert.equal(await status(page), '');
  tv.setService('away');
  await untilStatus(page, 'No connection');
  const before = (await slides(page)).length;
  await untilSlides(page, before + 12);
  const during = await slides(page);
  for (let at = 1; at < during.length; ++at) assert.ok(during[at].at - during[at - 1].at < LATE, `slide ${at} came ${during[at].at - during[at - 1].at} ms after the one before`);
  assert.equal(await page.getByRole('alert').count(), 0);
  assert.equal(await page.getByRole('status').count(), 1);
  tv.setService('ok');
  await untilStatus(page, '');
  const furthest = Math.max(...during.map((one) => tv.state.groups[0].indexOf(one.id)));
  // It picks up again by itself, with photos that were not seen yet.
  await until(page, (seen) => performance.getEntriesByName('slide-shown').some((one) => !seen.includes(one.detail.content)), during.map((one) => one.id));
  assert.ok(furthest >= 7);
});

test('Outage.ShowIsNeverLateWithASlowService', async () => {
  tv.state.delay = 400;
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=0.5');
  await untilSlides(page, 12);
  const seen = await slides(page);
  for (let at = 2; at < seen.length; ++at) assert.ok(seen[at].at - seen[at - 1].at < LATE);
});

test('Outage.OfTheProgramItselfIsToldAndMendsItself', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  // The groups are known as well.
  await page.getByRole('heading', { name: 'Holidays' }).waitFor();
  await tv.stop();
  await page.keyboard.press('Escape');
  await untilFocused(page, 'Holidays');
  await untilStatus(page, 'does not answer');
  await tv.again();
  await untilStatus(page, '');
});

test('Outage.PageThatIsOpenedMeanwhileFillsItselfLater', async () => {
  let away = true;
  tv.state.interfere = (_, url) => (away && /months|contents/.test(url.pathname) ? [503, { error: 'away', message: '' }, { 'Retry-After': '1' }] : null);
  tv.setService('away');
  const page = await openView(browser, tv, '#/group/101');
  await untilStatus(page, 'No connection');
  away = false;
  tv.setService('ok');
  await untilGrid(page);
  await untilStatus(page, '');
});

test('Outage.PhotoComesAsSoonAsItCan', async () => {
  tv.state.stored = new Set();
  tv.state.service = 'away';
  const { id } = tv.state.groups[0].item(0);
  const page = await openView(browser, tv, `#/group/101/photo/${id}`);
  await page.getByText('1 of 80').waitFor();
  tv.setService('ok');
  await until(page, () => document.querySelector('img.sharp')?.naturalWidth > 1000);
});

test('Outage.CommentThatCannotBeSentSaysSoAndIsNotLost', async () => {
  const { id } = tv.state.groups[0].item(0);
  const page = await openView(browser, tv, `#/group/101/photo/${id}`);
  await button(page, 'Comment').click();
  const box = page.getByRole('textbox', { name: 'Comment' });
  await box.fill('Hello');
  tv.state.service = 'away';
  await button(page, 'Send').click();
  await page.getByRole('alert').getByText('cannot be reached').waitFor();
  assert.equal(await box.inputValue(), 'Hello');
  tv.state.service = 'ok';
  await button(page, 'Send').click();
  await page.getByRole('article').waitFor();
  // The program may tell of the comment before it answers.
  await until(page, () => document.querySelector('[role=dialog] input').value === '');
});

test('Refusal.EndsTheShowAndAsksForAPairing', async () => {
  const page = await openView(browser, tv, '#/group/101/show?seconds=1');
  await untilSlides(page, 2);
  tv.setPaired(false);
  await untilHash(page, '#/pair');
  await page.getByText('BCDF-GHJK').waitFor();
  assert.equal(await page.evaluate(() => document.images.length), 0);
  assert.equal(await page.evaluate(() => document.body.textContent.includes('Holidays')), false);
  tv.setPaired(true, { id: '9', name: 'Clara' });
  await untilHash(page, '#/groups');
  await page.getByText('Photos of Clara').waitFor();
  tv.state.person = { id: '3', name: 'Anna' };
});

test('Refusal.OfTheSignInEndsEverythingUntilSomebodyConnectsItAgain', async () => {
  const page = await openView(browser, tv, '#/group/101/show?seconds=1');
  await untilSlides(page, 2);
  tv.setService('refused');
  await untilHash(page, '#/pair');
  await page.getByRole('alert').getByText('was disconnected').waitFor();
  assert.equal(await page.evaluate(() => document.images.length), 0);
  await untilFocused(page, 'Connect it again');
  // It is refused until the sign-in is forgotten, whatever the page asks before.
  tv.state.interfere = (_, { pathname }) => {
    if (pathname === '/api/signout') tv.state.service = 'ok';
    return null;
  };
  await page.keyboard.press('Enter');
  await page.getByText('BCDF-GHJK').waitFor();
  tv.setPaired(true);
  await untilHash(page, '#/groups');
});

test('Refusal.OfTheCookieSaysWhatToDo', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  await tv.stop();
  tv.state.cookie = 'kinloom_tv=another';
  await page.keyboard.press('Escape');
  await untilStatus(page, 'does not answer');
  await tv.again();
  await page.getByRole('heading', { name: 'This page was closed' }).waitFor();
  tv.state.cookie = null;
});

test('Version.NewerIsLoadedBetweenTwoSlidesAndTheShowGoesOn', async () => {
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=1');
  await untilSlides(page, 3);
  const shown = (await slides(page)).map((one) => one.id);
  await page.evaluate(() => (globalThis.sameDocument = true));
  const { version } = tv.state;
  tv.state.version = 'ffffffffffff';
  tv.tellState();
  await until(page, () => globalThis.sameDocument === undefined);
  await untilSlides(page, 2);
  assert.ok(page.url().includes('/show'));
  const again = (await slides(page)).map((one) => one.id);
  assert.ok(!shown.slice(0, 2).includes(again[0]), 'it goes on where it was');
  // Once for each version, whatever the program says.
  await page.evaluate(() => (globalThis.sameDocument = true));
  await untilSlides(page, 4);
  assert.equal(await page.evaluate(() => globalThis.sameDocument), true);
  tv.state.version = version;
});
