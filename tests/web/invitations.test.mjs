// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { Browser, button, link } from './support/browser.mjs';
import { Kinloomd } from './support/kinloomd.mjs';
import { jsQR, PNG } from './support/modules.mjs';

const browser = Browser.forTests();
let service;
let anna;
let group;

before(async () => {
  service = await Kinloomd.start();
  anna = await service.person('Anna');
  group = (await anna.createGroup('Holidays')).id;
});
after(() => service.end());

const pathOf = (address) => new URL(address).pathname;

test('Invitation.IsShownAsOftenAsOneLikesAndUsedOnce', async () => {
  const path = pathOf(await service.invite('Ben', '--group', 'Holidays'));
  for (let look = 0; look < 3; ++look) {
    const page = await browser.open(service, null, path, { size: 'telephone' });
    await page.getByText('to see the photos of Holidays').waitFor();
    await page.getByText('You will be called Ben here.').waitFor();
  }
  const page = await browser.open(service, null, path, { size: 'telephone' });
  await button(page, 'Accept invitation').click();
  await page.getByRole('heading', { name: 'Holidays' }).waitFor();
  await page.goto(`${service.url}/?lang=en`);
  await link(page, 'Holidays').waitFor();
  const [cookie] = (await page.context().cookies()).filter((one) => one.name === 'kinloom_session');
  assert.ok(cookie.httpOnly);
  assert.equal(cookie.sameSite, 'Strict');
  const late = await browser.open(service, null, path);
  await late.getByRole('heading', { name: 'This invitation has been used already' }).waitFor();
  assert.equal(await button(late, 'Accept invitation').count(), 0);
});

test('Invitation.ThatIsForgedSaysSo', async () => {
  const page = await browser.open(service, null, '/invite/AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA');
  await page.getByRole('heading', { name: 'There is no such invitation' }).waitFor();
});

test('Invitation.ThatWasUsedMeanwhileSaysSo', async () => {
  const path = pathOf(await service.invite('Cara'));
  const first = await browser.open(service, null, path);
  const second = await browser.open(service, null, path);
  await button(second, 'Accept invitation').waitFor();
  await button(first, 'Accept invitation').click();
  await first.getByRole('heading', { name: 'Groups' }).waitFor();
  await button(second, 'Accept invitation').click();
  await second.getByRole('heading', { name: 'This invitation has been used already' }).waitFor();
});

test('Invitation.IsMadeByAMasterWithACodeToLookAt', async () => {
  const page = await browser.open(service, anna, `/group/${group}`, { size: 'telephone' });
  await button(page, 'Invite').click();
  const dialog = page.getByRole('dialog', { name: 'Invite somebody' });
  await dialog.getByRole('textbox', { name: 'Name of the person' }).fill('Grandma Rose');
  await dialog.getByRole('button', { name: 'Make an invitation' }).click();
  const address = await dialog.getByRole('textbox', { name: 'Address of the invitation' }).inputValue();
  const code = dialog.getByRole('img', { name: 'QR code of the invitation' });
  await code.scrollIntoViewIfNeeded();
  await code.evaluate((image) => image.decode());
  const { data, width, height } = PNG.sync.read(await code.screenshot());
  assert.equal(jsQR(new Uint8ClampedArray(data), width, height)?.data, address);
  const guest = await browser.open(service, null, pathOf(address), { size: 'telephone' });
  await guest.getByRole('heading', { name: 'Anna invites you' }).waitFor();
  await button(guest, 'Accept invitation').click();
  await guest.getByRole('heading', { name: 'Holidays' }).waitFor();
  assert.equal(await button(guest, 'Invite').count(), 0, 'a member invites nobody');
});

test('Invitation.OfANameThatIsTakenSaysSoAndKeepsWhatWasTyped', async () => {
  const page = await browser.open(service, anna, `/group/${group}`);
  await button(page, 'Invite').click();
  const dialog = page.getByRole('dialog');
  await dialog.getByRole('textbox').fill('Anna');
  await dialog.getByRole('textbox').press('Enter');
  await dialog.getByRole('alert').getByText('has that name already').waitFor();
  assert.equal(await dialog.getByRole('textbox').inputValue(), 'Anna');
});

test('Invitation.ShowsNamesAsText', async () => {
  const path = pathOf(await service.invite('<script>alert(1)</script> אבא'));
  const page = await browser.open(service, null, path);
  await page.getByText('<script>alert(1)</script>').waitFor();
});

test('SignedOut.SaysHowToGetAnInvitation', async () => {
  for (const path of ['/', `/group/${group}`, '/devices', '/pair']) {
    const page = await browser.open(service, null, path, { size: 'telephone' });
    await page.getByRole('heading', { name: 'Welcome' }).waitFor();
    await page.getByText('you need an invitation').waitFor();
  }
});
