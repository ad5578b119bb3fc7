// SPDX-License-Identifier: MIT
// The show: what it shows, in which order, how it looks, and how it begins and rests.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';
import { Browser, button, until } from '../support/browser.mjs';
import { PAGES } from '../support/modules.mjs';
import { drawAll } from './pictures.mjs';
import { LATE, focused, openView, slides, untilFocused, untilGrid, untilHash, untilSlides } from './screen.mjs';
import { startTelevision } from './standIn.mjs';

const browser = Browser.forTests();
let tv;
let group;
before(async () => {
  drawAll();
  tv = await startTelevision({ pages: PAGES, photos: 60, years: 3 });
  [group] = tv.state.groups;
});
afterEach(() => {
  tv.state.broken = () => false;
  tv.state.settings = { ...tv.state.settings, night: null, idle_minutes: 10 };
  tv.state.marked.clear();
});
after(() => tv.end());

const ids = async (page) => (await slides(page)).map((one) => one.id);

test('Show.OfAGroupGoesThroughItInOrder', async () => {
  // So long that no picture is too late for its turn.
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=1');
  await untilSlides(page, 8);
  assert.deepEqual((await ids(page)).slice(0, 8), group.slice(0, 8).map((one) => one.id));
  const [first] = await slides(page);
  assert.equal(first.group, '101');
});

test('Show.IsTrulyShuffledWithoutRepeats', async () => {
  // So long that no slide of before has to stand in for a picture that is late.
  const page = await openView(browser, tv, '#/group/101/show?order=shuffle&seconds=1');
  await untilSlides(page, 14);
  const seen = (await ids(page)).slice(0, 14);
  assert.equal(new Set(seen).size, 14);
  assert.notDeepEqual(seen, group.all().slice(0, 14).map((one) => one.id));
});

test('Show.OfAllGroupsShowsAllOfThem', async () => {
  const page = await openView(browser, tv, '#/show?seconds=0.1');
  await untilSlides(page, 72);
  const groups = new Set((await slides(page)).slice(0, 72).map((one) => one.group));
  assert.deepEqual([...groups].sort(), ['101', '102']);
});

test('Show.OfAMonthAndOfThisDayShowsThoseAlone', async () => {
  const month = group.item(30).created.slice(0, 7);
  const of = group.all().filter((one) => one.created.startsWith(month)).map((one) => one.id);
  const page = await openView(browser, tv, `#/group/101/show?of=${month}&seconds=0.2`);
  // One that is late comes behind another that is shown once more.
  await until(page, (wanted) => wanted.every((id) => performance.getEntriesByName('slide-shown').some((one) => one.detail.content === id)), of);
  await untilSlides(page, of.length + 1);
  assert.deepEqual([...new Set(await ids(page))].sort(), of.sort());
  const today = [tv.add(group, { time: Date.now() - 1000 }), tv.add(group, { time: new Date().setFullYear(new Date().getFullYear() - 2) })];
  const other = await openView(browser, tv, '#/show?of=day&seconds=0.2');
  await until(other, (wanted) => wanted.every((id) => performance.getEntriesByName('slide-shown').some((one) => one.detail.content === id)), today);
  const seen = new Set(await ids(other));
  const day = new Date().toISOString().slice(5, 10);
  for (const id of seen) assert.equal(tv.find(id).group.item(tv.find(id).index).created.slice(5, 10), day);
  for (const id of today) tv.remove(group, id);
});

test('Show.OfNothingSaysSoAndLeadsBack', async () => {
  const page = await openView(browser, tv, '#/group/101/show?of=1950-01');
  await page.getByRole('heading', { name: 'There is nothing to show here' }).waitFor();
  await page.keyboard.press('Escape');
  await untilHash(page, '#/group/101');
});

test('Show.BeginsWithThePhotoThatHadTheFocus', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  for (let step = 0; step < 3; ++step) await page.keyboard.press('ArrowRight');
  await page.keyboard.press('s');
  await untilSlides(page, 1);
  assert.equal((await ids(page))[0], group.item(3).id);
});

test('Show.HasThreeFullPicturesInTheDocumentAtMost', async () => {
  const page = await openView(browser, tv, '#/group/101/show?order=shuffle&seconds=2', { size: 'television' });
  await page.evaluate(() => {
    globalThis.most = 0;
    globalThis.pairs = 0;
    new MutationObserver(() => {
      globalThis.most = Math.max(globalThis.most, document.images.length);
      if (document.querySelectorAll('.show-caption').length === 2) globalThis.pairs += 1;
    }).observe(document, { childList: true, subtree: true });
  });
  await until(page, () => globalThis.pairs >= 1 && performance.getEntriesByName('slide-shown').length >= 6);
  assert.ok((await page.evaluate(() => globalThis.most)) <= 3);
});

test('Show.PutsTwoTallPicturesSideBySideAndAsksWhichIsMeant', async () => {
  const page = await openView(browser, tv, '#/group/101/show?order=shuffle&seconds=3');
  // Pressed in a frame that shows them: they do not stay for long.
  await until(page, () => {
    if (document.querySelectorAll('img.slide').length !== 2 || document.querySelectorAll('.show-caption').length !== 2) return false;
    for (const kind of ['keydown', 'keyup']) document.activeElement.dispatchEvent(new KeyboardEvent(kind, { key: 'm', bubbles: true }));
    return true;
  });
  await page.getByRole('dialog', { name: 'Mark' }).waitFor();
  const boxes = await page.evaluate(() => [...document.querySelectorAll('img.slide')].slice(-2).map((one) => [one.offsetLeft, one.offsetWidth, one.offsetHeight]));
  const [[left, width, height], [right]] = boxes.sort((a, b) => a[0] - b[0]);
  assert.ok(height > width && left + width <= right, JSON.stringify(boxes));
  const name = await focused(page);
  const isSaid = until(page, () => document.querySelector('.notice') !== null);
  await page.keyboard.press('Enter');
  await isSaid;
  assert.equal(tv.state.marked.size, 1);
  const [id] = tv.state.marked;
  assert.ok(name.length > 5 && tv.find(id) !== null);
});

test('Show.PansPanoramasFromEndToEnd', async () => {
  const panorama = group.all().find((one) => one.width / one.height > 2.5);
  const page = await openView(browser, tv, `#/group/101/show?order=time&seconds=60&from=${panorama.id}`);
  await untilSlides(page, 1);
  assert.equal((await ids(page))[0], panorama.id);
  const moved = await page.evaluate(async () => {
    const slide = document.querySelector('img.slide');
    const at = () => slide.getBoundingClientRect();
    const first = at();
    while (at().left === first.left) await new Promise(requestAnimationFrame);
    return { width: first.width, height: first.height, way: at().left - first.left, style: getComputedStyle(slide).transform };
  });
  assert.ok(moved.width > 1920, 'wider than the screen');
  assert.match(moved.style, /^matrix/);
});

test('Show.MovesByTransformsAndKeepsEveryPictureWhole', async () => {
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=2');
  await untilSlides(page, 3);
  const outside = await page.evaluate(() => {
    const found = [];
    for (const one of document.querySelectorAll('img.slide')) {
      const box = one.getBoundingClientRect();
      if (one.naturalWidth / one.naturalHeight < 2.2 && (box.top < -1 || box.left < -1 || box.right > innerWidth + 1 || box.bottom > innerHeight + 1)) found.push(one.src);
    }
    return found;
  });
  assert.deepEqual(outside, []);
  const kinds = await page.evaluate(() => [...new Set(document.getAnimations().flatMap((one) => one.effect.getKeyframes().flatMap((frame) => Object.keys(frame))))]);
  assert.deepEqual(kinds.filter((one) => !['transform', 'opacity', 'offset', 'computedOffset', 'easing', 'composite'].includes(one)), []);
});

test('Show.SkipsBrokenPicturesAndGoesOnInTime', async () => {
  const broken = new Set([1, 4, 5, 9].map((at) => group.item(at).id));
  tv.state.broken = (id) => broken.has(id);
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=1');
  await untilSlides(page, 10);
  const seen = await slides(page);
  assert.ok(seen.every((one) => !broken.has(one.id)));
  assert.deepEqual(seen.slice(0, 4).map((one) => one.id), [0, 2, 3, 6].map((at) => group.item(at).id));
  for (let at = 1; at < seen.length; ++at) assert.ok(seen[at].at - seen[at - 1].at < LATE, 'it never stands still');
  assert.equal(await page.getByRole('alert').count(), 0);
});

test('Show.SkipsPicturesThatAreNone', async () => {
  const id = group.item(2).id;
  tv.state.interfere = (_, url) => (url.pathname.startsWith(`/media/${id}/`) ? [200, 'This is no picture', { 'Content-Type': 'image/jpeg' }] : null);
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=0.4');
  await untilSlides(page, 5);
  tv.state.interfere = () => null;
  assert.ok(!(await ids(page)).includes(id));
});

test('Show.WelcomesNewPhotosWhileItRuns', async () => {
  // It does not wait for the end of a long slide, and is there long enough to be seen.
  const listening = tv.nextListener();
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=60');
  await untilSlides(page, 1);
  await listening;
  const id = tv.add(group, { description: 'Fresh from the oven' });
  await until(page, (wanted) => performance.getEntriesByName('slide-shown').some((one) => one.detail.content === wanted), id);
  await page.getByText(/New from|A new photo/).waitFor();
  tv.remove(group, id);
});

test('Show.LetsGoWhatWasDeletedAtOnce', async () => {
  const id = tv.add(group, {});
  const page = await openView(browser, tv, `#/group/101/show?order=time&seconds=60&from=${id}`);
  await untilSlides(page, 1);
  assert.equal((await ids(page))[0], id);
  tv.remove(group, id);
  await untilSlides(page, 2);
  await until(page, (gone) => [...document.images].every((image) => !image.src.includes(gone)), id);
});

test('Show.LetsGoWhatWasDeletedWhileNobodyCouldTell', async () => {
  const id = tv.add(group, {});
  tv.state.interfere = (request, url) => (url.pathname === '/api/events' ? [503, { error: 'busy', message: '' }, { 'Retry-After': '1' }] : null);
  const page = await openView(browser, tv, `#/group/101/show?order=time&seconds=600&from=${id}`);
  await untilSlides(page, 1);
  assert.equal((await ids(page))[0], id);
  tv.remove(group, id);
  tv.state.interfere = () => null;
  await untilSlides(page, 2);
  await until(page, (gone) => [...document.images].every((image) => !image.src.includes(gone)), id);
});

test('Show.EndsForAGroupThatIsNotSharedAnyMore', async () => {
  const page = await openView(browser, tv, '#/group/102/show?seconds=60');
  await untilSlides(page, 1);
  const gone = tv.state.groups.pop();
  tv.tell('groups', {});
  await untilHash(page, '#/groups');
  tv.state.groups.push(gone);
});

test('Show.RestsByNightAndShowsPicturesForAnyKey', async () => {
  const now = new Date();
  const hour = (by) => `${String((now.getHours() + by + 24) % 24).padStart(2, '0')}:00`;
  // The browser's clock is in Berlin; a night of most of the day is night wherever it is.
  tv.state.settings = { ...tv.state.settings, night: { from: hour(-6), to: hour(8) }, idle_minutes: 1 };
  const context = await browser.context('television');
  const page = await context.newPage();
  await page.clock.install();
  await page.goto(`${tv.url}/?lang=en#/show?seconds=2`);
  await until(page, () => document.querySelector('main') !== null);
  await page.clock.runFor(150_000);
  await page.getByText('Any key shows pictures.').waitFor();
  await until(page, () => document.images.length === 0);
  await page.keyboard.press('ArrowRight');
  await page.clock.runFor(3000);
  await page.getByText('Any key shows pictures.').waitFor({ state: 'detached' });
  await until(page, () => document.images.length > 0);
});

test('Show.StartsByItselfWhenNobodyPressesAnything', async () => {
  tv.state.settings = { ...tv.state.settings, idle_minutes: 2 };
  const context = await browser.context('television');
  const page = await context.newPage();
  await page.clock.install();
  await page.goto(`${tv.url}/?lang=en#/groups`);
  await page.getByRole('list', { name: 'Groups' }).waitFor();
  await page.clock.runFor(100_000);
  await page.keyboard.press('ArrowRight');
  await page.clock.runFor(100_000);
  assert.ok(page.url().endsWith('#/groups'), 'somebody was there');
  await page.clock.runFor(30_000);
  await untilHash(page, '#/show');
  await page.clock.runFor(2000);
  await page.keyboard.press('Escape');
  await page.clock.runFor(500);
  await untilHash(page, '#/groups');
});

test('Show.LeavesNothingOnOneSpotForEver', async () => {
  const context = await browser.context('television');
  const page = await context.newPage();
  await page.clock.install();
  await page.goto(`${tv.url}/?lang=en#/show?seconds=20`);
  await page.clock.runFor(1000);
  await page.locator('.clock').waitFor();
  const spots = new Set();
  for (let minute = 0; minute < 40; minute += 4) {
    await page.clock.fastForward(240_000);
    spots.add(await page.evaluate(() => { const box = document.querySelector('.clock').getBoundingClientRect(); return `${Math.round(box.left)} ${Math.round(box.top)}`; }));
  }
  assert.ok(spots.size >= 6, [...spots].join(', '));
});

test('Show.TellsTheProgramWhatComesNext', async () => {
  const page = await openView(browser, tv, '#/group/101/show?order=time&seconds=1');
  await untilSlides(page, 2);
  // The page knows few photos at first, and tells of them in its own time.
  await page.waitForResponse((response) => response.url().endsWith('/api/watching') && response.request().postDataJSON().contents.length >= 20);
  const upcoming = [...tv.state.watched.values()].at(-1);
  assert.ok(upcoming.length >= 20, String(upcoming.length));
  assert.ok(upcoming.every((id) => group.indexOf(id) >= 0));
});

test('Guests.CodeStandsOnTheRunningShow', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  await button(page, 'Guests’ photos').click();
  await until(page, () => location.hash.includes('/show'));
  await page.getByRole('region', { name: 'Add your photos' }).getByRole('img').waitFor();
  tv.state.guests = { ...tv.state.guests, left: { count: 49, bytes: 1e9 }, transfers: [{ id: '1', name: 'IMG_1.jpg', sent: 50, size: 100, state: 'sending' }] };
  tv.tell('guests', tv.state.guests);
  const bar = page.getByRole('progressbar', { name: 'IMG_1.jpg is on its way' });
  await bar.waitFor();
  assert.equal(await bar.getAttribute('aria-valuenow'), '50');
  await page.keyboard.press('ArrowDown');
  await button(page, 'No more guests’ photos').click();
  await page.getByRole('region', { name: 'Add your photos' }).waitFor({ state: 'detached' });
  assert.equal(tv.state.guests, null);
});

test('Guests.AreNotLetInAnyMoreWhenTheShowIsLeft', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  await button(page, 'Guests’ photos').click();
  await page.getByRole('region', { name: 'Add your photos' }).getByRole('img').waitFor();
  const ended = page.waitForResponse((response) => response.request().method() === 'DELETE' && response.url().endsWith('/api/guests'));
  await page.keyboard.press('Escape');
  await ended;
  assert.equal(tv.state.guests, null);
});

test('Show.GoesAsManyMonthsAsTheChannelKeyWasPressed', async () => {
  const months = group.months().months.map(({ month }) => month);
  for (const [from, view] of [[1, `#/group/101/show?of=${months[1]}&seconds=60`], [0, `#/group/101/photo/${group.item(0).id}`]]) {
    const page = await openView(browser, tv, view);
    await (view.includes('/show') ? untilSlides(page, 1) : until(page, () => document.querySelector('img.sharp') !== null));
    // All three before anything could be asked for.
    await page.evaluate(() => {
      for (let press = 0; press < 3; ++press) {
        for (const kind of ['keydown', 'keyup']) document.activeElement.dispatchEvent(new KeyboardEvent(kind, { key: 'PageDown', bubbles: true }));
      }
    });
    const wanted = months[from + 3];
    if (view.includes('/show')) await until(page, (month) => location.hash.includes(month), wanted);
    else await untilHash(page, `#/group/101/photo/${group.all().find(({ created }) => created.startsWith(wanted)).id}`);
    await page.context().close();
  }
});

test('Guests.AreOnlyLetInWhereThatWasSwitchedOn', async () => {
  tv.state.lan = false;
  const page = await openView(browser, tv, '#/group/101');
  await untilFocused(page, '');
  await button(page, 'Guests’ photos').click();
  await page.getByRole('alert').getByText('not switched on').waitFor();
  tv.state.lan = true;
});
