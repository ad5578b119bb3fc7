// SPDX-License-Identifier: MIT
// The television's views, moved through by a remote control's arrows.
import assert from 'node:assert/strict';
import { after, afterEach, before, test } from 'node:test';
import { Browser, button, until } from '../support/browser.mjs';
import { PAGES } from '../support/modules.mjs';
import { ListGroup } from './groups.mjs';
import { focused, openView, place, slides, status, untilFocused, untilGrid, untilHash, untilPlace } from './screen.mjs';
import { PHRASES, startTelevision } from './standIn.mjs';

const browser = Browser.forTests();
const TODAY = new Date('2026-11-22T12:00:00Z');
let tv;
before(async () => {
  tv = await startTelevision({ pages: PAGES, today: TODAY });
});
afterEach(() => {
  tv.state.interfere = () => null;
  tv.state.comments.clear();
  tv.state.marked.clear();
});
after(() => tv.end());

const press = async (page, ...keys) => {
  for (const key of keys) await page.keyboard.press(key);
};

test('Pairing.ShowsACodeAndGoesOnByItself', async () => {
  tv.setPaired(false);
  const page = await openView(browser, tv, '');
  await untilHash(page, '#/pair');
  await page.getByRole('heading', { name: 'Connect this television' }).waitFor();
  assert.equal(await page.getByRole('group', { name: 'Code' }).textContent(), 'BCDF-GHJK');
  await page.getByRole('img', { name: 'QR code' }).waitFor();
  assert.ok((await page.textContent('main')).includes('photos.example/pair'));
  assert.equal(await status(page), '');
  tv.setPaired(true);
  await page.getByRole('list', { name: 'Groups' }).waitFor();
  await untilFocused(page, 'Holidays');
});

test('Pairing.SaysThatItWasRefusedAndBeginsAnew', async () => {
  tv.setPaired(false);
  tv.setPairing({ state: 'denied' });
  const page = await openView(browser, tv, '#/pair');
  await page.getByRole('alert').getByText('refused').waitFor();
  await untilFocused(page, 'New code');
  await press(page, 'Enter');
  await page.getByText('BCDF-GHJK').waitFor();
  assert.equal(await page.getByRole('alert').count(), 0);
  tv.setPaired(true);
  await untilHash(page, '#/groups');
});

test('Pairing.ThatIsOverAMomentBeforeItIsToldLeavesThePageWhole', async () => {
  tv.setPaired(false);
  const page = await openView(browser, tv, '#/groups');
  await page.getByRole('group', { name: 'Code' }).waitFor();
  tv.setPairing({ user_code: null, verification_uri: null, verification_uri_complete: null, expires_in: null, qr: null });
  await page.getByText('One moment').waitFor();
  tv.setPaired(true);
  await untilFocused(page, 'Holidays');
});

test('Page.MakesAViewAnewThatHasFailed', async () => {
  let broken = true;
  const page = await (await browser.context('television')).newPage();
  await page.route('**/api/groups', async (route) => {
    const response = await route.fetch();
    const { groups } = await response.json();
    await route.fulfill({ json: { groups: broken ? groups.map((group) => ({ ...group, name: null })) : groups } });
  });
  const told = page.waitForEvent('console', (message) => message.type() === 'error');
  await page.goto(`${tv.url}/?lang=en#/groups`);
  await told;
  broken = false;
  tv.tell('groups', {});
  await page.getByRole('link', { name: 'Holidays' }).waitFor();
});

test('Groups.AreAListWithThePlacesWhereOneWas', async () => {
  const page = await openView(browser, tv, '#/groups');
  const items = page.getByRole('list', { name: 'Groups' }).getByRole('listitem');
  await untilFocused(page, 'Holidays');
  assert.equal(await items.count(), 2);
  assert.ok((await items.first().textContent()).includes('120 photos'));
  await press(page, 'ArrowRight');
  await untilFocused(page, 'Grandparents');
  await press(page, 'ArrowUp');
  assert.ok(['Start show', 'On this day'].includes(await focused(page)));
  await press(page, 'ArrowDown');
  await untilFocused(page, 'Grandparents');
  await press(page, 'Enter');
  await page.getByRole('grid', { name: 'Grandparents' }).waitFor();
  await untilPlace(page, 0);
  await press(page, 'Escape');
  await untilFocused(page, 'Grandparents');
});

test('Groups.ThatComeWhileTheyAreReadAreNotMissed', async () => {
  const page = await (await browser.context('television')).newPage();
  let free;
  const held = new Promise((resolve) => (free = resolve));
  let asked = 0;
  // The first answer is from before there were any, and comes when the page has heard of them already.
  await page.route('**/api/groups', async (route) => {
    asked += 1;
    if (asked > 1) return route.continue();
    await held;
    await route.fulfill({ json: { groups: [] } });
  });
  await page.goto(`${tv.url}/?lang=en#/groups`);
  await page.getByRole('heading', { name: 'Groups' }).waitFor();
  tv.setService('away');
  await until(page, () => document.querySelector('[role=status]').textContent !== '');
  tv.tell('groups', {});
  tv.setService('ok');
  await until(page, () => document.querySelector('[role=status]').textContent === '');
  free();
  await untilFocused(page, tv.state.groups[0].name);
});

test('Groups.ComeWhileOneIsBeingReadWithoutAPause', async () => {
  const [kept, group] = [tv.state.groups, tv.state.groups[0]];
  tv.state.groups = [];
  const page = await openView(browser, tv, '#/groups');
  await page.getByText('No groups yet').waitFor();
  // The program tells how far it is more often than the page waits, and while each of its answers is on the way.
  let afterNext = [];
  const telling = setInterval(() => {
    tv.tell('index', { group: group.id, complete: false, total: 5 });
    for (const told of afterNext.splice(0)) told();
  }, 100);
  await page.route(/\/api\/groups(\/\d+\/months)?$/, async (route) => {
    for (let more = 0; more < 2; ++more) await new Promise((told) => afterNext.push(told));
    await route.continue();
  });
  try {
    tv.state.groups = kept;
    tv.tell('groups', {});
    await untilFocused(page, 'Holidays');
    await page.keyboard.press('Enter');
    await untilGrid(page);
    const id = group.add({ time: TODAY.getTime() });
    await until(page, (added) => [...document.images].some((image) => image.src.includes(added)), id);
    group.remove(id);
  } finally {
    clearInterval(telling);
  }
});

test('Groups.OfManyAreNotAllInTheDocument', async () => {
  const kept = tv.state.groups;
  tv.state.groups = Array.from({ length: 90 }, (_, at) => new ListGroup(String(200 + at), `Group ${at + 1}`, 3));
  const page = await openView(browser, tv, '#/groups');
  try {
    await untilFocused(page, 'Group 1');
    for (let step = 0; step < 29; ++step) await press(page, 'ArrowDown');
    await untilFocused(page, 'Group 88');
    assert.ok((await page.evaluate(() => document.getElementsByTagName('*').length)) < 400);
    assert.equal(await page.locator('[aria-setsize="90"][aria-posinset="88"]').count(), 1);
  } finally {
    tv.state.groups = kept;
  }
});

test('Group.IsAGridOfPhotosByMonthNamedByDateAndDescription', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  await untilPlace(page, 0);
  await page.getByRole('heading', { level: 1, name: 'Holidays', exact: true }).waitFor();
  assert.ok(await page.getByRole('columnheader', { name: 'November 2026' }).isVisible());
  const cells = page.getByRole('gridcell');
  assert.match(await cells.first().getAttribute('aria-label'), /^22 November 2026 at 11:00$/);
  assert.ok((await page.getByRole('gridcell', { name: /At the lake|Grandma|First snow/ }).count()) >= 1);
  await until(page, () => performance.getEntriesByName('first-picture').length > 0);
  const marks = await page.evaluate(() => performance.getEntriesByName('first-picture').map((one) => one.detail));
  assert.equal(marks.length, 1);
  assert.deepEqual(Object.keys(marks[0]).sort(), ['content', 'group']);
});

test('Group.FetchesItsFirstPicturesBeforeItsMonthsAreKnown', async () => {
  let free;
  const held = new Promise((resolve) => (free = resolve));
  const context = await browser.context('television');
  const page = await context.newPage();
  await page.route('**/months', async (route) => held.then(() => route.continue()).catch(() => undefined));
  const picture = page.waitForRequest('**/media/*/grid');
  await page.goto(`${tv.url}/?lang=en#/group/101`);
  await picture;
  free();
  await untilGrid(page);
});

test('Group.MovesTheFocusByColumnsRowsAndMonths', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  const months = tv.state.groups[0].months().months;
  await press(page, 'ArrowRight');
  await untilPlace(page, 1);
  await press(page, 'ArrowDown');
  // The next row is that of the next month, in the same column.
  await untilPlace(page, months[1].index + 1);
  await press(page, 'ArrowUp');
  await untilPlace(page, 1);
  await press(page, 'PageDown', 'PageDown');
  await untilPlace(page, months[2].index);
  await press(page, 'PageUp');
  await untilPlace(page, months[1].index);
  await press(page, 'PageUp', 'ArrowUp');
  assert.equal(await place(page), -1);
  assert.equal(await focused(page), 'Start show');
  await press(page, 'ArrowRight', 'ArrowDown');
  await untilPlace(page, 0);
});

test('Group.JumpsByTheRailOfYearsAndMonths', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  await press(page, 'ArrowLeft');
  await untilFocused(page, 'November 2026');
  await press(page, 'ArrowDown', 'ArrowDown');
  await untilFocused(page, 'September 2026');
  const months = tv.state.groups[0].months().months;
  await press(page, 'ArrowRight');
  await untilPlace(page, months.find((one) => one.month === '2026-09').index);
  await page.getByRole('navigation', { name: 'Years and months' }).getByRole('button', { name: '2025', exact: true }).click();
  await press(page, 'Enter');
  await untilPlace(page, months.find((one) => one.month.startsWith('2025')).index);
});

test('Group.SaysThatItIsStillBeingReadAndReachesItsMonthsMeanwhile', async () => {
  const [group] = tv.state.groups;
  group.complete = false;
  const page = await openView(browser, tv, '#/group/101');
  try {
    await untilGrid(page);
    await page.getByText(/Still reading this group: \d+ %/).waitFor();
    const { months } = group.months();
    const unknown = months.findLast((one) => one.count === null).month;
    await press(page, 'ArrowLeft');
    for (let step = 0; step < months.length + 6; ++step) await press(page, 'ArrowDown');
    await press(page, 'ArrowRight');
    await until(page, (month) => document.activeElement.getAttribute('aria-label')?.includes(month) === true, new Intl.DateTimeFormat('en-GB', { month: 'long', year: 'numeric' }).format(new Date(`${unknown}-15`)));
    group.complete = true;
    tv.tell('index', { group: '101', complete: true, total: group.total });
    await page.getByText(/Still reading/).waitFor({ state: 'detached' });
    // What had the focus has it still, at its true place.
    const last = group.all().findIndex((one) => one.created.startsWith(unknown));
    await until(page, (least) => Number(document.activeElement.dataset.place) >= least, last);
  } finally {
    group.complete = true;
  }
});

test('Group.ReachesAMonthAlsoWhenTheIndexGrowsMeanwhile', async () => {
  const [group] = tv.state.groups;
  group.complete = false;
  const page = await openView(browser, tv, '#/group/101');
  try {
    await untilGrid(page);
    const { months } = group.months();
    const unknown = months.findLast((one) => one.count === null).month;
    let free;
    const held = new Promise((resolve) => (free = resolve));
    // What a browser gave up is answered by nobody.
    await page.route(`**/contents?month=${unknown}*`, async (route) => held.then(() => route.continue()).catch(() => undefined));
    const isAsked = page.waitForRequest(`**/contents?month=${unknown}*`);
    await press(page, 'ArrowLeft');
    for (let step = 0; step < months.length + 6; ++step) await press(page, 'ArrowDown');
    await isAsked;
    const isReadAgain = page.waitForResponse('**/months');
    tv.tell('index', { group: '101', complete: false, total: group.total });
    await (await isReadAgain).finished();
    await page.evaluate(() => new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve))));
    free();
    await press(page, 'ArrowRight');
    await until(page, (month) => document.activeElement.getAttribute('aria-label')?.includes(month) === true, new Intl.DateTimeFormat('en-GB', { month: 'long', year: 'numeric' }).format(new Date(`${unknown}-15`)));
  } finally {
    group.complete = true;
  }
});

test('Group.TakesInWhatComesAndLetsGoWhatGoes', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  await press(page, 'ArrowRight');
  await untilPlace(page, 1);
  const name = await focused(page);
  const id = tv.add(tv.state.groups[0], { time: TODAY.getTime(), description: 'Just now' });
  await page.getByRole('gridcell', { name: 'Just now' }).waitFor();
  // The focus stays with its photo.
  await untilPlace(page, 2);
  assert.equal(await focused(page), name);
  tv.remove(tv.state.groups[0], id);
  await page.getByRole('gridcell', { name: 'Just now' }).waitFor({ state: 'detached' });
  await untilPlace(page, 1);
});

test('Group.WithoutPhotosSaysSo', async () => {
  tv.state.groups.push(new ListGroup('103', 'New house', 0));
  const page = await openView(browser, tv, '#/group/103');
  await page.getByRole('heading', { name: 'No photos here yet' }).waitFor();
  await untilFocused(page, 'Start show');
  tv.state.groups.pop();
});

test('Photo.TellsWhenWhoAndWhere', async () => {
  const page = await openView(browser, tv, '#/group/101');
  await untilGrid(page);
  const name = await focused(page);
  await press(page, 'Enter');
  await page.getByRole('img', { name }).first().waitFor();
  await until(page, () => document.querySelector('img.sharp')?.naturalWidth >= 1440);
  await page.getByText(/by (Anna|Ben|Rose) · 1 of 120/).waitFor();
  assert.equal(await focused(page), name);
  await press(page, 'ArrowRight');
  await page.getByText('2 of 120').waitFor();
  await press(page, 'ArrowRight', 'ArrowLeft', 'ArrowLeft', 'ArrowLeft');
  await page.getByText('1 of 120').waitFor();
  await press(page, 'ArrowRight');
  await page.getByText('2 of 120').waitFor();
  await press(page, 'Escape');
  await untilPlace(page, 1);
});

test('Photo.AndShowAreThereBeforeTheServiceHasToldTheRest', async () => {
  const page = await openView(browser, tv, '#/group/101');
  let free;
  const held = new Promise((resolve) => (free = resolve));
  await page.route(/\/api\/contents\/\w+$/, async (route) => held.then(() => route.continue()).catch(() => undefined));
  await untilGrid(page);
  await press(page, 'ArrowRight', 'Enter');
  await until(page, () => document.querySelector('img.sharp') !== null);
  assert.equal(await page.getByText(/ of \d/).count(), 0, 'how many there are is not known yet');
  await press(page, 's');
  await until(page, () => performance.getEntriesByName('slide-shown').length > 0);
  assert.equal((await slides(page))[0].id, tv.state.groups[0].item(1).id);
  free();
  await press(page, 'Escape');
  await page.getByText('2 of 120').waitFor();
});

test('Photo.HasItsCommentsAtOneKeyAndAPhraseAtOneMore', async () => {
  const id = tv.state.groups[0].item(0).id;
  tv.state.comments.set(id, [{ id: '1', text: '<b>What</b> a morning!', written: '2026-11-20T10:00:00+01:00', author: { id: '4', name: 'Ben' } }]);
  const page = await openView(browser, tv, `#/group/101/photo/${id}`);
  await until(page, () => document.querySelector('img.sharp') !== null);
  await press(page, 'Enter');
  const said = page.getByRole('article');
  await said.first().waitFor();
  assert.ok((await said.first().textContent()).includes('<b>What</b> a morning!'));
  assert.equal(await focused(page), PHRASES[0]);
  await press(page, 'Enter');
  await until(page, () => document.querySelectorAll('article').length === 2);
  assert.equal(tv.state.comments.get(id)[1].text, PHRASES[0]);
  // The program may tell of the comment before it answers.
  await page.getByRole('button', { name: 'Send', disabled: false }).waitFor();
  // A text of one's own, from a keyboard.
  await page.getByRole('textbox', { name: 'Comment' }).fill('From the sofa');
  await button(page, 'Send').click();
  await until(page, () => document.querySelectorAll('article').length === 3);
  assert.equal(tv.state.comments.get(id)[2].text, 'From the sofa');
  await press(page, 'Escape');
  await page.getByRole('dialog').waitFor({ state: 'detached' });
});

test('Photo.OfAThousandCommentsShowsSomeAtATime', async () => {
  const id = tv.state.groups[0].item(3).id;
  tv.state.comments.set(id, Array.from({ length: 1000 }, (_, at) => ({ id: String(at), text: `Comment ${at}`, written: null, author: { id: '4', name: 'Ben' } })));
  const page = await openView(browser, tv, `#/group/101/photo/${id}`);
  await page.getByRole('button', { name: 'Comment' }).waitFor();
  await press(page, 'c');
  await page.getByText('Comment 999').waitFor();
  assert.ok((await page.evaluate(() => document.getElementsByTagName('*').length)) < 400);
  for (let step = 0; step < 60; ++step) await press(page, 'ArrowUp');
  await page.getByText('Comment 945', { exact: true }).waitFor();
});

test('Photo.IsMarkedAndHiddenFromTheCouch', async () => {
  const [group] = tv.state.groups;
  const { id } = group.item(4);
  const page = await openView(browser, tv, `#/group/101/photo/${id}`);
  await button(page, 'Mark').click();
  await page.locator('button[aria-pressed=true]').waitFor();
  assert.ok(tv.state.marked.has(id));
  await page.keyboard.press('m');
  await page.locator('button[aria-pressed=false]').waitFor();
  assert.ok(!tv.state.marked.has(id));
  await button(page, 'Hide').click();
  await until(page, (gone) => !location.hash.includes(gone), id);
  await page.getByText('of 119').waitFor();
  assert.ok(tv.state.hidden.has(id));
  // Settings bring it back.
  await page.goto(`${tv.url}/?lang=en#/hidden`);
  await untilGrid(page, 1);
  await press(page, 'Enter');
  await page.getByRole('heading', { name: 'Nothing is hidden' }).waitFor();
  assert.ok(!tv.state.hidden.has(id));
});

test('Photo.ThatIsTheOnlyOneIsHiddenAndItsGroupSeen', async () => {
  const group = tv.state.groups[1];
  const [{ id }, ...others] = group.all();
  for (const one of others) group.hide(one.id);
  const page = await openView(browser, tv, `#/group/102/photo/${id}`);
  await page.getByText('1 of 1').waitFor();
  await button(page, 'Hide').click();
  await page.getByRole('heading', { name: 'No photos here yet' }).waitFor();
  assert.equal(await page.evaluate(() => location.hash), '#/group/102');
  assert.equal(await page.getByRole('alert').count(), 0);
  for (const one of [{ id }, ...others]) group.bring(one.id);
  tv.state.hidden.clear();
});

test('Photo.KeepsWhatIsTypedWhileAPhraseIsSent', async () => {
  const { id } = tv.state.groups[0].item(5);
  const page = await openView(browser, tv, `#/group/101/photo/${id}`);
  await button(page, 'Comment').click();
  let letGo;
  const held = new Promise((resolve) => {
    letGo = resolve;
  });
  await page.route('**/comments', async (route) => {
    await held;
    await route.continue();
  });
  await button(page, 'How lovely!').click();
  await page.getByRole('textbox').fill('And more');
  const answered = page.waitForResponse('**/comments');
  letGo();
  await answered;
  await until(page, () => document.querySelector('[aria-disabled=true]') === null);
  assert.equal(await page.getByRole('textbox').inputValue(), 'And more');
});

test('Photo.ThatIsBrokenSaysSo', async () => {
  const { id } = tv.state.groups[0].item(6);
  tv.state.broken = (one) => one === id;
  const page = await openView(browser, tv, `#/group/101/photo/${id}`);
  await page.getByText('This picture cannot be shown.').waitFor();
  tv.state.broken = () => false;
});

test('Photo.ThatIsDeletedGoesAway', async () => {
  const [group] = tv.state.groups;
  const id = tv.add(group, { time: TODAY.getTime() });
  const page = await openView(browser, tv, `#/group/101/photo/${id}`);
  await until(page, () => document.querySelector('img.sharp') !== null);
  tv.remove(group, id);
  await page.getByRole('alert').getByText('not there any more').waitFor();
  await untilHash(page, '#/group/101');
});

test('Photo.ThatWasDeletedWhileThePageCouldNotBeToldGoesAway', async () => {
  const [group] = tv.state.groups;
  const id = tv.add(group, { time: TODAY.getTime() });
  const page = await openView(browser, tv, `#/group/101/photo/${id}`);
  await until(page, () => document.querySelector('img.sharp') !== null);
  group.remove(id);
  tv.tell('reset', {});
  await page.getByRole('alert').getByText('not there any more').waitFor();
  await untilHash(page, '#/group/101');
});

test('Photo.IsThereAlthoughTheOneBeforeItWasGone', async () => {
  const [group] = tv.state.groups;
  const [first, gone, next] = [0, 1, 2].map((at) => group.item(at).id);
  tv.state.interfere = ({ url }) =>
    url === `/api/contents/${gone}` ? [404, { error: 'not_found', message: '' }] : url === `/api/contents/${next}` ? [503, { error: 'away', message: '' }] : null;
  const page = await openView(browser, tv, `#/group/101/photo/${first}`);
  await page.getByText('1 of').waitFor();
  await press(page, 'ArrowRight');
  await page.getByRole('alert').getByText('not there any more').waitFor();
  await page.goto(`${tv.url}/?lang=en#/group/101/photo/${next}`);
  await until(page, (wanted) => document.querySelector('img.sharp')?.src.includes(wanted), `/${next}/`);
  assert.equal(await page.getByRole('alert').count(), 0);
  tv.state.interfere = () => null;
});

test('Marked.PhotosAreAViewOfTheirOwn', async () => {
  const ids = [2, 5].map((at) => tv.state.groups[0].item(at).id);
  ids.forEach((id) => tv.state.marked.add(id));
  const page = await openView(browser, tv, '#/groups');
  await button(page, 'Marked photos').click();
  await untilGrid(page, 2);
  assert.equal(await page.getByRole('gridcell').count(), 2);
  await press(page, 'Enter');
  await untilHash(page, `#/group/101/photo/${ids[0]}`);
  await press(page, 'Escape');
  await untilHash(page, '#/marked');
});

/** Resolves when the program keeps what is wanted; looked at whenever it has answered the page. */
async function untilKept(page, isWanted) {
  while (!isWanted(tv.state.settings)) await page.waitForResponse('**/api/settings');
}

test('Settings.AreChangedByLeftAndRightAndKept', async () => {
  const page = await openView(browser, tv, '#/settings');
  await untilFocused(page, 'Each picture stays');
  await press(page, 'ArrowRight');
  await until(page, () => document.activeElement.getAttribute('aria-valuetext') === '12 seconds');
  await press(page, 'ArrowLeft', 'ArrowLeft');
  await until(page, () => document.activeElement.getAttribute('aria-valuetext') === '5 seconds');
  await press(page, 'ArrowDown', 'Enter');
  await until(page, () => document.activeElement.getAttribute('aria-valuetext') === 'In order');
  await page.getByRole('switch', { name: 'Night rest' }).focus();
  await press(page, 'Enter');
  await page.getByRole('spinbutton', { name: 'Night begins' }).waitFor();
  await press(page, 'ArrowDown', 'ArrowRight');
  await until(page, () => document.activeElement.getAttribute('aria-valuetext') === '22:30');
  await page.getByRole('switch', { name: 'Calm motion' }).click();
  await page.getByRole('switch', { name: 'Calm motion', checked: false }).waitFor();
  await untilKept(page, ({ motion }) => !motion);
  const { seconds, order, night } = tv.state.settings;
  assert.deepEqual({ seconds, order, night }, { seconds: 5, order: 'time', night: { from: '22:30', to: '07:00' } });
  tv.state.settings = { ...tv.state.settings, seconds: 8, order: 'shuffle', night: null, motion: true };
});

test('Settings.AreKeptInTheOrderOfTheKeysHoweverLongEachTakes', async () => {
  const page = await openView(browser, tv, '#/settings');
  await untilFocused(page, 'Each picture stays');
  const bodies = [];
  let free;
  const held = new Promise((resolve) => (free = resolve));
  let asked;
  const isAsked = new Promise((resolve) => (asked = resolve));
  // The first change takes until the last key was pressed.
  await page.route('**/api/settings', async (route) => {
    bodies.push(route.request().postDataJSON());
    asked();
    if (bodies.length === 1) await held;
    await route.continue();
  });
  await press(page, 'ArrowRight', 'ArrowRight', 'ArrowRight');
  await until(page, () => document.activeElement.getAttribute('aria-valuetext') === '30 seconds');
  await isAsked;
  assert.deepEqual(bodies, [{ seconds: 12 }], 'only what was changed, and one change at a time');
  tv.tell('settings', tv.state.settings);
  tv.setService('away');
  await until(page, () => document.querySelector('[role=status]').textContent !== '');
  assert.equal(await page.evaluate(() => document.activeElement.getAttribute('aria-valuetext')), '30 seconds', 'what is older than the keys does not show');
  tv.setService('ok');
  free();
  await untilKept(page, ({ seconds }) => seconds === 30);
  assert.deepEqual(bodies, [{ seconds: 12 }, { seconds: 20 }, { seconds: 30 }]);
  await until(page, () => document.activeElement.getAttribute('aria-valuetext') === '30 seconds');
  tv.state.settings = { ...tv.state.settings, seconds: 8 };
});

test('Settings.StayAsTheyWereWhereTheyCannotBeKept', async () => {
  const page = await openView(browser, tv, '#/settings');
  await untilFocused(page, 'Each picture stays');
  tv.state.interfere = (request) => (request.method === 'PUT' ? [507, { error: 'disk_full', message: '' }] : null);
  await press(page, 'ArrowRight');
  await page.getByRole('alert').getByText('no room left').waitFor();
  await until(page, () => document.activeElement.getAttribute('aria-valuetext') === '8 seconds');
});

test('Settings.ForgetTheTelevisionAfterAQuestion', async () => {
  const page = await openView(browser, tv, '#/settings');
  await button(page, 'Forget this television').click();
  await page.getByRole('dialog', { name: 'Forget this television?' }).waitFor();
  assert.equal(await focused(page), 'Cancel');
  await press(page, 'Enter');
  await page.getByRole('dialog').waitFor({ state: 'detached' });
  assert.equal(tv.state.forgotten, 0);
  await button(page, 'Forget this television').click();
  await press(page, 'ArrowRight', 'Enter');
  await untilHash(page, '#/pair');
  assert.equal(tv.state.forgotten, 1);
  tv.setPaired(true);
  await untilHash(page, '#/groups');
});

test('Keys.AreAllListedUnderOneKey', async () => {
  for (const hash of ['#/groups', '#/group/101', `#/group/101/photo/${tv.state.groups[0].item(0).id}`, '#/settings', '#/show']) {
    const page = await openView(browser, tv, hash);
    await page.getByRole('main').waitFor();
    await press(page, 'F1');
    const keys = page.getByRole('dialog', { name: 'Keys' });
    await keys.waitFor();
    for (const name of ['Arrows', 'OK', 'Back', 'Play', 'Info', 'Channel', 'Red', 'Green', 'Yellow', 'Blue']) assert.ok((await keys.textContent()).includes(name), name);
    await press(page, 'Escape');
    await keys.waitFor({ state: 'detached' });
    assert.ok(page.url().endsWith(hash), 'nothing else has happened');
    await page.context().close();
  }
});

test('Language.IsWhatTheAddressFixesElseWhatIsSet', async () => {
  const german = await openView(browser, tv, '#/groups', { lang: 'de' });
  await german.getByRole('heading', { name: 'Gruppen' }).waitFor();
  tv.state.settings = { ...tv.state.settings, language: 'de' };
  const page = await browser.open(tv, null, '/#/groups', { size: 'television', lang: null });
  await page.getByRole('heading', { name: 'Gruppen' }).waitFor();
  assert.equal(await page.evaluate(() => document.documentElement.lang), 'de');
  tv.state.settings = { ...tv.state.settings, language: 'auto' };
  tv.tell('settings', tv.state.settings);
  await page.getByRole('heading', { name: 'Groups' }).waitFor();
});

test('Names.OfOthersAreTextAndNothingElse', async () => {
  const [group] = tv.state.groups;
  const name = group.name;
  group.name = '<img src=x onerror=alert(1)>\u202Eevil\u0007';
  const id = tv.add(group, { time: TODAY.getTime(), description: '"><script>alert(2)</script>' });
  const page = await openView(browser, tv, '#/groups');
  await page.getByText('<img src=x onerror=alert(1)>evil').waitFor();
  await page.goto(`${tv.url}/?lang=en#/group/101/photo/${id}`);
  await page.getByText('"><script>alert(2)</script>').first().waitFor();
  assert.equal(await page.evaluate(() => document.querySelectorAll('script[src=""], img[src=x]').length), 0);
  tv.remove(group, id);
  group.name = name;
});

test('Mouse.OpensWhatIsClickedAndTheWheelMoves', async () => {
  const page = await openView(browser, tv, '#/groups');
  await page.getByRole('listitem').filter({ hasText: 'Holidays' }).click();
  await untilGrid(page);
  const before = await place(page);
  await page.mouse.move(1200, 600);
  await page.mouse.wheel(0, 120);
  await until(page, (was) => Number(document.activeElement.dataset.place) > was, before);
  await page.getByRole('gridcell').nth(1).click();
  await until(page, () => location.hash.includes('/photo/'));
});

test('Touch.StrokesLeadOn', async () => {
  const page = await openView(browser, tv, `#/group/101/photo/${tv.state.groups[0].item(0).id}`, { hasTouch: true });
  await page.getByText('1 of').waitFor();
  // Whoever has given the page its title listens to fingers as well.
  await until(page, () => document.title.includes('2026'));
  const session = await page.context().newCDPSession(page);
  await session.send('Input.dispatchTouchEvent', { type: 'touchStart', touchPoints: [{ x: 1400, y: 500 }] });
  for (const x of [1300, 1100, 900]) await session.send('Input.dispatchTouchEvent', { type: 'touchMove', touchPoints: [{ x, y: 505 }] });
  await session.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
  await page.getByText('2 of').waitFor();
});
