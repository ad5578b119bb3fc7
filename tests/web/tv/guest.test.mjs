// SPDX-License-Identifier: MIT
// The guests' page on a telephone: photos go to the television, with their progress, and nothing else is there.
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { extname, join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { Browser, button, file, until } from '../support/browser.mjs';
import { axeSource, PAGES } from '../support/modules.mjs';
import { png } from '../support/pictures.mjs';

const browser = Browser.forTests();
const TYPES = { '.html': 'text/html; charset=utf-8', '.js': 'text/javascript', '.css': 'text/css' };
const POLICY = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; frame-ancestors 'none'";
const KEY = 'q8Yh2kfK';

/** The listener for guests: everything is below the key. */
const guests = { left: 5, received: [], requests: [], running: 0, most: 0, answer: () => null, open: true };
let server;
let url;

async function answer(request, response) {
  const { pathname, searchParams } = new URL(request.url, 'http://television');
  guests.requests.push(`${request.method} ${pathname}`);
  const json = (status, document, headers = {}) => {
    response.writeHead(status, { 'Content-Type': 'application/json', 'Cache-Control': 'no-store', ...headers });
    response.end(JSON.stringify(document));
  };
  const path = pathname.startsWith(`/${KEY}/`) ? pathname.slice(KEY.length + 2) : null;
  if (path === null || !guests.open) return json(404, {});
  if (path === 'state') return json(200, { group: 'Holidays', left: { count: guests.left, bytes: 1e9 }, limits: { bytes_each: 5e7 }, expires_in: 3600 });
  if (path === 'photos' && request.method === 'POST') {
    guests.running += 1;
    guests.most = Math.max(guests.most, guests.running);
    const chunks = [];
    for await (const chunk of request) chunks.push(chunk);
    guests.running -= 1;
    const [status, document, headers] = guests.answer(searchParams.get('name')) ?? [201, { id: String(guests.received.length + 1) }];
    if (status === 201) {
      guests.received.push({ name: searchParams.get('name'), size: Buffer.concat(chunks).length, type: request.headers['content-type'] });
      guests.left -= 1;
    }
    return json(status, document, headers);
  }
  const name = path === '' ? 'index.html' : path;
  try {
    const bytes = await readFile(join(PAGES, 'guest', name));
    response.writeHead(200, { 'Content-Type': TYPES[extname(name)] ?? 'application/octet-stream', 'Content-Security-Policy': POLICY });
    response.end(bytes);
  } catch {
    json(404, {});
  }
}

before(async () => {
  server = createServer((request, response) => void answer(request, response));
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  url = `http://127.0.0.1:${server.address().port}`;
});
afterEach(() => Object.assign(guests, { left: 5, received: [], requests: [], most: 0, answer: () => null, open: true }));
after(() => {
  server.close();
  server.closeAllConnections();
});

const open = (options) => browser.open({ url }, null, `/${KEY}/`, { size: 'telephone', ...options });
async function add(page, ...files) {
  const [chooser] = await Promise.all([page.waitForEvent('filechooser'), button(page, /^Add/).click()]);
  await chooser.setFiles(files);
}

test('Guest.AddsPhotosAndIsThanked', async () => {
  const page = await open();
  await page.getByText('Holidays').waitFor();
  await page.getByText('Room for 5 more photos.').waitFor();
  await add(page, file('IMG 1&2.png', png(1)), file('b.png', png(2)), file('c.png', png(3)), file('d.png', png(4)));
  await page.getByText('Thank you! 4 photos arrived.').waitFor();
  assert.deepEqual(guests.received.map((one) => one.name).sort(), ['IMG 1&2.png', 'b.png', 'c.png', 'd.png']);
  assert.equal(guests.received.find((one) => one.name === 'b.png').size, png(2).length);
  assert.equal(guests.received[0].type, 'image/png');
  assert.ok(guests.most <= 2, 'two at a time');
  await page.getByText('Room for 1 more photo.').waitFor();
  assert.equal(await page.getByRole('listitem').filter({ hasText: 'Arrived' }).count(), 4);
});

test('Guest.AsksForNothingBesideItsKey', async () => {
  const page = await open();
  await button(page, 'Add photos').waitFor();
  const away = guests.requests.filter((one) => !one.split(' ')[1].startsWith(`/${KEY}/`) && !one.includes('favicon'));
  assert.deepEqual(away, []);
  assert.equal(await page.evaluate(() => document.querySelector('meta[name=referrer]').content), 'no-referrer');
});

test('Guest.TriesAgainWhatPassesAndSaysWhatDoesNot', async () => {
  let times = 0;
  guests.answer = (name) => {
    if (name === 'slow.png' && times++ < 1) return [503, { error: 'away' }, { 'Retry-After': '0' }];
    if (name === 'text.png') return [415, { error: 'bad_file' }];
    if (name === 'huge.png') return [413, { error: 'too_large' }];
    return null;
  };
  const page = await open();
  await add(page, file('slow.png', png(1)), file('text.png', Buffer.from('no')), file('huge.png', png(2)));
  await page.getByRole('listitem').filter({ hasText: 'text.png' }).getByText('Not a photo').waitFor();
  await page.getByRole('listitem').filter({ hasText: 'huge.png' }).getByText('Too large').waitFor();
  await page.getByRole('listitem').filter({ hasText: 'slow.png' }).getByText('Arrived').waitFor();
  assert.deepEqual(guests.received.map((one) => one.name), ['slow.png']);
});

test('Guest.HearsThatItIsOver', async () => {
  const page = await open();
  await button(page, 'Add photos').waitFor();
  guests.answer = () => [410, { error: 'closed' }];
  await add(page, file('late.png', png(1)));
  await page.getByRole('alert').getByText('This has ended').waitFor();
  assert.equal(await page.getByRole('button').count(), 0);
  guests.open = false;
  const other = await browser.open({ url }, null, '/other/', { size: 'telephone' }).catch(() => null);
  assert.ok(other === null || (await other.getByRole('button').count()) === 0);
});

test('Guest.HasNoRoomForMoreThanThereIs', async () => {
  guests.left = 0;
  const page = await open();
  await page.getByText('Room for 0 more photos.').waitFor();
  assert.ok(await button(page, 'Add photos').isDisabled());
});

test('Guest.SpeaksGerman', async () => {
  const page = await open({ lang: 'de' });
  await button(page, 'Fotos hinzufügen').waitFor();
});

test('Guest.IsFoundWithoutFault', async () => {
  for (const colorScheme of ['light', 'dark']) {
    const page = await open({ colorScheme });
    await add(page, file('a.png', png(1)));
    await until(page, () => document.querySelector('.thanks') !== null);
    await page.evaluate(axeSource);
    const { violations } = await page.evaluate(() => globalThis.axe.run(document, { resultTypes: ['violations'] }));
    assert.deepEqual(violations.map((one) => `${one.id}: ${one.nodes.map((node) => node.html.slice(0, 100)).join(' | ')}`), []);
  }
});
