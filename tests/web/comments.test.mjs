// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { Browser, button, link, until } from './support/browser.mjs';
import { Kinloomd } from './support/kinloomd.mjs';
import { png } from './support/pictures.mjs';

const browser = Browser.forTests();
let service;
let anna;
let ben;
let group;
let photos;

before(async () => {
  service = await Kinloomd.start();
  anna = await service.person('Anna');
  group = (await anna.createGroup('Holidays')).id;
  ben = await service.person('Ben', '--group', 'Holidays');
  photos = [];
  for (let at = 0; at < 2; ++at) photos.push(await anna.upload(group, png(at), `modified=2024-05-0${2 - at}T10:00:00Z&description=P${at}`));
});
after(() => service.end());

const open = (person, photo = photos[0], options = {}) => browser.open(service, person, `/group/${group}/photo/${photo.id}`, options);
const box = (page) => page.getByRole('textbox', { name: 'Comment' });
const article = (page, text) => page.getByRole('article').filter({ hasText: text });

test('Comments.AppearAtTheOthersWhileTheyLook', async () => {
  const hers = await open(anna);
  const his = await open(ben, photos[0], { size: 'telephone', told: true });
  await box(hers).fill('What a morning!');
  await button(hers, 'Send').click();
  await article(hers, 'What a morning!').waitFor();
  // She may be told of it before her own request is answered.
  await until(hers, () => document.querySelector('textarea').value === '');
  await article(his, 'What a morning!').waitFor();
  await his.getByText('New comment by Anna').waitFor({ state: 'attached' });
});

test('Comments.AreDeletedByWhoMayAndBroughtBack', async () => {
  await ben.request('POST', `/page/contents/${photos[1].id}/comments`, { text: 'Mine' });
  await anna.request('POST', `/page/contents/${photos[1].id}/comments`, { text: 'Hers' });
  const his = await open(ben, photos[1]);
  await article(his, 'Hers').waitFor();
  assert.equal(await article(his, 'Hers').getByRole('button').count(), 0);
  await article(his, 'Mine').getByRole('button', { name: 'Delete comment' }).click();
  await article(his, 'Mine').waitFor({ state: 'detached' });
  await button(his, 'Undo').click();
  await article(his, 'Mine').waitFor();
});

test('Comments.AreTextWhateverIsInThem', async () => {
  const text = '<img src=x onerror=alert(1)>\n\u202egnp.exe\u0007 &amp; "quotes"';
  await anna.request('POST', `/page/contents/${photos[1].id}/comments`, { text: text.replace('\u0007', '') });
  const page = await open(ben, photos[1]);
  const written = article(page, '<img src=x onerror=alert(1)>');
  await written.waitFor();
  assert.equal(await written.locator('img').count(), 0);
  assert.ok(!(await written.innerText()).includes('\u202e'));
  assert.ok((await written.innerText()).includes('&amp; "quotes"'));
});

test('Comments.StayTypedWhenTheServiceIsAway', async () => {
  const page = await open(anna);
  await article(page, 'What a morning!').waitFor();
  await service.stop({ kill: true });
  await box(page).fill('Typed while it was away');
  await button(page, 'Send').click();
  await page.getByRole('alert').getByText('Your text is still here').waitFor();
  assert.equal(await box(page).inputValue(), 'Typed while it was away');
  await page.getByRole('status').getByText('cannot be reached').waitFor();
  await service.serve();
  await until(page, () => document.querySelector('[role=status]').textContent === '');
  await button(page, 'Send').click();
  await article(page, 'Typed while it was away').waitFor();
  assert.equal(await article(page, 'Typed while it was away').count(), 1);
});

test('Comments.StayTypedOverAReloadAndFromPhotoToPhoto', async () => {
  const page = await open(anna);
  await box(page).fill('Half a sente');
  await button(page, 'Next photo').click();
  await page.getByRole('img', { name: 'P1' }).waitFor();
  assert.equal(await box(page).inputValue(), '');
  await box(page).fill('Another half');
  await page.reload();
  await page.getByRole('img', { name: 'P1' }).waitFor();
  assert.equal(await box(page).inputValue(), 'Another half');
  await button(page, 'Previous photo').click();
  await page.getByRole('img', { name: 'P0' }).waitFor();
  assert.equal(await box(page).inputValue(), 'Half a sente');
});

test('Comments.ThatAreEmptyAreNotSent', async () => {
  const page = await open(ben, photos[1]);
  await article(page, 'Hers').waitFor();
  const before = await page.getByRole('article').count();
  await box(page).fill('   ');
  await button(page, 'Send').press('Enter');
  await box(page).fill('A real one');
  await page.keyboard.press('Control+Enter');
  await article(page, 'A real one').waitFor();
  assert.equal(await page.getByRole('article').count(), before + 1);
});

test('Comments.AreCountedInTheFeed', async () => {
  const page = await browser.open(service, ben, `/group/${group}`);
  await link(page, 'P0').waitFor();
  await until(page, () => /^\d+ comments$/.test(document.querySelector('a[aria-label*=P0]').getAttribute('aria-description')));
});
