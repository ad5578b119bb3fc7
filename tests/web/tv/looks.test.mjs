// SPDX-License-Identifier: MIT
// The television's views as pictures, beside those of pictures/. KINLOOM_UPDATE_PICTURES=1 takes them anew.
import { after, before, test } from 'node:test';
import { Browser, until } from '../support/browser.mjs';
import { compare } from '../support/looks.mjs';
import { PAGES } from '../support/modules.mjs';
import { untilGrid } from './screen.mjs';
import { startTelevision } from './standIn.mjs';

const browser = Browser.forTests();
/** The clock on the wall of every picture. */
const NOW = new Date('2026-11-22T11:00:00Z');
let tv;
before(async () => {
  tv = await startTelevision({ pages: PAGES, photos: 120, today: new Date('2026-11-22T12:00:00Z') });
  tv.state.comments.set('101000', [
    { id: '1', text: 'What a morning! We were up at six to see the sun rise over the lake.', written: '2026-11-20T10:00:00+01:00', author: { id: '4', name: 'Ben' } },
    { id: '2', text: 'Grandma wants a print of this one.', written: '2026-11-21T09:00:00+01:00', author: { id: '3', name: 'Anna' } },
  ]);
  tv.state.marked.add('101001');
});
after(() => tv.end());

const sharp = (page) => until(page, () => document.querySelector('img.sharp') !== null);
/** Under a clock that stands still marks are not told. */
const slide = (page) => until(page, () => document.querySelector('img.slide') !== null);
const VIEWS = {
  groups: ['#/groups', (page) => page.getByRole('list').waitFor(), []],
  group: ['#/group/101', (page) => untilGrid(page, 6), ['ArrowRight', 'ArrowDown']],
  rail: ['#/group/101', (page) => untilGrid(page, 6), ['ArrowLeft', 'ArrowDown']],
  photo: ['#/group/101/photo/101000', sharp, []],
  comments: ['#/group/101/photo/101000', sharp, ['Enter']],
  show: ['#/group/101/show?order=time&seconds=900&from=101000', slide, []],
  controls: ['#/group/101/show?order=time&seconds=900&from=101000', slide, ['ArrowDown']],
  settings: ['#/settings', (page) => page.getByRole('spinbutton').first().waitFor(), []],
  keys: ['#/groups', (page) => page.getByRole('list').waitFor(), ['F1']],
};

async function take(name, [hash, there, keys], size) {
  const context = await browser.context(size, { reducedMotion: 'reduce' });
  const page = await context.newPage();
  // Clocks and what wanders stand still.
  await page.clock.setFixedTime(NOW);
  await page.goto(`${tv.url}/?lang=en${hash}`);
  await there(page);
  for (const key of keys) await page.keyboard.press(key);
  if (keys.includes('Enter')) await page.getByRole('article').first().waitFor();
  await until(page, () => [...document.images].every((image) => image.complete) && document.querySelector('[aria-busy=true]') === null);
  // What goes when nothing is pressed for a while comes back by any key, and stays while keys are pressed.
  await page.evaluate(() => {
    const press = () => document.activeElement.dispatchEvent(new KeyboardEvent('keydown', { key: 'Shift', bubbles: true }));
    press();
    setInterval(press, 500);
  });
  await until(page, () => document.querySelector('.is-calm') === null);
  await compare(page, `tv-${name}-${size}`);
  await context.close();
}

for (const [size, which] of [['television', 'A'], ['oldTelevision', 'AnOld'], ['largeTelevision', 'ALarge']]) {
  test(`Looks.AreAsTheyWereOn${which}Television`, async () => {
    for (const [name, view] of Object.entries(VIEWS)) await take(name, view, size);
  });
}

test('Looks.OfTheFirstStartAreAsTheyWere', async () => {
  tv.setPaired(false);
  await take('pair', ['#/pair', (page) => page.getByText('BCDF-GHJK').waitFor(), []], 'television');
  tv.setPaired(true);
});
