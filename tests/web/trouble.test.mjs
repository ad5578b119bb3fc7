// SPDX-License-Identifier: MIT
// What goes wrong around the page: a service that is away, full, busy or newer; clocks that are wrong; feeds beyond all measure.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';
import { addPhotos, Browser, button, file, link, telling, until } from './support/browser.mjs';
import { PAGES } from './support/modules.mjs';
import { png } from './support/pictures.mjs';
import { startStandIn } from './support/standIn.mjs';

const browser = Browser.forTests();
const SESSION = { value: 'any' };
let standIn;
let group;
let version;

before(async () => {
  standIn = await startStandIn({ pages: PAGES, photos: 100_000 });
  group = standIn.state.groups[0];
  version = standIn.state.version;
});
after(() => standIn.end());
afterEach(() => {
  standIn.state.interfere = () => null;
  // Else each page that comes would be loaded twice, the second time in the midst of what its test does.
  standIn.state.version = version;
});

const open = (path, options) => browser.open(standIn, SESSION, path, options);
const feed = `/group/1001`;

test('Away.IsSaidInTheStatusAndOverWhenTheServiceIsBack', async () => {
  const page = await open('/', { size: 'telephone' });
  await link(page, 'Holidays').waitFor();
  await standIn.end();
  await page.getByRole('status').getByText('cannot be reached').waitFor();
  await standIn.again();
  await until(page, () => document.querySelector('[role=status]').textContent === '');
  await link(page, 'Holidays').click();
  await page.getByRole('heading', { name: 'Holidays' }).waitFor();
});

test('Away.ViewsAppearWhenTheServiceIsBack', async () => {
  const page = await open('/devices');
  await page.getByText('Kitchen television').waitFor();
  await standIn.end();
  await page.getByRole('status').getByText('cannot be reached').waitFor();
  await link(page, 'Groups').click();
  await standIn.again();
  await link(page, 'Holidays').click();
  await until(page, () => document.querySelectorAll('[role=listitem] a').length > 0);
});

test('Feed.ShowsWhatCameWhileItWasBeingReadForTheFirstTime', async () => {
  const page = await open('/', { told: true });
  await link(page, 'Grandparents').waitFor();
  const [, small] = standIn.state.groups;
  let letGo;
  const held = new Promise((resolve) => {
    letGo = resolve;
  });
  const answered = new Promise((resolve) => {
    void page.route(
      `**/page/groups/${small.id}/contents?*`,
      async (route) => {
        const response = await route.fetch();
        resolve();
        await held;
        await route.fulfill({ response });
      },
      { times: 1 },
    );
  });
  await link(page, 'Grandparents').click();
  await answered;
  // That something has happened the page tells by reading the groups again.
  const heard = page.waitForRequest((request) => request.url().endsWith('/page/groups'));
  standIn.insert(small, standIn.content(small.id, Date.UTC(2026, 10, 21), { description: 'Just now' }));
  await heard;
  letGo();
  await link(page, 'Just now').waitFor();
});

test('Version.ThatIsNewerIsLoadedAndTypedTextKept', async () => {
  const photo = group.contents[3];
  const page = await open(`${feed}/photo/${photo.id}`, { told: true });
  await page.getByRole('textbox', { name: 'Comment' }).fill('Not lost');
  const connected = telling(page);
  const loaded = page.waitForEvent('load');
  standIn.state.version = 'newer';
  standIn.tell('version', { version: 'newer' });
  await loaded;
  await until(page, () => document.querySelector('textarea')?.value === 'Not lost');
  // It names the same version again, and serves what it serves: once is enough.
  let again = false;
  page.on('load', () => {
    again = true;
  });
  await connected;
  const read = page.waitForResponse((response) => response.url().endsWith(`/page/contents/${photo.id}`));
  standIn.tell('version', { version: 'newer' });
  standIn.tell('comment', { group: group.id, content_id: photo.id, comment_id: '1' });
  await read;
  assert.equal(again, false);
});

test('Version.WaitsForPhotosThatAreOnTheirWay', async () => {
  const page = await open('/group/1002'.replace('1002', standIn.state.groups[1].id), { size: 'desktop' });
  let release = null;
  standIn.state.interfere = (request) => (release === null && /\/check$/.test(request.url) ? [503, { error: 'busy', message: '' }, { 'Retry-After': '1' }] : null);
  await addPhotos(page, [file('a.png', png(700))]);
  await page.getByText('This goes on by itself').waitFor();
  standIn.state.version = 'newer still';
  standIn.tell('version', { version: 'newer still' });
  await page.getByRole('status').getByText('newer version').waitFor();
  const loaded = page.waitForEvent('load');
  release = true;
  await loaded;
  assert.ok(standIn.state.uploads.some((upload) => upload.group === standIn.state.groups[1].id));
});

test('Uploads.StopForAFullDiskAndGoOnWhenSomebodySaysSo', async () => {
  const page = await open(`/group/${standIn.state.groups[1].id}`);
  let full = true;
  let refused = 0;
  standIn.state.interfere = (request) => {
    if (!full || request.method !== 'POST' || !/contents\?/.test(request.url)) return null;
    refused += 1;
    return [503, { error: 'disk_full', message: '' }];
  };
  await addPhotos(page, [file('b.png', png(701)), file('c.png', png(702))]);
  const panel = page.getByRole('region', { name: 'Adding photos' });
  await panel.getByText('no room left').first().waitFor();
  full = false;
  // A refusal that the page heard of after the button had been pressed would stop it again.
  await panel.getByText(`${refused} file`).waitFor();
  await panel.getByRole('button', { name: 'Try again' }).click();
  await panel.getByText('2 photos were added.').waitFor();
});

test('Uploads.WaitAsLongAsABusyServiceAsks', async () => {
  const page = await open(`/group/${standIn.state.groups[1].id}`);
  const times = [];
  standIn.state.interfere = (request) => {
    if (request.method !== 'POST' || !/contents\?/.test(request.url)) return null;
    times.push(performance.now());
    return times.length === 1 ? [429, { error: 'too_many', message: '' }, { 'Retry-After': '2' }] : null;
  };
  await addPhotos(page, [file('d.png', png(703))]);
  await page.getByRole('region', { name: 'Adding photos' }).getByText('1 photo was added.').waitFor();
  assert.equal(times.length, 2);
  assert.ok(times[1] - times[0] >= 1990, `came again after ${times[1] - times[0]} ms`);
});

test('Clock.ThatIsWrongChangesNothing', async () => {
  const context = await browser.context('telephone');
  await context.addCookies([{ name: 'kinloom_session', value: 'any', url: standIn.url }]);
  await context.addInitScript(() => {
    const Real = Date;
    const wrong = -37 * 365 * 86_400_000;
    globalThis.Date = class extends Real {
      constructor(...given) {
        if (given.length === 0) super(Real.now() + wrong);
        else super(...given);
      }
      static now() {
        return Real.now() + wrong;
      }
    };
  });
  const page = await context.newPage();
  await page.goto(`${standIn.url}${feed}?lang=en`);
  await page.getByRole('heading', { name: 'November 2026' }).waitFor();
  await until(page, () => document.querySelectorAll('[role=listitem] a').length > 0);
  await page.getByRole('listitem').getByRole('link').first().click();
  await page.getByRole('textbox', { name: 'Comment' }).fill('On time');
  await button(page, 'Send').click();
  await page.getByRole('article').filter({ hasText: 'On time' }).waitFor();
});

test('Feed.OfAHundredThousandPhotosIsScrolledFromEndToEnd', async () => {
  const page = await open(feed, { size: 'small' });
  await until(page, () => document.querySelectorAll('[role=listitem] a').length > 0);
  const height = await page.evaluate(() => document.documentElement.scrollHeight);
  assert.ok(height < 10_000_000, `the page is ${height} px high`);
  await page.evaluate(() => window.scrollTo(0, document.documentElement.scrollHeight));
  const last = group.contents[group.contents.length - 1];
  await until(page, (id) => document.querySelector(`[data-id="${id}"]`) !== null, last.id);
  const nodes = await page.evaluate(() => document.querySelectorAll('*').length);
  assert.ok(nodes < 2500, `${nodes} elements`);
  assert.ok((await page.getByRole('combobox', { name: 'Month' }).locator('option:checked').textContent()).includes('2006'));
});

test('Feed.JumpsToTheMonthThatIsChosen', async () => {
  const page = await open(feed);
  await page.getByRole('combobox', { name: 'Month' }).selectOption({ label: 'March 2015' });
  const heading = page.getByRole('heading', { name: 'March 2015' });
  await heading.waitFor();
  const box = await heading.boundingBox();
  assert.ok(box.y > 40 && box.y < 200, `the heading stands at ${box.y}`);
  await until(page, () => [...document.querySelectorAll('[role=listitem] a')].some((one) => one.getAttribute('aria-label').includes('March 2015')));
  await link(page, '2020', { exact: true }).click();
  await page.getByRole('heading', { name: '2020' }).first().waitFor();
});

test('Feed.AsksOnlyForWhatItStopsAt', async () => {
  const page = await open(feed);
  await until(page, () => document.querySelectorAll('[role=listitem] a').length > 0);
  standIn.state.requests.length = 0;
  await page.evaluate(async () => {
    const end = document.documentElement.scrollHeight - innerHeight;
    for (let step = 1; step <= 40; ++step) {
      window.scrollTo(0, (end * step) / 40);
      await new Promise(requestAnimationFrame);
    }
  });
  const last = group.contents[group.contents.length - 1];
  await until(page, (id) => document.querySelector(`[data-id="${id}"] img`)?.naturalWidth > 0, last.id);
  const pages = standIn.state.requests.filter((line) => line.includes('/contents?')).length;
  const pictures = standIn.state.requests.filter((line) => line.includes('/page/media/')).length;
  assert.ok(pages <= 12, `${pages} pages of records`);
  assert.ok(pictures <= 250, `${pictures} pictures`);
});

test('Feed.StaysWhereItIsWhenPhotosAppearAbove', async () => {
  const page = await open(feed);
  await page.getByRole('combobox', { name: 'Month' }).selectOption({ label: 'March 2015' });
  await until(page, () => [...document.querySelectorAll('[role=listitem] a')].some((one) => one.getAttribute('aria-label').includes('March 2015')));
  const first = () =>
    page.evaluate(() => {
      const tile = [...document.querySelectorAll('a[data-id]')].find((one) => one.getBoundingClientRect().top > 130);
      return [tile.dataset.id, Math.round(tile.getBoundingClientRect().top)];
    });
  const [id, top] = await first();
  const months = page.waitForResponse((response) => response.url().endsWith('/months'));
  for (let at = 0; at < 9; ++at) standIn.insert(group, standIn.content(group.id, Date.UTC(2026, 10, 21) + at));
  await months;
  await until(page, ([wanted, at]) => document.querySelector(`[data-id="${wanted}"]`)?.getBoundingClientRect().top.toFixed() === String(at), [id, top]);
  await page.getByText('100,009 photos').waitFor();
});

test('Feed.RemembersWhereItWasLeft', async () => {
  const page = await open(feed, { size: 'telephone' });
  await page.getByRole('combobox', { name: 'Month' }).selectOption({ label: 'March 2015' });
  const photo = page.getByRole('link', { name: 'March 2015' }).and(page.locator('[data-id]')).first();
  const name = await photo.getAttribute('aria-label');
  await photo.click();
  await button(page, 'Next photo').waitFor();
  await link(page, 'Back').click();
  await page.getByRole('link', { name }).first().waitFor();
  await until(page, (wanted) => document.activeElement?.getAttribute('aria-label') === wanted, name);
});

test('SignedOut.InTheMidstOfWritingKeepsTheText', async () => {
  const page = await open(`${feed}/photo/${group.contents[1].id}`);
  await page.getByRole('textbox', { name: 'Comment' }).fill('Precious');
  // Not before it is sent: what the page asks for by itself would have it find out sooner.
  standIn.state.interfere = (request) => {
    if (request.method === 'POST') standIn.state.signedIn = false;
    return null;
  };
  await button(page, 'Send').click();
  await page.getByRole('heading', { name: 'Welcome' }).waitFor();
  await page.getByText('What you have typed is kept').waitFor();
  standIn.state.signedIn = true;
  await page.reload();
  await until(page, () => document.querySelector('textarea')?.value === 'Precious');
});

test('Group.ThatFailsIsAskedForAgain', async () => {
  let failing = true;
  standIn.state.interfere = (request) => (failing && /\/months$/.test(request.url) ? [500, { error: 'failed', message: '' }] : null);
  const page = await open(feed);
  await page.getByRole('alert').getByText('Something went wrong').waitFor();
  failing = false;
  await button(page, 'Try again').click();
  await page.getByRole('heading', { name: 'November 2026' }).waitFor();
});

test('Feed.FillsWhatCouldNotBeHadAtFirst', async () => {
  let failures = 2;
  standIn.state.interfere = (request) => (/contents\?index=[1-9]/.test(request.url) && failures-- > 0 ? [503, { error: 'busy', message: '' }] : null);
  const page = await open(feed);
  await page.getByRole('combobox', { name: 'Month' }).selectOption({ label: 'March 2012' });
  await until(page, () => [...document.querySelectorAll('[role=listitem] a')].some((one) => one.getAttribute('aria-label').includes('March 2012')));
  assert.ok(failures <= 0);
});
