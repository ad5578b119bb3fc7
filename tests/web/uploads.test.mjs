// SPDX-License-Identifier: MIT
// Photos added from a telephone: many, doubles, files that are none, and a service that goes away in the midst of it.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { addPhotos, Browser, button, file, link, until } from './support/browser.mjs';
import { Kinloomd } from './support/kinloomd.mjs';
import { heic, noise, png } from './support/pictures.mjs';

const browser = Browser.forTests();
let service;
let anna;

before(async () => {
  service = await Kinloomd.start('--max-upload', '3000000');
  anna = await service.person('Anna');
});
after(() => service.end());

let groups = 0;
/** A group of its own for a test, and a page that shows it. */
async function openGroup(options = {}) {
  const group = (await anna.createGroup(`Group ${++groups}`)).id;
  const page = await browser.open(service, anna, `/group/${group}`, { size: 'telephone', ...options });
  await button(page, 'Add photos').waitFor();
  return { group, page };
}
const panel = (page) => page.getByRole('region', { name: 'Adding photos' });
const total = async (group) => (await anna.request('GET', `/page/groups/${group}/months`)).total;

test('Uploads.OfManyPhotosAppearInTheFeed', async () => {
  const { group, page } = await openGroup();
  const files = Array.from({ length: 20 }, (_, at) => file(`IMG_${at}.png`, png(at)));
  await addPhotos(page, files);
  await panel(page).getByText('20 photos were added.').waitFor();
  assert.equal(await total(group), 20);
  await until(page, () => document.querySelectorAll('[role=listitem] a').length > 10);
  await panel(page).getByRole('button', { name: 'Close' }).click();
  await panel(page).waitFor({ state: 'detached' });
});

test('Uploads.TellHowFarTheyAre', async () => {
  const { page } = await openGroup();
  const session = await page.context().newCDPSession(page);
  await session.send('Network.enable');
  await session.send('Network.emulateNetworkConditions', { offline: false, latency: 5, downloadThroughput: 4e6, uploadThroughput: 1.5e5 });
  // Looked for before it is there: it does not stay.
  await Promise.all([
    panel(page).getByRole('progressbar').waitFor(),
    until(page, () => document.querySelector('progress')?.value > 20 && document.querySelector('progress').value < 100),
    addPhotos(page, [file('large.png', noise(1, 900_000))]),
  ]);
  await panel(page).getByText('1 photo was added.').waitFor();
});

test('Uploads.OfPhotosThatAreThereSendNothing', async () => {
  const { group, page } = await openGroup();
  await anna.upload(group, png(1), 'name=there.png');
  const sent = [];
  page.on('request', (request) => request.method() === 'POST' && /\/contents\?/.test(request.url()) && sent.push(request.url()));
  await addPhotos(page, [file('renamed.png', png(1)), file('new.png', png(2)), file('new again.png', png(2))]);
  await panel(page).getByText('1 photo was added, 2 were there already.').waitFor();
  assert.equal(sent.length, 1);
  assert.equal(await total(group), 2);
});

test('Uploads.TakeWhatTelephonesMake', async () => {
  const { group, page } = await openGroup();
  await addPhotos(page, [file('IMG_0001.HEIC', heic(), 'image/heic')]);
  await panel(page).getByText('1 photo was added.').waitFor();
  const { contents } = await anna.request('GET', `/page/groups/${group}/contents?index=0&count=1`);
  assert.equal(contents[0].format, 'heic');
  await until(page, () => document.querySelector('[role=listitem] img')?.naturalWidth > 0);
});

test('Uploads.RefuseWhatIsNoPhotoAndSayWhy', async () => {
  const { group, page } = await openGroup();
  await addPhotos(page, [
    file('letter.png', Buffer.from('Dear all, this is no picture at all.'.repeat(4))),
    file('empty.jpg', Buffer.alloc(0)),
    file('huge.png', noise(3, 3_400_000)),
    file('broken.jpg', Buffer.concat([Buffer.from([0xff, 0xd8, 0xff, 0xe0]), Buffer.alloc(400, 7)])),
    file('<b>evil\u202egnp.exe</b>', Buffer.from('MZ')),
    file('good.png', png(9)),
  ]);
  const alert = panel(page).getByRole('alert');
  await panel(page).getByText('1 photo was added.').waitFor();
  await alert.getByText('5 files could not be added:').waitFor();
  await alert.getByText('letter.png: This is not a photo').waitFor();
  await alert.getByText('empty.jpg: It is empty.').waitFor();
  await alert.getByText('huge.png: It is too large.').waitFor();
  await alert.getByText('broken.jpg: This is not a photo').waitFor();
  await alert.getByText('<b>evilgnp.exe').waitFor();
  assert.equal(await total(group), 1);
});

test('Uploads.GoOnWhenTheServiceWasKilledInTheMidst', async () => {
  const { group, page } = await openGroup();
  const session = await page.context().newCDPSession(page);
  await session.send('Network.enable');
  // So slow that some are still on their way when the service has gone.
  await session.send('Network.emulateNetworkConditions', { offline: false, latency: 0, downloadThroughput: 4e6, uploadThroughput: 2e5 });
  const files = Array.from({ length: 6 }, (_, at) => file(`IMG_${at}.png`, noise(at + 100, 500_000)));
  await Promise.all([
    until(page, () => /^[12] of 6/.test(document.querySelector('section[aria-labelledby=uploads-heading] span')?.textContent ?? '')),
    addPhotos(page, files),
  ]);
  await service.stop({ kill: true });
  await session.send('Network.emulateNetworkConditions', { offline: false, latency: 0, downloadThroughput: 4e6, uploadThroughput: 1.5e6 });
  await panel(page).getByText('This goes on by itself').waitFor();
  await page.getByRole('status').getByText('cannot be reached').waitFor();
  await service.serve();
  await panel(page).getByText(/photos? (was|were) (added|there)/).waitFor();
  assert.equal(await total(group), 6, 'each arrived, and none twice');
  assert.equal(await page.getByRole('alert').count(), 0);
});

test('Uploads.GoOnWhenTheSameFilesAreChosenAgain', async () => {
  const { group, page } = await openGroup();
  const files = Array.from({ length: 5 }, (_, at) => file(`IMG_${at}.png`, png(at + 40)));
  await addPhotos(page, files.slice(0, 2));
  await panel(page).getByText('2 photos were added.').waitFor();
  await page.reload();
  await addPhotos(page, files);
  await panel(page).getByText('3 photos were added, 2 were there already.').waitFor();
  assert.equal(await total(group), 5);
});

test('Uploads.AreCancelled', async () => {
  const { group, page } = await openGroup({ size: 'desktop' });
  const session = await page.context().newCDPSession(page);
  await session.send('Network.enable');
  await session.send('Network.emulateNetworkConditions', { offline: false, latency: 0, downloadThroughput: 4e6, uploadThroughput: 1e4 });
  await addPhotos(page, [file('slow.png', noise(7, 900_000))]);
  await panel(page).getByRole('progressbar').waitFor();
  await panel(page).getByRole('button', { name: 'Cancel' }).click();
  await panel(page).waitFor({ state: 'detached' });
  assert.equal(await total(group), 0);
});

test('Uploads.GoOnWhileOneLooksAtSomethingElse', async () => {
  const { group, page } = await openGroup({ size: 'desktop' });
  await anna.upload(group, png(200), 'name=first.png&description=Waiting');
  await link(page, 'Waiting').waitFor();
  const session = await page.context().newCDPSession(page);
  await session.send('Network.enable');
  await session.send('Network.emulateNetworkConditions', { offline: false, latency: 0, downloadThroughput: 4e6, uploadThroughput: 1e6 });
  await addPhotos(page, Array.from({ length: 3 }, (_, at) => file(`IMG_${at}.png`, noise(at + 300, 300_000))));
  await link(page, 'Waiting').click();
  await page.getByRole('textbox', { name: 'Comment' }).waitFor();
  await panel(page).getByText('3 photos were added.').waitFor();
  assert.equal(await total(group), 4);
});
