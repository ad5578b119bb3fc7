// SPDX-License-Identifier: MIT
// The page with the real program behind it, and the real service behind that.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { Browser, button, until } from '../support/browser.mjs';
import { Kinloomd } from '../support/kinloomd.mjs';
import { noise, png } from '../support/pictures.mjs';
import { Television } from '../support/television.mjs';
import { LATE, slides, status, untilFocused, untilGrid, untilHash, untilSlides } from './screen.mjs';

const browser = Browser.forTests();
const PHOTOS = 24;
let service;
let tv;
let anna;
let group;

before(async () => {
  service = await Kinloomd.start();
  anna = await service.person('Anna');
  group = (await anna.createGroup('Holidays')).id;
  for (let at = 0; at < PHOTOS; ++at) await anna.upload(group, at % 4 === 3 ? noise(at, 200_000) : png(at, 320, at % 3 === 0 ? 480 : 240), `name=IMG_${at}.png&modified=2026-0${1 + (at % 9)}-1${at % 10}T10:00:00Z`);
  tv = await Television.start(service, '--poll', '1');
});
after(async () => {
  await tv?.end();
  await service?.end();
});

const untilStatus = (page, empty) => until(page, (wanted) => (document.querySelector('[role=status]').textContent === '') === wanted, empty);

test('Real.IsConnectedByACodeAndShowsItsGroups', async () => {
  const page = await tv.open(browser, '#/groups');
  await untilHash(page, '#/pair');
  await page.getByRole('img', { name: 'QR code' }).waitFor();
  await tv.letIn(page, 'Anna');
  await untilFocused(page, 'Holidays');
  await page.getByText(`${PHOTOS} photos`).waitFor();
  assert.equal(await status(page), '');
});

test('Real.ShowsAGroupAPhotoAndWhatIsSaidOfIt', async () => {
  const page = await tv.open(browser, `#/group/${group}`);
  await untilGrid(page, 6);
  const name = await page.evaluate(() => document.activeElement.getAttribute('aria-label'));
  await page.keyboard.press('Enter');
  await page.getByRole('img', { name }).first().waitFor();
  await until(page, () => document.querySelector('img.sharp')?.naturalWidth > 0);
  await page.getByText(`1 of ${PHOTOS}`).waitFor();
  await page.keyboard.press('Enter');
  await page.getByRole('dialog').waitFor();
  await page.keyboard.press('Enter');
  await page.getByRole('article').waitFor();
  const content = page.url().split('/').pop();
  const { comments } = await anna.request('GET', `/page/contents/${content}`);
  assert.equal(comments.length, 1);
  await anna.request('POST', `/page/contents/${content}/comments`, { text: 'From the telephone' });
  await page.getByRole('article').filter({ hasText: 'From the telephone' }).waitFor();
});

test('Real.ShowTakesInNewPhotosAndLetsGoDeletedOnes', async () => {
  const page = await tv.open(browser, `#/group/${group}/show?order=shuffle&seconds=1`);
  await untilSlides(page, 3);
  const { id } = await anna.upload(group, png(900, 400, 300), 'name=new.png');
  await until(page, (wanted) => performance.getEntriesByName('slide-shown').some((one) => one.detail.content === wanted), id);
  await anna.request('DELETE', `/page/contents/${id}`);
  await until(page, (gone) => [...document.images].every((image) => !image.src.includes(`/${gone}/`)), id);
  const count = (await slides(page)).length;
  await untilSlides(page, count + 6);
  assert.ok((await slides(page)).slice(count + 1).every((one) => one.id !== id));
});

test('Real.ShowGoesOnWhileTheServiceIsKilledAndStartedAgain', async () => {
  const page = await tv.open(browser, `#/group/${group}/show?order=shuffle&seconds=0.5`);
  await untilSlides(page, PHOTOS);
  await service.stop({ kill: true });
  await untilStatus(page, false);
  const before = (await slides(page)).length;
  await untilSlides(page, before + 20);
  const during = (await slides(page)).slice(before);
  for (let at = 1; at < during.length; ++at) assert.ok(during[at].at - during[at - 1].at < LATE, `${during[at].at - during[at - 1].at} ms`);
  assert.equal(await page.getByRole('alert').count(), 0);
  await service.serve();
  await untilStatus(page, true);
});

test('Real.MarksHidesAndKeepsSettings', async () => {
  const page = await tv.open(browser, `#/group/${group}`);
  await untilGrid(page, 4);
  await page.keyboard.press('Enter');
  await page.getByText(/1 of/).waitFor();
  const first = page.url();
  await page.keyboard.press('m');
  await page.locator('button[aria-pressed=true]').waitFor();
  await page.keyboard.press('h');
  await until(page, (was) => location.href !== was, first);
  await page.getByText(`of ${PHOTOS - 1}`).waitFor();
  await page.goto(`${tv.url}/?lang=en#/hidden`);
  await untilGrid(page, 1);
  await page.keyboard.press('Enter');
  await page.getByRole('heading', { name: 'Nothing is hidden' }).waitFor();
  await page.goto(`${tv.url}/?lang=en#/settings`);
  await untilFocused(page, 'Each picture stays');
  const isKept = page.waitForResponse('**/api/settings');
  await page.keyboard.press('ArrowRight');
  await until(page, () => document.activeElement.getAttribute('aria-valuetext') === '12 seconds');
  await isKept;
  await page.reload();
  await untilFocused(page, 'Each picture stays');
  await until(page, () => document.activeElement.getAttribute('aria-valuetext') === '12 seconds');
});

test('Real.AsksForAPairingAgainWhenItWasDisconnected', async () => {
  const page = await tv.open(browser, `#/group/${group}/show?seconds=1`);
  await untilSlides(page, 2);
  const { devices } = await anna.request('GET', '/page/devices');
  for (const { duid } of devices) await anna.request('DELETE', `/page/devices/${duid}`);
  await untilHash(page, '#/pair');
  await page.getByRole('alert').getByText('disconnected').waitFor();
  assert.equal(await page.evaluate(() => document.images.length), 0);
  await button(page, 'Connect it again').click();
  await tv.letIn(page, 'Anna');
  await untilFocused(page, 'Holidays');
});
