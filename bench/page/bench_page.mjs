// SPDX-License-Identifier: MIT
// The family's page in a browser whose processor is slowed four times: how soon it shows something, whether it stutters, what it takes.
//
// Usage: bench_page.mjs [--quick] [--out FILE]
// In the environment, as for the page's tests: KINLOOMD, KINLOOM_PAGES, KINLOOM_WEB_TREE.
import { spawn } from 'node:child_process';
import { mkdtemp, readdir, readFile, rm, writeFile } from 'node:fs/promises';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { parseArgs } from 'node:util';
import { gzipSync } from 'node:zlib';
import { Kinloomd } from '../../tests/web/support/kinloomd.mjs';
import { chromium, PAGES } from '../../tests/web/support/modules.mjs';
import { noise } from '../../tests/web/support/pictures.mjs';
import { startStandIn } from '../../tests/web/support/standIn.mjs';
import { startLink } from './link.mjs';
import { PROGRAM, SWITCHES } from '../../web/tools/chromium.mjs';
import { keepFigures, report } from './figures.mjs';

const { values } = parseArgs({ options: { quick: { type: 'boolean', default: false }, out: { type: 'string' } } });
const ROUNDS = values.quick ? 1 : 3;
const PHOTOS = values.quick ? 10_000 : 100_000;
const UPLOADS = values.quick ? 5 : 50;
const SLOWER = 4;

const browser = await chromium.launch({ executablePath: PROGRAM, args: SWITCHES });

async function newPage(url, cookie, size = { width: 390, height: 844 }) {
  const context = await browser.newContext({ viewport: size, locale: 'en-GB' });
  await context.addCookies([{ name: 'kinloom_session', value: cookie, url }]);
  const page = await context.newPage();
  const session = await context.newCDPSession(page);
  return { page, session, slow: () => session.send('Emulation.setCPUThrottlingRate', { rate: SLOWER }) };
}

/** Bytes of the page's script and style as they travel. */
async function measureSize() {
  const folder = join(PAGES, 'family/assets');
  let bytes = 0;
  for (const file of await readdir(folder)) bytes += gzipSync(await readFile(join(folder, file)), { level: 6 }).length;
  report('page_size', [bytes / 1000], 'kB', 60);
}

/** Runs in the page before anything else: says when the first photo of a feed is there. */
const tellFirstPhoto = () => {
  const seen = ({ target }) => {
    if (target.tagName !== 'IMG' || target.naturalWidth === 0 || target.closest('[role=listitem]') === null) return;
    document.removeEventListener('load', seen, true);
    globalThis.firstPhoto(String(performance.now()));
  };
  document.addEventListener('load', seen, true);
};

/** Tells, as `at`, when the first photo of the next page is there. The tool's own way of waiting would run a script of its own in the page that is measured. */
async function watchFirstPhoto(session) {
  await session.send('Runtime.enable');
  await session.send('Runtime.addBinding', { name: 'firstPhoto' });
  await session.send('Page.enable');
  await session.send('Page.addScriptToEvaluateOnNewDocument', { source: `(${tellFirstPhoto})()` });
  const at = new Promise((resolve) => session.on('Runtime.bindingCalled', ({ name, payload }) => name === 'firstPhoto' && resolve(Number(payload))));
  return { at };
}

async function measureFeed(standIn) {
  const address = `${standIn.url}/group/${standIn.state.groups[0].id}?lang=en`;
  const opened = [];
  const jumped = [];
  const tasks = [];
  const heaps = [];
  for (let round = 0; round < ROUNDS; ++round) {
    const { page, session, slow } = await newPage(standIn.url, 'any');
    await slow();
    const first = await watchFirstPhoto(session);
    await page.goto(address, { waitUntil: 'commit' });
    opened.push(await first.at);

    await page.evaluate(() => {
      globalThis.longest = 0;
      new PerformanceObserver((list) => {
        for (const entry of list.getEntries()) globalThis.longest = Math.max(globalThis.longest, entry.duration);
      }).observe({ type: 'longtask' });
    });
    jumped.push(
      await page.evaluate(async () => {
        const select = document.querySelector('select');
        const start = performance.now();
        select.selectedIndex = Math.floor(select.options.length / 2);
        const month = select.selectedOptions[0].textContent;
        select.dispatchEvent(new Event('change', { bubbles: true }));
        for (;;) {
          await new Promise(requestAnimationFrame);
          const there = [...document.querySelectorAll('[role=listitem] a')].some((one) => one.getAttribute('aria-label').includes(month) && one.querySelector('img').naturalWidth > 0);
          if (there) return performance.now() - start;
        }
      }),
    );
    // All the way, with the wheel's own steps at first and screen by screen then.
    await page.evaluate(() => window.scrollTo(0, 0));
    for (let step = 0; step < 60; ++step) await session.send('Input.dispatchMouseEvent', { type: 'mouseWheel', x: 150, y: 400, deltaX: 0, deltaY: 240 });
    await page.evaluate(async () => {
      const end = document.documentElement.scrollHeight - innerHeight;
      const step = Math.max(600, end / 1500);
      for (let at = window.scrollY; at <= end; at += step) {
        window.scrollTo(0, at);
        await new Promise(requestAnimationFrame);
      }
    });
    tasks.push(await page.evaluate(() => globalThis.longest));
    await session.send('Emulation.setCPUThrottlingRate', { rate: 1 });
    await session.send('HeapProfiler.enable');
    await session.send('HeapProfiler.collectGarbage');
    heaps.push((await session.send('Runtime.getHeapUsage')).usedSize / 1e6);
    await page.context().close();
  }
  report('page_first_photos', opened, 'ms', 1000);
  report('page_month_jump', jumped, 'ms', 500);
  report('page_longest_task', tasks, 'ms', 100);
  report('page_memory', heaps, 'MB', 80);
}

const run = (program, words) =>
  new Promise((resolve, reject) => {
    const child = spawn(program, words, { stdio: ['ignore', 'ignore', 'inherit'] });
    child.once('exit', (code) => (code === 0 ? resolve() : reject(new Error(`${program} has ended with ${code}`))));
  });

/** Photos over a line of 50 Mbit/s and 20 ms, by the page and by curl. */
async function measureUploads() {
  const service = await Kinloomd.start();
  const line = await startLink(Number(new URL(service.url).port), { bytesPerSecond: 50e6 / 8, delay: 20 });
  const folder = await mkdtemp(join(tmpdir(), 'kinloom-bench-'));
  try {
    const anna = await service.person('Anna');
    const ratios = [];
    for (let round = 0; round < ROUNDS; ++round) {
      const paths = [];
      for (let at = 0; at < UPLOADS; ++at) {
        paths.push(join(folder, `${round}-${at}.png`));
        await writeFile(paths[at], noise(round * 1000 + at, 3_000_000));
      }
      const [mine, curls] = [(await anna.createGroup(`page ${round}`)).id, (await anna.createGroup(`curl ${round}`)).id];
      let start = performance.now();
      const words = paths.flatMap((path, at) => [
        ...(at === 0 ? [] : ['--next']),
        ...['-sS', '-f', '-o', '/dev/null', '-H', `Origin: ${line.url}`, '-H', `Cookie: ${anna.cookie}`, '-H', 'Content-Type: application/octet-stream', '-H', 'Expect:'],
        ...['--data-binary', `@${path}`, `${line.url}/page/groups/${curls}/contents?name=a.png`],
      ]);
      await run('curl', words);
      const curl = performance.now() - start;

      const { page } = await newPage(line.url, anna.value);
      await page.goto(`${line.url}/group/${mine}?lang=en`);
      const [chooser] = await Promise.all([page.waitForEvent('filechooser'), page.getByRole('button', { name: 'Add photos' }).click()]);
      start = performance.now();
      await chooser.setFiles(paths);
      await page.getByText(`${UPLOADS} photos were added.`).waitFor({ timeout: 300_000 });
      ratios.push((performance.now() - start) / curl);
      await page.context().close();
      await Promise.all(paths.map((path) => rm(path)));
    }
    report('page_upload', ratios, 'x', 1.15);
  } finally {
    await line.end();
    await service.end();
    await rm(folder, { recursive: true, force: true });
  }
}

await measureSize();
const standIn = await startStandIn({ pages: PAGES, photos: PHOTOS });
await measureFeed(standIn);
await standIn.end();
await measureUploads();
await browser.close();
await keepFigures(values.out);
