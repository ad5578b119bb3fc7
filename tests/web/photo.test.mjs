// SPDX-License-Identifier: MIT
// One photo: stepped to, swiped, handed out, deleted, brought back.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { Browser, button, link, telling, until } from './support/browser.mjs';
import { Kinloomd } from './support/kinloomd.mjs';
import { png } from './support/pictures.mjs';

const browser = Browser.forTests();
let service;
let anna;
let group;
let photos;

before(async () => {
  service = await Kinloomd.start();
  anna = await service.person('Anna');
  group = (await anna.createGroup('Holidays')).id;
  photos = [];
  for (const [at, name] of ['Third', 'Second', 'First'].entries()) {
    photos.push(await anna.upload(group, png(at), `name=${name}.png&modified=2024-05-0${at + 1}T10:00:00Z&description=${name}`));
  }
  photos.reverse();
});
after(() => service.end());

const shown = (page, name) => page.getByRole('img', { name }).waitFor();
const open = (photo, options) => browser.open(service, anna, `/group/${group}/photo/${photo.id}`, options);

/** A finger that goes from one place to another. */
async function swipe(page, from, to) {
  const session = await page.context().newCDPSession(page);
  const y = 300;
  await session.send('Input.dispatchTouchEvent', { type: 'touchStart', touchPoints: [{ x: from, y }] });
  for (let step = 1; step <= 6; ++step) {
    await session.send('Input.dispatchTouchEvent', { type: 'touchMove', touchPoints: [{ x: from + ((to - from) * step) / 6, y }] });
  }
  await session.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
}

test('Photo.IsSteppedThroughByArrowKeysAndLeftByEscape', async () => {
  const page = await open(photos[0]);
  await shown(page, 'First');
  await page.getByRole('button', { name: 'Next photo' }).waitFor();
  await page.keyboard.press('ArrowRight');
  await shown(page, 'Second');
  await page.getByRole('button', { name: 'Previous photo' }).waitFor();
  assert.ok(page.url().includes(photos[1].id));
  await page.keyboard.press('ArrowLeft');
  await shown(page, 'First');
  assert.equal(await button(page, 'Previous photo').count(), 0);
  await page.keyboard.press('Escape');
  await link(page, 'First').waitFor();
  await until(page, () => document.activeElement?.getAttribute('aria-label')?.includes('First'));
});

test('Photo.IsSwipedOnATelephone', async () => {
  const page = await open(photos[0], { size: 'telephone' });
  await shown(page, 'First');
  await button(page, 'Next photo').waitFor();
  await swipe(page, 330, 60);
  await shown(page, 'Second');
  await button(page, 'Previous photo').waitFor();
  await swipe(page, 60, 330);
  await shown(page, 'First');
});

test('Photo.StaysWhereASwipeWasTooShort', async () => {
  const page = await open(photos[1], { size: 'telephone' });
  await button(page, 'Next photo').waitFor();
  const session = await page.context().newCDPSession(page);
  await session.send('Input.dispatchTouchEvent', { type: 'touchStart', touchPoints: [{ x: 200, y: 300 }] });
  for (const x of [190, 185, 185, 185]) {
    await session.send('Input.dispatchTouchEvent', { type: 'touchMove', touchPoints: [{ x, y: 300 }] });
    await page.evaluate(() => new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve))));
  }
  await session.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
  await shown(page, 'Second');
  assert.ok(page.url().includes(photos[1].id));
});

test('Photo.IsHandedOutAsItWasAdded', async () => {
  const page = await open(photos[0]);
  const [download] = await Promise.all([page.waitForEvent('download'), link(page, 'Download').click()]);
  assert.equal(download.suggestedFilename(), 'First.png');
  const chunks = [];
  for await (const chunk of await download.createReadStream()) chunks.push(chunk);
  assert.ok(Buffer.concat(chunks).equals(png(2)));
});

test('Photo.IsDeletedAndBroughtBack', async () => {
  const page = await open(photos[1], { size: 'telephone' });
  await shown(page, 'Second');
  await button(page, 'Next photo').waitFor();
  await button(page, 'Delete', { exact: true }).click();
  await shown(page, 'Third');
  await button(page, 'Undo').click();
  await shown(page, 'Second');
  const { total } = await anna.request('GET', `/page/groups/${group}/months`);
  assert.equal(total, 3);
});

test('Photo.IsDeletedAloneByTwoTaps', async () => {
  const page = await open(photos[1], { size: 'telephone' });
  await shown(page, 'Second');
  await button(page, 'Next photo').waitFor();
  const deletions = [];
  page.on('request', (request) => request.method() === 'DELETE' && deletions.push(request.url()));
  // Both taps are made in the page, so that nothing comes between: the second when the next photo is there. Until then the page's clock
  // stands still: after a slow service's answer it would be another wish.
  await page.evaluate(
    (name) =>
      new Promise((resolve) => {
        const press = () => [...document.querySelectorAll('button')].find((one) => one.textContent.trim() === name).click();
        const before = location.pathname;
        const now = performance.now();
        performance.now = () => now;
        press();
        press();
        const last = () => {
          press();
          delete performance.now;
          resolve();
        };
        const look = () => requestAnimationFrame(location.pathname === before ? look : last);
        look();
      }),
    'Delete',
  );
  await shown(page, 'Third');
  assert.equal(deletions.length, 1);
  assert.equal(await page.getByRole('alert').count(), 0);
  await button(page, 'Undo').click();
  await shown(page, 'Second');
  // After a while it is another wish.
  await page.waitForFunction((since) => performance.now() > since + 700, await page.evaluate(() => performance.now()));
  await button(page, 'Delete', { exact: true }).click();
  await shown(page, 'Third');
  await button(page, 'Undo').click();
  await shown(page, 'Second');
});

test('Photo.IsDeletedInOneTabAndGoneInTheOther', async () => {
  const extra = await anna.upload(group, png(50), 'name=x.png&modified=2024-05-09T10:00:00Z&description=Twice');
  const page = await open(extra);
  const other = await page.context().newPage();
  await Promise.all([other.goto(page.url()), telling(other)]);
  for (const one of [page, other]) {
    await shown(one, 'Twice');
    await button(one, 'Next photo').waitFor();
  }
  await button(page, 'Delete', { exact: true }).click();
  await shown(page, 'First');
  assert.equal(await page.getByRole('alert').count(), 0, 'who deletes needs not be told');
  // The other tab hears of it, or is told when it deletes too.
  await other.bringToFront();
  await other.getByRole('alert').getByText('no longer here').waitFor();
  await shown(other, 'First');
});

test('Photo.ThatIsNotThereSaysSo', async () => {
  const page = await browser.open(service, anna, `/group/${group}/photo/999999`);
  await page.getByRole('heading', { name: 'There is nothing at this address' }).waitFor();
  await link(page, 'To the group').click();
  await link(page, 'First').waitFor();
});

test('Photo.OfAnotherIsNotTheirsToDelete', async () => {
  const ben = await service.person('Ben', '--group', 'Holidays');
  const page = await browser.open(service, ben, `/group/${group}/photo/${photos[0].id}`);
  await shown(page, 'First');
  await link(page, 'Download').waitFor();
  assert.equal(await button(page, 'Delete', { exact: true }).count(), 0);
});
