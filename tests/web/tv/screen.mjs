// SPDX-License-Identifier: MIT
// A television in a test: its page, its remote control, and what is seen of it.
import { until } from '../support/browser.mjs';

/** Opens a view of the television's page. */
export const openView = (browser, tv, hash, { size = 'television', lang = 'en', ...options } = {}) => browser.open(tv, null, `/?lang=${lang}${hash}`, { size, lang: null, ...options });

/** A key of a remote control, which has a number and no name. */
export async function remote(page, code) {
  const session = await page.context().newCDPSession(page);
  const key = { windowsVirtualKeyCode: code, nativeVirtualKeyCode: code };
  await session.send('Input.dispatchKeyEvent', { type: 'rawKeyDown', ...key });
  await session.send('Input.dispatchKeyEvent', { type: 'keyUp', ...key });
  await session.detach();
}

/** Holds a key for so many repeats, one in each frame. */
export async function hold(page, key, repeats) {
  await page.keyboard.down(key);
  for (let repeat = 0; repeat < repeats; ++repeat) {
    await page.keyboard.down(key);
    await page.evaluate(() => new Promise((resolve) => requestAnimationFrame(resolve)));
  }
  await page.keyboard.up(key);
}

/** What the focused thing is called. */
export const focused = (page) =>
  page.evaluate(() => {
    const one = document.activeElement;
    return one.getAttribute('aria-label') ?? one.getAttribute('alt') ?? one.textContent.trim();
  });

export const untilFocused = (page, name) =>
  until(
    page,
    (wanted) => {
      const one = document.activeElement;
      // Where nothing has the focus it is the body, in which all names are.
      return one !== document.body && (one.getAttribute('aria-label') ?? one.getAttribute('alt') ?? one.textContent.trim()).includes(wanted);
    },
    name,
  );

/** The place of the focused photo in its grid; -1 elsewhere. */
export const place = (page) => page.evaluate(() => Number(document.activeElement.dataset.place ?? -1));
export const untilPlace = (page, wanted) => until(page, (at) => Number(document.activeElement.dataset.place ?? -1) === at, wanted);

export const untilGrid = (page, count = 4) => until(page, (least) => document.querySelectorAll('[role=gridcell] img[data-state=there]').length >= least, count);
export const untilHash = (page, hash) => until(page, (wanted) => location.hash === wanted, hash);

/**
 * Milliseconds between two slides, far more than the clockwork allows (which is tested with a clock of its own) and far less than the patience with a
 * picture that does not come: a computer with other work must not pass for a show that stands still.
 */
export const LATE = 7000;

/** The contents of the slides that were painted so far, in their order, with their times. */
export const slides = (page) => page.evaluate(() => performance.getEntriesByName('slide-shown').map((one) => ({ id: one.detail.content, group: one.detail.group, at: one.startTime })));
export const untilSlides = (page, count) => until(page, (least) => performance.getEntriesByName('slide-shown').length >= least, count);

export const status = (page) => page.getByRole('status').textContent();
