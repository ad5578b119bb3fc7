// SPDX-License-Identifier: MIT
// A browser for a file of tests: pages of telephones and desktops, signed in or not. What a page throws, and what its policy forbids,
// fails the test that it happened in.
import assert from 'node:assert/strict';
import { mkdtemp, rm } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, afterEach, before } from 'node:test';
import { chromium } from './modules.mjs';
import { PROGRAM, SWITCHES } from '../../../web/tools/chromium.mjs';

export const SIZES = {
  telephone: { viewport: { width: 390, height: 844 }, deviceScaleFactor: 2, hasTouch: true, isMobile: true },
  small: { viewport: { width: 320, height: 640 }, deviceScaleFactor: 2, hasTouch: true, isMobile: true },
  desktop: { viewport: { width: 1280, height: 800 } },
  large: { viewport: { width: 3840, height: 2160 } },
};

export const TELEVISIONS = {
  television: { viewport: { width: 1920, height: 1080 } },
  oldTelevision: { viewport: { width: 1280, height: 720 } },
  largeTelevision: { viewport: { width: 3840, height: 2160 } },
};

export class Browser {
  #browser = null;
  #profile = '';
  #contexts = [];
  #faults = [];

  /** To be called once in a file of tests. */
  static forTests() {
    const browser = new Browser();
    before(() => browser.#start());
    afterEach(() => browser.#endTest());
    after(() => browser.#end());
    return browser;
  }

  async #start() {
    this.#profile = await mkdtemp(join(tmpdir(), 'kinloom-browser-'));
    this.#browser = await chromium.launch({ executablePath: PROGRAM, args: SWITCHES, env: { ...process.env, HOME: this.#profile } });
  }

  async #endTest() {
    const faults = this.#faults.splice(0);
    for (const context of this.#contexts.splice(0)) {
      // What is still being answered has nobody to be answered to.
      for (const page of context.pages()) await page.unrouteAll({ behavior: 'ignoreErrors' });
      await context.close();
    }
    assert.deepEqual(faults, [], 'what the page complains of');
  }

  async #end() {
    await this.#browser?.close();
    await rm(this.#profile, { recursive: true, force: true });
  }

  /** A browser of its own for somebody: cookies, storage and all. */
  async context(size = 'desktop', options = {}) {
    const context = await this.#browser.newContext({ ...SIZES[size], ...TELEVISIONS[size], locale: 'en-GB', timezoneId: 'Europe/Berlin', ...options });
    context.setDefaultTimeout(60_000);
    this.#contexts.push(context);
    context.on('page', (page) => {
      page.on('pageerror', (error) => this.#faults.push(String(error)));
      page.on('console', (message) => {
        if (/Content Security Policy|Refused to/.test(message.text())) this.#faults.push(message.text());
      });
    });
    return context;
  }

  /**
   * A page of the service, as the person sees it; of somebody who is not signed in without a person. With `told` it is there only when
   * the service tells it of what happens.
   */
  async open(service, person, path, { size = 'desktop', lang = 'en', told = false, ...options } = {}) {
    const context = await this.context(size, options);
    if (person !== null) await context.addCookies([{ name: 'kinloom_session', value: person.value, url: service.url }]);
    const page = await context.newPage();
    const address = service.url + path + (lang === null ? '' : `?lang=${lang}`);
    await Promise.all([page.goto(address), told ? telling(page) : null]);
    return page;
  }
}

/** Resolves when the condition holds, which is looked at whenever the page has drawn. */
export const until = (page, condition, argument) => page.waitForFunction(condition, argument, { polling: 'raf' });

/** Resolves when the service tells the page of what happens from then on; begun before the page is loaded. */
export const telling = (page) => page.waitForResponse((response) => response.url().endsWith('/page/events'));

export const button = (page, name, options = {}) => page.getByRole('button', { name, ...options });
export const link = (page, name, options = {}) => page.getByRole('link', { name, ...options });

/** Chooses files with the button "Add photos". */
export async function addPhotos(page, files) {
  const [chooser] = await Promise.all([page.waitForEvent('filechooser'), button(page, 'Add photos').click()]);
  await chooser.setFiles(files);
}

export const file = (name, buffer, mimeType = 'image/png') => ({ name, mimeType, buffer });
