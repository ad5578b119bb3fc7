// SPDX-License-Identifier: MIT
// The living room, with the programs as they are shipped: a service with very many photos, its television, and the page in a browser whose
// processor is slowed four times. How soon it shows something, how fast a key is answered, what moves without a stutter, and what ten
// thousand slides leave behind, while the service is killed and comes back.
//
// Usage: bench_television.mjs [--quick] [--out FILE] [--only NAME]...
// In the environment: KINLOOMD, KINLOOM_TV, KINLOOM_MAKE_PHOTO, KINLOOM_PAGES, KINLOOM_WEB_TREE.
import { parseArgs } from 'node:util';
import { keepFigures, report } from './figures.mjs';
import { Household } from './household.mjs';
import { firstMark, frame, grid, heap, lateFrames, now, Screen } from './screen.mjs';

const { values } = parseArgs({ options: { quick: { type: 'boolean', default: false }, out: { type: 'string' }, only: { type: 'string', multiple: true } } });
const ROUNDS = values.quick ? 1 : 3;
const KEYS = values.quick ? 200 : 1000;
const SLIDES = values.quick ? 600 : 10_000;
const OUTAGES = values.quick ? 3 : 50;
const MANY = values.quick ? 12_000 : 100_000;
const VERY_MANY = values.quick ? 24_000 : 1_000_000;
/** A slide stays so long in the show of many. */
const SLIDE_MS = 100;

/** From the address to the first picture, by a program with nothing stored and by one that has seen the group before. */
async function measureOpening(screen, home) {
  const [cold, warm] = [[], []];
  for (let round = 0; round < ROUNDS; ++round) {
    await home.restart({ cold: true });
    const context = await screen.newContext(home);
    for (const list of [cold, warm]) {
      const { page, slow } = await screen.newPage(home, context);
      await slow();
      const picture = firstMark(page, 'first-picture');
      await page.goto(home.address(`#/group/${home.group}`), { waitUntil: 'commit' });
      list.push(await picture);
      await screen.collect(page);
      await page.close();
      await home.untilIndexed();
    }
    await context.close();
  }
  report('tv_first_picture_cold', cold, 'ms', 1500);
  report('tv_first_picture_warm', warm, 'ms', 700);
}

/** From a key to the frame that shows what it did, as the browser itself tells it. */
async function measureKeys(screen, home) {
  const rounds = [];
  for (let round = 0; round < ROUNDS; ++round) {
    const { page, slow, context } = await screen.newPage(home);
    await page.goto(home.address(`#/group/${home.group}`));
    await grid(page);
    await slow();
    await page.evaluate(() => {
      globalThis.delays = [];
      new PerformanceObserver((list) => {
        for (const entry of list.getEntries()) if (entry.name === 'keydown') globalThis.delays.push(entry.duration);
      }).observe({ type: 'event', durationThreshold: 16 });
    });
    let pressed = 0;
    const keys = ['ArrowDown', 'ArrowRight', 'ArrowDown', 'ArrowLeft', 'ArrowDown', 'ArrowUp', 'ArrowDown', 'PageDown'];
    for (; pressed < KEYS / 2; ++pressed) {
      await page.keyboard.press(keys[pressed % keys.length]);
      await frame(page);
    }
    for (const key of ['ArrowDown', 'ArrowUp', 'ArrowRight', 'PageDown']) {
      await page.keyboard.down(key);
      for (let repeat = 0; repeat < KEYS / 8; ++repeat, ++pressed) {
        await page.keyboard.down(key);
        await frame(page);
      }
      await page.keyboard.up(key);
    }
    await frame(page);
    const delays = await page.evaluate(() => globalThis.delays);
    // Those of less than 16 ms are not told of one by one.
    const all = [...delays, ...Array(Math.max(0, pressed - delays.length)).fill(8)].sort((a, b) => a - b);
    rounds.push(all[Math.floor(all.length * 0.99)]);
    await screen.collect(page);
    await context.close();
  }
  report('tv_key_to_focus_p99', rounds, 'ms', 50);
}

/** From the key on the rail to a picture of a month that was not on screen before. */
async function measureJump(screen, home) {
  const rounds = [];
  for (let round = 0; round < ROUNDS; ++round) {
    const { page, slow, context } = await screen.newPage(home);
    await page.goto(home.address(`#/group/${home.group}`));
    await grid(page);
    await page.keyboard.press('ArrowLeft');
    await page.keyboard.down('ArrowDown');
    for (let repeat = 0; repeat < 60 + round * 7; ++repeat) {
      await page.keyboard.down('ArrowDown');
      await frame(page);
    }
    await page.keyboard.up('ArrowDown');
    await slow();
    const start = await now(page);
    await page.keyboard.press('ArrowDown');
    await page.keyboard.press('ArrowRight');
    await page.waitForFunction(() => (document.activeElement?.querySelector?.('img')?.naturalWidth ?? 0) > 0, null, { polling: 'raf' });
    rounds.push((await now(page)) - start);
    await screen.collect(page);
    await context.close();
  }
  report('tv_month_jump', rounds, 'ms', 1000);
}

async function measureShowStart(screen, home) {
  const rounds = [];
  for (let round = 0; round < ROUNDS; ++round) {
    const { page, slow, context } = await screen.newPage(home);
    await page.goto(home.address(`#/group/${home.group}`));
    await grid(page);
    await slow();
    const slide = firstMark(page, 'slide-shown');
    const start = await now(page);
    await page.keyboard.press('s');
    rounds.push((await slide) - start);
    await screen.collect(page);
    await context.close();
  }
  report('tv_show_start', rounds, 'ms', 500);
}

async function measureMotion(screen, home) {
  const rounds = [];
  const seconds = values.quick ? 8 : 30;
  const { contents } = await home.api(`groups/${home.group}/contents?index=0&count=1`);
  for (let round = 0; round < ROUNDS; ++round) {
    const { page, slow, context } = await screen.newPage(home);
    // A bare page that moves one picture of the same size.
    await page.goto(home.address('#/settings'));
    await page.evaluate(async (id) => {
      document.body.textContent = '';
      const image = new Image();
      image.src = `/media/${id}/screen`;
      await image.decode();
      image.style.cssText = 'position:fixed;left:0;top:0;will-change:transform';
      document.body.append(image);
      image.animate([{ transform: 'scale(.95)' }, { transform: 'scale(1)' }], { duration: 8000, iterations: 100, direction: 'alternate' });
    }, contents[0].id);
    await slow();
    const bare = await lateFrames(page, seconds);
    await page.goto('about:blank');
    const slide = firstMark(page, 'slide-shown');
    await page.goto(home.address(`#/group/${home.group}/show?order=time&seconds=8`));
    await slide;
    const show = await lateFrames(page, seconds);
    process.stderr.write(`  frames that came late: ${bare.toFixed(2)} % bare, ${show.toFixed(2)} % in the show\n`);
    rounds.push(Math.max(0, show - bare));
    await screen.collect(page);
    await context.close();
  }
  report('tv_frames_dropped', rounds, '%', 1);
}

/** The order in which the show means to show, as the program has it for the page's own throw of the dice. */
async function plannedOrder(page, home, count) {
  const { seed } = await page.evaluate(() => JSON.parse(sessionStorage.getItem('show')));
  const planned = [];
  for (let index = 0; planned.length < count; ) {
    const { items, next } = await home.api(`show?of=all&group=${home.group}&order=shuffle&seed=${seed}&index=${index}&count=200`);
    planned.push(...items.map(({ id }) => id));
    index = next ?? index + items.length;
  }
  return planned.slice(0, count);
}

/** Ten thousand slides, with three broken pictures in each hundred, and a service that is killed and comes back. */
async function measureLife(screen, home) {
  await home.restart({ cold: true });
  await home.untilIndexed();
  const { page, session, slow, context } = await screen.newPage(home);
  await page.addInitScript(() => {
    globalThis.shown = [];
    new PerformanceObserver((list) => {
      for (const { detail, startTime } of list.getEntries()) if (detail?.content !== undefined) globalThis.shown.push([detail.content, Math.round(startTime)]);
    }).observe({ type: 'mark', buffered: true });
  });
  await page.goto(home.address(`#/group/${home.group}/show?order=shuffle&seconds=${SLIDE_MS / 1000}`));
  await slow();
  const all = [];
  const reach = async (slides) => {
    while (all.length < slides) {
      await page.waitForFunction((least) => globalThis.shown.length >= least, Math.min(100, slides - all.length), { polling: 500 });
      all.push(...(await page.evaluate(() => globalThis.shown.splice(0))));
    }
  };
  /** While the page is looked at it stands still: what follows is late by no fault of its own. */
  const lookedAt = [];
  const look = async () => {
    await slow(1);
    lookedAt.push(all.length);
    const seen = { heap: await heap(session), program: (await home.memory()) / 1e6 };
    await slow();
    return seen;
  };
  await reach(100);
  const before = await look();
  for (let outage = 1; outage <= OUTAGES; ++outage) {
    await reach(100 + ((SLIDES - 100) * outage) / OUTAGES - 40);
    await home.service.stop({ kill: true });
    await reach(all.length + 20);
    await home.service.serve();
  }
  await reach(SLIDES);
  const after = await look();
  let latest = 0;
  for (let at = 1; at < all.length; ++at) {
    if (!lookedAt.some((one) => at >= one - 1 && at <= one + 2)) latest = Math.max(latest, all[at][1] - all[at - 1][1] - SLIDE_MS);
  }
  const shown = new Set(all.map(([id]) => id));
  const broken = await home.brokenOnes();
  // Those at the end may still be on their way, and what could not be had in its turn comes a while later.
  const missing = (await plannedOrder(page, home, all.length - 300)).filter((id) => !shown.has(id) && !broken.has(id));
  process.stderr.write(
    `  ${all.length} slides of ${shown.size} photos; after 100 and at the end: heap ${before.heap.toFixed(2)} and ${after.heap.toFixed(2)} MB, program ${before.program.toFixed(1)} and ${after.program.toFixed(1)} MB\n`,
  );
  report('tv_latest_slide', [latest], 'ms', 1000);
  report('tv_missing_slides', [missing.length], 'photos', 0);
  report('tv_broken_shown', [[...shown].filter((id) => broken.has(id)).length], 'pictures', 0);
  report('tv_slides_heap_growth', [Math.max(0, after.heap - before.heap)], 'MB', 2);
  report('tv_slides_memory_growth', [Math.max(0, after.program - before.program)], 'MB', 1);
  report('tv_memory', [Math.max(before.program, after.program)], 'MB', 60);
  await screen.collect(page);
  await context.close();
}

/** What is measured in which household: that of very many photos, or that of many with broken ones among them. */
const PARTS = [
  { name: 'index', size: VERY_MANY },
  { name: 'keys', size: VERY_MANY, measure: measureKeys },
  { name: 'jump', size: VERY_MANY, measure: measureJump },
  { name: 'opening', size: MANY, measure: measureOpening },
  { name: 'start', size: MANY, measure: measureShowStart },
  { name: 'motion', size: MANY, measure: measureMotion },
  { name: 'life', size: MANY, measure: measureLife },
];

const wanted = PARTS.filter(({ name }) => values.only === undefined || values.only.includes(name));
const screen = await Screen.open();
for (const size of [VERY_MANY, MANY]) {
  const parts = wanted.filter((part) => part.size === size);
  if (parts.length === 0) continue;
  const home = await Household.of(size, { broken: size === MANY });
  try {
    const seconds = await home.connect();
    process.stderr.write(`  index of ${home.total} whole after ${seconds.toFixed(1)} s, the program has ${((await home.memory()) / 1e6).toFixed(1)} MB\n`);
    if (size === VERY_MANY) report('tv_index_whole', [seconds], 's', 60);
    for (const { measure } of parts) await measure?.(screen, home);
  } finally {
    await home.end();
  }
}
if (screen.seen.longest.length > 0) {
  report('tv_longest_task', [Math.max(...screen.seen.longest)], 'ms', 100);
  report('tv_elements', [Math.max(...screen.seen.elements)], 'elements', 400);
  report('tv_full_pictures', [Math.max(...screen.seen.pictures)], 'pictures', 3);
}
await screen.close();
await keepFigures(values.out);
