// SPDX-License-Identifier: MIT
// A television's screen for the benchmarks: a browser of 1920 by 1080 whose processor is slowed, and what is to be known of its page.
import { chromium } from '../../tests/web/support/modules.mjs';
import { PROGRAM, SWITCHES } from '../../web/tools/chromium.mjs';

const SLOWER = 4;

export class Screen {
  static async open() {
    const screen = new Screen();
    screen.browser = await chromium.launch({ executablePath: PROGRAM, args: SWITCHES });
    /** The most of each page that was measured. */
    screen.seen = { longest: [], elements: [], pictures: [] };
    return screen;
  }

  close() {
    return this.browser.close();
  }

  async newContext(home) {
    const context = await this.browser.newContext({ viewport: { width: 1920, height: 1080 }, locale: 'en-GB' });
    await context.addCookies([home.cookieFor()]);
    return context;
  }

  async newPage(home, context = null) {
    const own = context ?? (await this.newContext(home));
    const page = await own.newPage();
    page.setDefaultTimeout(0);
    const session = await own.newCDPSession(page);
    await tellMarks(page, session);
    await page.addInitScript(() => {
      globalThis.longest = 0;
      globalThis.elements = 0;
      globalThis.pictures = 0;
      new PerformanceObserver((list) => {
        for (const entry of list.getEntries()) globalThis.longest = Math.max(globalThis.longest, entry.duration);
      }).observe({ type: 'longtask', buffered: true });
      const count = () => {
        globalThis.elements = Math.max(globalThis.elements, document.getElementsByTagName('*').length);
        globalThis.pictures = Math.max(globalThis.pictures, document.querySelectorAll('img.slide, img.sharp').length);
      };
      new MutationObserver(count).observe(document, { childList: true, subtree: true });
    });
    const slow = (rate = SLOWER) => session.send('Emulation.setCPUThrottlingRate', { rate });
    return { page, session, slow, context: own };
  }

  async collect(page) {
    const now = await page.evaluate(() => ({ longest: globalThis.longest, elements: globalThis.elements, pictures: globalThis.pictures }));
    for (const key of Object.keys(this.seen)) this.seen[key].push(now[key]);
  }
}

/** What waits for a page's mark: who looks into a slowed page at each of its frames slows it further. */
const waiting = new WeakMap();

async function tellMarks(page, session) {
  waiting.set(page, []);
  session.on('Runtime.bindingCalled', ({ payload }) => {
    const [name, at] = JSON.parse(payload);
    const wishes = waiting.get(page);
    waiting.set(page, wishes.filter((wish) => wish.name !== name));
    for (const wish of wishes) if (wish.name === name) wish.resolve(at);
  });
  await session.send('Runtime.enable');
  await session.send('Runtime.addBinding', { name: 'tellMark' });
  await page.addInitScript(() => {
    const told = new Set();
    new PerformanceObserver((list) => {
      for (const { name, startTime } of list.getEntries()) {
        if (told.has(name)) continue;
        told.add(name);
        globalThis.tellMark(JSON.stringify([name, startTime]));
      }
    }).observe({ type: 'mark', buffered: true });
  });
}

/** When the first mark of that name was made in the document that is loaded next, or has made none yet: milliseconds of its own clock. */
export const firstMark = (page, name) => new Promise((resolve) => waiting.get(page).push({ name, resolve }));
export const grid = (page) => page.waitForFunction(() => document.activeElement?.dataset.place !== undefined && document.querySelector('[role=gridcell] img[data-state=there]') !== null, null, { polling: 'raf' });
export const frame = (page) => page.evaluate(() => new Promise(requestAnimationFrame));
export const now = (page) => page.evaluate(() => performance.now());

/** Megabytes of the page's heap, with nothing in it that could go. */
export async function heap(session) {
  await session.send('HeapProfiler.enable');
  for (let turn = 0; turn < 2; ++turn) await session.send('HeapProfiler.collectGarbage');
  const { usedSize } = await session.send('Runtime.getHeapUsage');
  await session.send('HeapProfiler.disable');
  return usedSize / 1e6;
}

/** The share of frames that came late while something moved. */
export const lateFrames = (page, seconds) =>
  page.evaluate(async (time) => {
    const end = performance.now() + time * 1000;
    let last = await new Promise(requestAnimationFrame);
    let [frames, late] = [0, 0];
    while (performance.now() < end) {
      const at = await new Promise(requestAnimationFrame);
      const passed = Math.max(1, Math.round((at - last) / (1000 / 60)));
      frames += passed;
      late += passed - 1;
      last = at;
    }
    return (late * 100) / frames;
  }, seconds);
