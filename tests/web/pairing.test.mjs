// SPDX-License-Identifier: MIT
// A television is let in from the page.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { Browser, button } from './support/browser.mjs';
import { Kinloomd } from './support/kinloomd.mjs';

const browser = Browser.forTests();
let service;
let anna;

before(async () => {
  service = await Kinloomd.start();
  anna = await service.person('Anna');
});
after(() => service.end());

const form = (path, values) => fetch(service.url + path, { method: 'POST', body: new URLSearchParams(values) });
const television = async (name) => (await form('/pair', { device_name: name })).json();
const token = async ({ device_code: code }) => (await form('/pair/token', { device_code: code })).json();

test('Pairing.IsApprovedByTheTypedCode', async () => {
  const asked = await television('Living room');
  const page = await browser.open(service, anna, '/pair', { size: 'telephone' });
  await page.getByRole('textbox', { name: 'Code' }).pressSequentially(asked.user_code.toLowerCase().replace('-', ' '));
  assert.equal(await page.getByRole('textbox', { name: 'Code' }).inputValue(), asked.user_code);
  await button(page, 'Next').click();
  await page.getByText('Living room').waitFor();
  await page.getByText('127.0.0.1').waitFor();
  await page.getByText(asked.user_code).waitFor();
  await button(page, 'Approve').click();
  await page.getByRole('heading', { name: 'Living room is connected' }).waitFor();
  const given = await token(asked);
  assert.ok(given.app_id && given.AuthToken && given.duid);
});

test('Pairing.IsRefusedByTheAddressOfACode', async () => {
  const asked = await television('A stranger’s');
  const page = await browser.open(service, anna, new URL(asked.verification_uri_complete).pathname);
  await page.getByText(asked.user_code).waitFor();
  await button(page, 'Refuse').click();
  await page.getByRole('heading', { name: 'was refused' }).waitFor();
  assert.equal((await token(asked)).error, 'access_denied');
});

test('Pairing.IsDecidedOnceHoweverOftenTheButtonIsTapped', async () => {
  const asked = await television('Hallway');
  const page = await browser.open(service, anna, `/pair/${asked.user_code}`, { size: 'telephone' });
  const decisions = [];
  page.on('request', (request) => request.method() === 'POST' && decisions.push(request.url()));
  // Nothing is answered before both taps are made: by then there may be something else to tap.
  let tapped;
  const taps = new Promise((resolve) => (tapped = resolve));
  await page.route('**/page/pairings/*', async (route) => {
    if (route.request().method() === 'POST') await taps;
    await route.continue();
  });
  await button(page, 'Approve').dblclick();
  tapped();
  await page.getByRole('heading', { name: 'Hallway is connected' }).waitFor();
  assert.equal(decisions.length, 1);
  assert.ok((await token(asked)).duid);
});

test('Pairing.ShowsTheDevicesNameAsText', async () => {
  const asked = await television('<img src=x onerror=alert(1)>\u202eTV');
  const page = await browser.open(service, anna, `/pair/${asked.user_code}`);
  await page.getByText('<img src=x onerror=alert(1)>').waitFor();
});

test('Pairing.OfAnUnfinishedCodeAsksForEightLetters', async () => {
  const page = await browser.open(service, anna, '/pair');
  await page.getByRole('textbox', { name: 'Code' }).fill('BCD');
  await button(page, 'Next').click();
  await page.getByRole('alert').getByText('eight letters').waitFor();
});

test('Pairing.OfACodeTypedWrongSaysSoAndBidsToWaitInTheEnd', async () => {
  const ben = await service.person('Ben');
  const page = await browser.open(service, ben, '/pair');
  const box = page.getByRole('textbox', { name: 'Code' });
  await box.fill('BBBBBBBB');
  await button(page, 'Next').click();
  await page.getByRole('alert').getByText('no such code').waitFor();
  assert.equal(await box.inputValue(), 'BBBB-BBBB', 'what was typed stays');
  for (let attempt = 0; attempt < 10; ++attempt) {
    const answer = page.waitForResponse((response) => response.url().includes('/page/pairings/'));
    await button(page, 'Next').click();
    await answer;
  }
  await page.getByRole('alert').getByText('too often').waitFor();
});

test('Devices.AreShownAndDisconnected', async () => {
  const asked = await television('Kitchen');
  const page = await browser.open(service, anna, `/pair/${asked.user_code}`, { size: 'telephone' });
  await button(page, 'Approve').click();
  await page.getByRole('heading', { name: 'Kitchen is connected' }).waitFor();
  const given = await token(asked);
  assert.ok(given.duid);
  await page.getByRole('link', { name: 'My devices' }).click();
  await button(page, 'Disconnect Kitchen').click();
  const dialog = page.getByRole('dialog', { name: 'Disconnect Kitchen?' });
  await dialog.getByRole('button', { name: 'Cancel' }).click();
  await button(page, 'Disconnect Kitchen').click();
  await dialog.getByRole('button', { name: 'Disconnect' }).click();
  await button(page, 'Disconnect Kitchen').waitFor({ state: 'detached' });
  assert.ok(!(await service.command('device', 'list', '--person', 'Anna').catch(() => service.command('device', 'list'))).includes('Kitchen'));
});

test('Sessions.AreEndedElsewhereAndHere', async () => {
  const dora = await service.person('Dora');
  const other = await service.invite('Dora');
  const there = await browser.open(service, null, new URL(other).pathname, { size: 'telephone' });
  await button(there, 'Accept invitation').click();
  await there.getByRole('heading', { name: 'Groups' }).waitFor();
  const here = await browser.open(service, dora, '/devices');
  await here.getByText('This browser').waitFor();
  const entries = here.getByRole('region', { name: 'Telephones and browsers' }).getByRole('listitem');
  assert.equal(await entries.count(), 2);
  const elsewhere = entries.filter({ hasNotText: 'This browser' });
  await elsewhere.getByRole('button').click();
  await here.getByRole('dialog').getByRole('button', { name: 'Sign out' }).click();
  await elsewhere.waitFor({ state: 'detached' });
  await there.getByRole('heading', { name: 'Welcome' }).waitFor();
  await entries.getByRole('button').click();
  await here.getByRole('dialog').getByRole('button', { name: 'Sign out' }).click();
  await here.getByRole('heading', { name: 'Welcome' }).waitFor();
});
