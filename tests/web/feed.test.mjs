// SPDX-License-Identifier: MIT
// A group's photos, as the real service has them.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { Browser, link, until } from './support/browser.mjs';
import { Kinloomd } from './support/kinloomd.mjs';
import { png } from './support/pictures.mjs';

const browser = Browser.forTests();
let service;
let anna;
let group;

before(async () => {
  service = await Kinloomd.start();
  anna = await service.person('Anna');
  group = (await anna.createGroup('Holidays')).id;
  for (const [at, day] of ['2024-05-05T07:04:09Z', '2024-05-06T23:30:00Z', '2024-03-01T12:00:00Z'].entries()) {
    await anna.upload(group, png(at), `name=photo-${at}.png&modified=${day}&description=${['Lake', '', 'Snow'][at]}`);
  }
});
after(() => service.end());

for (const size of ['telephone', 'desktop']) {
  test(`Feed.ShowsPhotosByMonthNewestFirstOnA${size === 'telephone' ? 'Telephone' : 'Desktop'}`, async () => {
    const page = await browser.open(service, anna, `/group/${group}`, { size });
    await page.getByRole('heading', { name: 'March 2024' }).waitFor();
    assert.deepEqual(await page.getByRole('heading', { level: 2 }).allTextContents(), ['May 2024', 'March 2024']);
    const photos = page.getByRole('listitem').getByRole('link');
    await until(page, () => document.querySelectorAll('[role=listitem] a').length === 3);
    const names = await photos.evaluateAll((links) => links.map((one) => one.getAttribute('aria-label')));
    assert.deepEqual(names, ['6 May 2024 at 23:30', '5 May 2024 at 07:04: Lake', '1 March 2024 at 12:00: Snow']);
    await until(page, () => [...document.images].filter((image) => image.naturalWidth > 0).length === 3);
  });
}

test('Feed.ShowsTheWallClockWhereverTheBrowserIs', async () => {
  const page = await browser.open(service, anna, `/group/${group}`, { timezoneId: 'Pacific/Auckland' });
  await link(page, '6 May 2024 at 23:30').waitFor();
});

test('Feed.SpeaksTheLanguageOfTheAddress', async () => {
  const page = await browser.open(service, anna, `/group/${group}`, { lang: 'de' });
  await page.getByRole('button', { name: 'Fotos hinzufügen' }).waitFor();
  await page.getByRole('heading', { name: 'Mai 2024' }).waitFor();
  assert.equal(await page.evaluate(() => document.documentElement.lang), 'de');
});

test('Feed.OpensAPhotoAndComesBackToIt', async () => {
  const page = await browser.open(service, anna, '/');
  await link(page, 'Holidays').click();
  await link(page, 'Snow').click();
  await page.getByRole('img', { name: '1 March 2024 at 12:00: Snow' }).waitFor();
  assert.match(page.url(), /\/group\/\d+\/photo\/\d+/);
  await page.goBack();
  await link(page, 'Snow').waitFor();
  await until(page, () => document.activeElement?.getAttribute('aria-label')?.includes('Snow'));
});

test('Feed.IsWalkedThroughByArrowKeys', async () => {
  const page = await browser.open(service, anna, `/group/${group}`);
  await link(page, '6 May 2024').focus();
  const focused = (part) => until(page, (text) => document.activeElement?.getAttribute('aria-label')?.includes(text), part);
  await page.keyboard.press('ArrowRight');
  await focused('Lake');
  await page.keyboard.press('ArrowDown');
  await focused('Snow');
  await page.keyboard.press('ArrowUp');
  await focused('6 May');
  await page.keyboard.press('Enter');
  await page.getByRole('img', { name: '6 May 2024' }).waitFor();
});

test('Feed.HandsOutAMonthAsOneFile', async () => {
  const page = await browser.open(service, anna, `/group/${group}`);
  const [download] = await Promise.all([page.waitForEvent('download'), link(page, 'Download May 2024').click()]);
  assert.match(download.suggestedFilename(), /\.zip$/);
  const stream = await download.createReadStream();
  const chunks = [];
  for await (const chunk of stream) chunks.push(chunk);
  const bytes = Buffer.concat(chunks);
  for (const name of ['photo-0.png', 'photo-1.png']) assert.ok(bytes.includes(name), name);
  assert.ok(!bytes.includes('photo-2.png'));
});

test('Feed.ShowsNewPhotosOfOthersAndTakesDeletedOnesAway', async () => {
  const ben = await service.person('Ben', '--group', 'Holidays');
  const page = await browser.open(service, anna, `/group/${group}`, { size: 'telephone', told: true });
  await link(page, 'Lake').waitFor();
  const record = await ben.upload(group, png(77), 'name=new.png&modified=2024-06-01T10:00:00Z&description=From+Ben');
  await link(page, 'From Ben').waitFor();
  await page.getByRole('heading', { name: 'June 2024' }).waitFor();
  await ben.request('DELETE', `/page/contents/${record.id}`);
  await link(page, 'From Ben').waitFor({ state: 'detached' });
  await page.getByRole('heading', { name: 'June 2024' }).waitFor({ state: 'detached' });
});

test('Groups.ShowWhatIsInThemAndCanBeMade', async () => {
  const page = await browser.open(service, anna, '/', { size: 'telephone' });
  await link(page, 'Holidays').waitFor();
  await page.getByText('3 photos').waitFor();
  await page.getByRole('button', { name: 'New group' }).click();
  const dialog = page.getByRole('dialog', { name: 'New group' });
  await dialog.getByRole('textbox', { name: 'Name of the group' }).fill('Garden <b>2026</b>');
  await dialog.getByRole('button', { name: 'Create' }).click();
  await page.getByRole('heading', { name: 'Garden <b>2026</b>' }).waitFor();
  await page.getByText('No photos yet').waitFor();
  await page.getByRole('button', { name: 'Add photos' }).waitFor();
});

test('Groups.OfOthersLookAsIfTheyWereNotThere', async () => {
  const cara = await service.person('Cara');
  const page = await browser.open(service, cara, `/group/${group}`);
  await page.getByRole('heading', { name: 'There is nothing at this address' }).waitFor();
  await page.goto(`${service.url}/?lang=en`);
  await page.getByText('You are not in a group yet').waitFor();
});
