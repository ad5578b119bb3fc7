// SPDX-License-Identifier: MIT
// The page for everybody: what a checker of accessibility finds, what a keyboard alone can do, and what fits on which screen.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { Browser, button, link, SIZES, until } from './support/browser.mjs';
import { axeSource, PAGES } from './support/modules.mjs';
import { startStandIn } from './support/standIn.mjs';

const browser = Browser.forTests();
const SESSION = { value: 'any' };
let standIn;
let group;
let photo;

before(async () => {
  standIn = await startStandIn({ pages: PAGES, photos: 300 });
  group = standIn.state.groups[0];
  photo = group.contents[4];
  photo.description = 'Grandma and the children at the lake';
  standIn.state.comments.set(photo.id, [
    { id: '9001', text: 'What a morning!', written: '2026-11-20T10:00:00+01:00', author: standIn.ben, may: { delete: false } },
    { id: '9002', text: 'We were up at six.', written: '2026-11-20T12:00:00+01:00', author: standIn.anna, may: { delete: true } },
  ]);
  photo.comment_count = 2;
  standIn.state.invitations.set('open', { inviter: 'Anna', group: { id: group.id, name: 'Holidays' }, name: 'Rose', state: 'open', expires: '2026-11-24T12:00:00Z' });
});
after(() => standIn.end());

/** Every view, and what shows that it is there. */
const views = () => ({
  groups: ['/', (page) => link(page, 'Holidays').waitFor()],
  feed: [`/group/${group.id}`, (page) => until(page, () => document.querySelectorAll('[role=listitem] img[data-state=there]').length > 5)],
  photo: [`/group/${group.id}/photo/${photo.id}`, (page) => page.getByRole('article').first().waitFor()],
  pair: ['/pair', (page) => page.getByRole('textbox').waitFor()],
  decision: ['/pair/BCDF-GHJK', (page) => page.getByText('Living room').waitFor()],
  devices: ['/devices', (page) => page.getByText('Kitchen television').waitFor()],
  invitation: ['/invite/open', (page) => page.getByText('Rose').waitFor()],
  nothing: ['/invite/none', (page) => page.getByRole('heading').waitFor()],
});

/** What the checker finds on the page as it is. */
async function complaints(page) {
  // Evaluated from outside, where the page's policy does not reach.
  await page.evaluate(axeSource);
  const { violations } = await page.evaluate(() => globalThis.axe.run(document, { resultTypes: ['violations'] }));
  return violations.map((one) => `${one.id}: ${one.help} (${one.nodes.map((node) => node.html.slice(0, 120)).slice(0, 3).join(' | ')})`);
}

for (const colorScheme of ['light', 'dark']) {
  for (const size of ['small', 'desktop']) {
    test(`Access.IsFoundWithoutFaultOn${size === 'small' ? 'A' : 'ALarge'}Screen${colorScheme === 'dark' ? 'InTheDark' : ''}`, async () => {
      const page = await browser.open(standIn, SESSION, '/', { size, colorScheme });
      for (const [name, [path, there]] of Object.entries(views())) {
        await page.goto(`${standIn.url}${path}?lang=en`);
        await there(page);
        assert.deepEqual(await complaints(page), [], name);
      }
    });
  }
}

test('Access.IsFoundWithoutFaultInWindowsOverThePage', async () => {
  const page = await browser.open(standIn, SESSION, `/group/${group.id}`, { size: 'telephone' });
  await button(page, 'Invite').click();
  await page.getByRole('dialog').waitFor();
  assert.deepEqual(await complaints(page), []);
  await page.getByRole('textbox').fill('Rose');
  await button(page, 'Make an invitation').click();
  await page.getByRole('img', { name: 'QR code' }).waitFor();
  assert.deepEqual(await complaints(page), []);
});

test('Access.HasAHeadingAMainAndNoSilentControlInEveryView', async () => {
  const page = await browser.open(standIn, SESSION, '/');
  for (const [name, [path, there]] of Object.entries(views())) {
    await page.goto(`${standIn.url}${path}?lang=en`);
    await there(page);
    assert.equal(await page.getByRole('heading', { level: 1 }).count(), 1, name);
    assert.equal(await page.getByRole('main').count(), 1, name);
    assert.equal(await page.getByRole('status').textContent(), '', name);
    assert.equal(await page.getByRole('alert').count(), 0, name);
    const silent = await page.evaluate(
      () => [...document.querySelectorAll('a, button, select, textarea, input:not([hidden])')].filter((one) => !(one.getAttribute('aria-label') ?? one.innerText ?? '').trim() && !one.labels?.length).length,
    );
    assert.equal(silent, 0, name);
  }
});

test('Access.EverythingFitsBesideNothingElseOnEveryScreen', async () => {
  for (const size of Object.keys(SIZES)) {
    for (const lang of ['en', 'de']) {
      const page = await browser.open(standIn, SESSION, '/', { size, lang });
      for (const [name, [path]] of Object.entries(views())) {
        await page.goto(`${standIn.url}${path}?lang=${lang}`);
        await page.getByRole('heading', { level: 1 }).waitFor();
        await until(page, () => document.querySelector('.loading') === null && document.querySelector('main, [role=main]') !== null);
        const wider = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
        assert.ok(wider <= 0, `${name} on ${size} in ${lang} is ${wider} px too wide`);
        const small = await page.evaluate(() =>
          [...document.querySelectorAll('button, .button, select')].filter((one) => one.offsetWidth > 0 && (one.offsetHeight < 43 || one.offsetWidth < 43)).map((one) => one.outerHTML.slice(0, 80)),
        );
        assert.deepEqual(small, [], `too small to be pressed in ${name} on ${size}`);
      }
      await page.context().close();
    }
  }
});

test('Access.AKeyboardAloneDoesEverything', async () => {
  const page = await browser.open(standIn, SESSION, '/');
  await link(page, 'Holidays').waitFor();
  /** Presses Tab until what is wanted has the focus. */
  const tabTo = async (name, most = 40) => {
    for (let step = 0; step < most; ++step) {
      await page.keyboard.press('Tab');
      const label = await page.evaluate(() => {
        const one = document.activeElement;
        return one.getAttribute('aria-label') ?? one.labels?.[0]?.textContent ?? one.textContent;
      });
      if (label.includes(name)) return;
    }
    assert.fail(`no way to "${name}"`);
  };
  await tabTo('Holidays');
  await page.keyboard.press('Enter');
  await page.getByRole('heading', { name: 'Holidays', level: 1 }).waitFor();
  await link(page, 'lake').waitFor();
  await tabTo('lake', 60);
  await page.keyboard.press('Enter');
  await page.getByRole('article').first().waitFor();
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('ArrowLeft');
  await page.getByRole('img', { name: 'lake' }).waitFor();
  await tabTo('Comment');
  await page.keyboard.type('By keyboard');
  await tabTo('Send', 2);
  await page.keyboard.press('Enter');
  const mine = page.getByRole('article').filter({ hasText: 'By keyboard' });
  await mine.waitFor();
  await mine.getByRole('button').focus();
  await page.keyboard.press('Enter');
  await mine.waitFor({ state: 'detached' });
  await tabTo('Undo');
  await page.keyboard.press('Enter');
  await mine.waitFor();
  await page.getByRole('heading', { level: 1 }).focus();
  await page.keyboard.press('Escape');
  await until(page, () => document.activeElement?.getAttribute('aria-label')?.includes('lake'));
});

test('Access.WindowsOverThePageKeepTheFocusAndGiveItBack', async () => {
  const page = await browser.open(standIn, SESSION, `/group/${group.id}`);
  await button(page, 'Invite').focus();
  await page.keyboard.press('Enter');
  await page.getByRole('dialog').waitFor();
  for (let step = 0; step < 8; ++step) {
    await page.keyboard.press('Tab');
    assert.ok(await page.evaluate(() => document.activeElement.closest('[role=dialog]') !== null));
  }
  await page.keyboard.press('Escape');
  await page.getByRole('dialog').waitFor({ state: 'detached' });
  assert.equal(await page.evaluate(() => document.activeElement.textContent), 'Invite');
});

test('Access.WindowsHaveTheFocusFromTheirFirstMomentOn', async () => {
  const page = await browser.open(standIn, SESSION, `/group/${group.id}`);
  await button(page, 'Invite').waitFor();
  const inside = await page.evaluate(async () => {
    [...document.querySelectorAll('button')].find((one) => one.textContent === 'Invite').click();
    // The page draws within the same task: until then there is nothing but to let that happen.
    for (let turn = 0; turn < 100 && document.querySelector('[role=dialog]') === null; ++turn) await null;
    return document.activeElement.closest('[role=dialog]') !== null;
  });
  assert.ok(inside, 'a key that is pressed at once would go elsewhere');
});

test('Access.NewViewsAreReadFromTheirHeading', async () => {
  const page = await browser.open(standIn, SESSION, '/');
  await link(page, 'My devices').click();
  await until(page, () => document.activeElement?.tagName === 'H1' && document.activeElement.textContent === 'My devices');
  assert.match(await page.title(), /^My devices/);
});

test('Access.SkipsToTheContent', async () => {
  const page = await browser.open(standIn, SESSION, `/group/${group.id}`);
  await until(page, () => document.querySelectorAll('[role=listitem] a').length > 0);
  await page.keyboard.press('Tab');
  await page.keyboard.press('Enter');
  await until(page, () => document.activeElement?.tagName === 'MAIN');
});
