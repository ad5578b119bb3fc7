// SPDX-License-Identifier: MIT
// The views as pictures, beside those of pictures/. KINLOOM_UPDATE_PICTURES=1 takes them anew.
import { after, before, test } from 'node:test';
import { Browser, button, until } from './support/browser.mjs';
import { compare } from './support/looks.mjs';
import { PAGES } from './support/modules.mjs';
import { startStandIn } from './support/standIn.mjs';

const browser = Browser.forTests();
let standIn;

before(async () => {
  standIn = await startStandIn({ pages: PAGES, photos: 120, years: 3 });
  standIn.state.invitations.set('open', { inviter: 'Anna', group: { id: '1', name: 'Holidays' }, name: 'Rose', state: 'open', expires: '2026-11-24T12:00:00Z' });
});
after(() => standIn.end());

/** Every view, what shows that it is there, and what has come last: by a request of its own. */
const VIEWS = {
  groups: ['/', 'link', 'Holidays', (page) => page.getByText('looked after by you')],
  feed: ['/group/1001', 'heading', 'November 2026', (page) => button(page, 'Invite')],
  photo: ['/group/1001/photo/1004', 'textbox', 'Comment', (page) => button(page, 'Next photo')],
  pair: ['/pair', 'textbox', 'Code'],
  decision: ['/pair/BCDF-GHJK', 'button', 'Approve'],
  devices: ['/devices', 'button', 'Disconnect Kitchen television', (page) => page.getByText('Anna', { exact: true })],
  invitation: ['/invite/open', 'button', 'Accept invitation', (page) => page.getByText('signed in as Anna')],
};

for (const [size, colorScheme] of [['telephone', 'light'], ['desktop', 'dark']]) {
  test(`Looks.AreAsTheyWereOnA${size === 'telephone' ? 'Telephone' : 'DesktopInTheDark'}`, async () => {
    for (const [name, [path, role, label, last]] of Object.entries(VIEWS)) {
      const page = await browser.open(standIn, { value: 'any' }, path, { size, colorScheme, reducedMotion: 'reduce' });
      await page.getByRole(role, { name: label }).waitFor();
      await last?.(page).waitFor();
      await until(page, () => [...document.images].every((image) => image.complete && (image.naturalWidth > 0 || image.getAttribute('src') === null)));
      await until(page, () => [...document.querySelectorAll('[role=listitem] img')].every((image) => image.dataset.state === 'there'));
      await until(page, () => document.querySelector('[aria-busy]') === null);
      await compare(page, `${name}-${size}`);
    }
  });
}
