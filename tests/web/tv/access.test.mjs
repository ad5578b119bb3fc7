// SPDX-License-Identifier: MIT
// The television's page for everybody: what a checker of accessibility finds, what fits on which panel, what can be read from a sofa.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { Browser, TELEVISIONS, until } from '../support/browser.mjs';
import { axeSource, PAGES } from '../support/modules.mjs';
import { openView, untilGrid, untilSlides } from './screen.mjs';
import { startTelevision } from './standIn.mjs';

const browser = Browser.forTests();
let tv;
let photo;
before(async () => {
  tv = await startTelevision({ pages: PAGES, photos: 200 });
  photo = tv.state.groups[0].item(2);
  tv.state.comments.set(photo.id, [{ id: '1', text: 'What a morning!', written: '2026-11-20T10:00:00+01:00', author: { id: '4', name: 'Ben' } }]);
  tv.state.marked.add(photo.id);
});
after(() => tv.end());

const sharp = (page) => until(page, () => document.querySelector('img.sharp') !== null);
/** Every view: its address, what shows that it is there, and keys that lead on. */
const views = () => ({
  groups: ['#/groups', (page) => page.getByRole('list').waitFor(), []],
  group: ['#/group/101', (page) => untilGrid(page), []],
  rail: ['#/group/101', (page) => untilGrid(page), ['ArrowLeft']],
  photo: [`#/group/101/photo/${photo.id}`, sharp, []],
  comments: [`#/group/101/photo/${photo.id}`, sharp, ['Enter']],
  show: ['#/group/101/show?seconds=60', (page) => untilSlides(page, 1), []],
  controls: ['#/group/101/show?seconds=60', (page) => untilSlides(page, 1), ['ArrowDown']],
  settings: ['#/settings', (page) => page.getByRole('spinbutton').first().waitFor(), []],
  marked: ['#/marked', (page) => untilGrid(page, 1), []],
  hidden: ['#/hidden', (page) => page.locator('.empty').waitFor(), []],
  keys: ['#/groups', (page) => page.getByRole('list').waitFor(), ['F1']],
});

async function complaints(page) {
  // Evaluated from outside, where the page's policy does not reach.
  await page.evaluate(axeSource);
  const { violations } = await page.evaluate(() => globalThis.axe.run(document, { resultTypes: ['violations'] }));
  return violations.map((one) => `${one.id}: ${one.help} (${one.nodes.map((node) => node.html.slice(0, 120)).slice(0, 3).join(' | ')})`);
}

/** Goes through views, one after the other on one screen, each loaded anew. */
async function visit(names, look, options = {}) {
  const { lang = 'en' } = options;
  const page = await openView(browser, tv, '#/groups', options);
  for (const name of names) {
    const [hash, there, keys] = views()[name];
    await page.goto('about:blank');
    await page.goto(`${tv.url}/?lang=${lang}${hash}`);
    await there(page);
    for (const key of keys) await page.keyboard.press(key);
    if (keys.includes('Enter')) await page.getByRole('dialog').waitFor();
    await look(page, name);
  }
  await page.context().close();
}

test('Access.IsFoundWithoutFaultInEveryView', () =>
  visit(Object.keys(views()), async (page, name) => {
    assert.deepEqual(await complaints(page), [], name);
  }));

test('Access.OfTheFirstStartIsFoundWithoutFault', async () => {
  tv.setPaired(false);
  const page = await openView(browser, tv, '#/pair');
  await page.getByText('BCDF-GHJK').waitFor();
  assert.deepEqual(await complaints(page), []);
  tv.setPaired(true);
});

test('Access.HasAHeadingAMainAFocusAndASilentStatusInEveryView', () =>
  visit(Object.keys(views()), async (page, name) => {
    assert.equal(await page.getByRole('heading', { level: 1 }).count(), 1, name);
    assert.equal(await page.getByRole('main').count(), 1, name);
    assert.equal(await page.getByRole('status').textContent(), '', name);
    assert.equal(await page.getByRole('alert').count(), 0, name);
    assert.notEqual(await page.evaluate(() => document.activeElement.tagName), 'BODY', name);
    const silent = await page.evaluate(() => [...document.querySelectorAll('a, button, input, [role=gridcell], [role=spinbutton], [role=switch]')].filter((one) => !(one.getAttribute('aria-label') ?? one.textContent).trim()).map((one) => one.outerHTML.slice(0, 100)));
    assert.deepEqual(silent, [], name);
  }));

/** Words and controls beyond the margin that televisions may cut off, texts that are too small, words that are cut. */
const faults = () => {
  const found = [];
  const [x, y] = [innerWidth * 0.05 - 1, innerHeight * 0.05 - 1];
  const least = (20 * Math.min(innerHeight / 1080, innerWidth / 1920)) - 0.1;
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  for (let node = walker.nextNode(); node !== null; node = walker.nextNode()) {
    const one = node.parentElement;
    if (node.data.trim() === '' || one.closest('.unseen, [aria-hidden=true]:not(.setting *), noscript') !== null) continue;
    const range = document.createRange();
    range.selectNodeContents(node);
    const box = range.getBoundingClientRect();
    if (box.width === 0 || box.height === 0) continue;
    const size = parseFloat(getComputedStyle(one).fontSize);
    if (size < least) found.push(`${size} px: ${node.data.slice(0, 30)}`);
    // What scrolls is cut where it is.
    if (one.closest('.grid, .comments') !== null) continue;
    const clip = one.closest('.head p, .head h1, .card-name, .caption .lead');
    if (clip !== null) continue;
    if (box.left < x || box.right > innerWidth - x || box.top < y || box.bottom > innerHeight - y) found.push(`beyond the margin: ${node.data.slice(0, 30)} ${[box.left, box.top, box.right, box.bottom].map(Math.round)}`);
  }
  for (const one of document.querySelectorAll('button:not(.rail button), [role=gridcell], .setting')) {
    const box = one.getBoundingClientRect();
    const side = 74 * Math.min(innerHeight / 1080, innerWidth / 1920);
    if (box.width > 0 && (box.height < side || box.width < side)) found.push(`too small to be hit: ${one.outerHTML.slice(0, 60)}`);
  }
  return found;
};

for (const size of Object.keys(TELEVISIONS)) {
  test(`Access.EverythingFitsAndIsReadableOn${size[0].toUpperCase()}${size.slice(1)}`, async () => {
    // Everything grows with the panel: what fits on one in the longer language fits on all.
    for (const lang of size === 'television' ? ['en', 'de'] : ['en']) {
      await visit(
        Object.keys(views()),
        async (page, name) => {
          await page.evaluate(() => document.fonts.ready);
          assert.deepEqual(await page.evaluate(faults), [], `${name} in ${lang}`);
        },
        { size, lang },
      );
    }
  });
}

test('Access.FocusIsSeenFromASofa', () =>
  visit(['groups', 'group', 'rail', 'comments', 'controls', 'settings', 'keys'], async (page, name) => {
    if (name === 'controls') await until(page, () => document.activeElement.tagName === 'BUTTON');
    const ring = await page.evaluate(() => {
      const one = document.activeElement.querySelector('.card-picture') ?? document.activeElement;
      return getComputedStyle(one).boxShadow;
    });
    assert.match(ring, /rgb\(255, 209, 102\) 0px 0px 0px 8\.4px/, `${name}: ${ring}`);
  }));
