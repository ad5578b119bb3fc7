// SPDX-License-Identifier: MIT
// The show's clockwork, without a browser and in no time: pictures that come, come late, are broken, or cannot be had for a while.
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../../support/source.mjs';

const { Player } = await source('tv/core/player.ts');
const { Sequence } = await source('tv/core/sequence.ts');

/** A world with a clock of its own. `kindOf` says what becomes of a photo's picture, and after how long. */
class World {
  time = 0;
  timers = [];
  shown = [];
  released = 0;
  loaded = 0;
  /** Questions to the program. */
  asked = 0;
  kindOf = () => ['ready', 20];
  tall = () => false;

  constructor(total, { time = 1000, pairs = false, ordered = true, apiDown = () => false, answer = Promise.resolve() } = {}) {
    this.total = total;
    this.sequence = new Sequence(
      {
        fetch: async (index, count) => {
          this.asked += 1;
          if (apiDown()) throw new Error('away');
          await answer;
          const items = [];
          for (let at = index; at < index + count && this.total > 0; ++at) items.push({ id: String(at % this.total) });
          return { total: this.total, index, items };
        },
      },
      0,
      () => this.time,
    );
    this.player = new Player(
      this.sequence,
      {
        load: (item) => {
          this.loaded += 1;
          let cancel = () => {};
          const outcome = new Promise((resolve) => {
            const [kind, after] = this.kindOf(item.id, this.time);
            const settle = (as) => resolve(as === 'ready' ? { kind: as, image: { naturalWidth: this.tall(item.id) ? 3 : 4, naturalHeight: this.tall(item.id) ? 4 : 3, id: item.id } } : { kind: as });
            cancel = () => resolve({ kind: 'away' });
            this.after(after, () => settle(kind));
          });
          return { outcome, cancel: () => cancel() };
        },
        release: () => (this.released += 1),
        show: (slide) => this.shown.push({ time: this.time, ids: slide.map(({ item }) => item.id) }),
        now: () => this.time,
        after: (milliseconds, then) => this.after(milliseconds, then),
        onAhead: () => {},
      },
      { time, pairs, ordered },
    );
  }

  after(milliseconds, then) {
    const timer = { at: this.time + milliseconds, then };
    this.timers.push(timer);
    return () => (this.timers = this.timers.filter((one) => one !== timer));
  }

  /** Lets everything happen up to then. */
  async until(end) {
    for (;;) {
      // Promises first: they take no time.
      for (let turn = 0; turn < 12; ++turn) await null;
      const next = this.timers.reduce((best, one) => (best === null || one.at < best.at ? one : best), null);
      if (next === null || next.at > end) break;
      this.timers = this.timers.filter((one) => one !== next);
      this.time = Math.max(this.time, next.at);
      next.then();
    }
    this.time = end;
  }

  get ids() {
    return this.shown.flatMap((slide) => slide.ids);
  }

  /** The longest time that a slide stayed beyond its own. */
  latest(time) {
    let most = 0;
    for (let at = 1; at < this.shown.length; ++at) most = Math.max(most, this.shown[at].time - this.shown[at - 1].time - time);
    return most;
  }
}

test('Player.ShowsEachPhotoOnceInItsTurn', async () => {
  const world = new World(50);
  await world.player.start();
  await world.until(49_500);
  assert.deepEqual(world.ids, Array.from({ length: 50 }, (_, at) => String(at)));
  assert.ok(world.shown[0].time < 100, 'the first one at once');
  assert.ok(world.latest(1000) < 5);
});

test('Player.ShowsWhatWasAskedForBeforeItIsKnownWhatFollows', async () => {
  let free;
  const world = new World(50, { answer: new Promise((resolve) => (free = resolve)) });
  world.sequence.putFirst({ id: '7' });
  const started = world.player.start(true);
  await world.until(100);
  assert.deepEqual(world.ids, ['7']);
  free();
  await started;
  await world.until(3500);
  assert.deepEqual(world.ids, ['7', '0', '1', '2']);
});

test('Player.SkipsBrokenPicturesWithoutAPause', async () => {
  const world = new World(100);
  world.kindOf = (id) => [Number(id) % 33 === 5 ? 'broken' : 'ready', 20];
  await world.player.start();
  await world.until(110_000);
  assert.ok(!world.ids.includes('5') && !world.ids.includes('38'));
  assert.ok(world.latest(1000) < 50, String(world.latest(1000)));
  assert.deepEqual(world.ids.slice(0, 97), [...Array(100).keys()].filter((one) => one % 33 !== 5).map(String));
});

test('Player.WaitsAMomentRatherThanLeaveTheOrder', async () => {
  const world = new World(20);
  world.kindOf = (id) => ['ready', Number(id) % 5 === 0 ? 3300 : 20];
  await world.player.start();
  await world.until(18_000);
  assert.deepEqual(world.ids.slice(0, 4), ['1', '2', '3', '0'].slice(0, 4), 'the first one takes too long');
  const rest = world.ids.filter((id) => id !== '0').map(Number);
  assert.deepEqual(rest, [...rest].sort((a, b) => a - b));
  assert.ok(world.latest(1000) < 500);
});

test('Player.ShowsPhotosThoughAllOfThemAreSlow', async () => {
  const world = new World(30);
  let under = 0;
  // They share one way, which takes three seconds for a photo that has it for itself.
  world.kindOf = () => ['ready', 3000 * Math.min(4, ++under)];
  const { load } = world.player.means;
  world.player.means.load = (item) => {
    const loading = load(item);
    void loading.outcome.then(() => (under -= 1));
    return loading;
  };
  await world.player.start();
  await world.until(120_000);
  assert.ok(world.ids.length >= 10, `${world.ids.length} slides`);
  const endless = new World(30);
  endless.kindOf = () => ['ready', 12_000];
  await endless.player.start();
  await endless.until(60_000);
  assert.ok(new Set(endless.ids).size >= 4, `${endless.ids.length} slides`);
});

test('Player.FetchesFewSlidesOfBeforeWhereAllTakeLong', async () => {
  const world = new World(500);
  await world.player.start();
  await world.until(5000);
  const { loaded } = world;
  world.kindOf = () => ['ready', 1e9];
  await world.until(25_000);
  // Twice a second they would be forty.
  assert.ok(world.loaded - loaded < 22, `${world.loaded - loaded} were begun in twenty seconds`);
});

test('Player.ShowsASlowPhotoLaterAndTheOthersMeanwhile', async () => {
  const world = new World(30);
  world.kindOf = (id) => ['ready', id === '3' ? 4500 : 20];
  await world.player.start();
  await world.until(12_000);
  assert.ok(world.latest(1000) < 500);
  assert.equal(world.ids.filter((id) => id === '3').length, 1);
  assert.ok(world.ids.indexOf('3') > 3);
});

test('Player.GoesOnWithSlidesOfBeforeWhileNothingCanBeHad', async () => {
  const world = new World(10_000);
  const stored = new Set();
  world.kindOf = (id, time) => {
    if (time < 10_000 || time > 40_000 || stored.has(id)) {
      stored.add(id);
      return ['ready', 20];
    }
    return ['away', 5];
  };
  await world.player.start();
  await world.until(10_000);
  world.player.setAway(true);
  await world.until(40_000);
  assert.ok(world.latest(1000) < 1000, `never later than a second: ${world.latest(1000)}`);
  const during = world.shown.filter((slide) => slide.time > 15_000 && slide.time < 40_000);
  assert.ok(during.length > 12, 'the show went on');
  assert.ok(new Set(during.flatMap((slide) => slide.ids)).size > 8, 'with more than one slide of before');
  const asked = world.loaded;
  assert.ok(asked < 400, `without asking for one photo after the other: ${asked}`);
  world.player.setAway(false);
  await world.until(100_000);
  const after = world.shown.filter((slide) => slide.time > 41_000).flatMap((slide) => slide.ids);
  assert.ok(after.length > 50);
  // What could not be had then is shown now; nothing is missed for good.
  const seen = new Set(world.ids);
  const furthest = Math.max(...world.ids.map(Number));
  const missed = [...Array(furthest).keys()].filter((one) => !seen.has(String(one)));
  assert.ok(missed.length <= 100, `${missed.length} are still to come`);
  await world.until(400_000);
  const later = new Set(world.ids);
  assert.ok(missed.every((one) => later.has(String(one))), 'none is missing twice');
});

test('Player.IsInTimeAlsoWhereStoredPicturesTakeTheirTime', async () => {
  const world = new World(10_000);
  const stored = new Set();
  world.kindOf = (id, time) => {
    if (time < 8000 || stored.has(id)) {
      stored.add(id);
      return ['ready', 350];
    }
    return ['away', 15];
  };
  await world.player.start();
  await world.until(60_000);
  assert.ok(world.latest(1000) < 1000, String(world.latest(1000)));
  assert.ok(world.shown.length > 25);
});

test('Player.MissesNothingOfAWholeRoundWithOutagesAndBrokenPictures', async () => {
  const world = new World(1000, { time: 100 });
  const away = (time) => time % 4000 > 3000 && time < 110_000;
  world.kindOf = (id, time) => (Number(id) % 100 < 3 ? ['broken', 3] : away(time) && Number(id) % 4 !== 0 ? ['away', 3] : ['ready', 10 + (Number(id) % 5) * 8]);
  await world.player.start();
  for (let at = 0; at < 110_000; at += 1000) {
    world.player.setAway(away(at + 500));
    await world.until(at + 1000);
  }
  world.player.setAway(false);
  await world.until(200_000);
  assert.ok(world.latest(100) < 1000, String(world.latest(100)));
  const seen = new Set(world.ids);
  for (let id = 0; id < 1000; ++id) assert.equal(seen.has(String(id)), id % 100 >= 3, String(id));
});

test('Player.PutsTwoTallPicturesSideBySide', async () => {
  const world = new World(60, { pairs: true, ordered: false });
  world.tall = (id) => Number(id) % 3 === 0;
  await world.player.start();
  await world.until(24_000);
  const pairs = world.shown.filter((slide) => slide.ids.length === 2);
  assert.ok(pairs.length >= 2);
  for (const { ids } of pairs) assert.ok(ids.every((id) => Number(id) % 3 === 0), ids.join());
  assert.equal(new Set(world.ids).size, world.ids.length, 'each of them once');
});

test('Player.LeavesTheOrderAsItIsWhereThereIsOne', async () => {
  const world = new World(12, { pairs: true });
  world.tall = (id) => [2, 5, 6].includes(Number(id));
  await world.player.start();
  await world.until(10_500);
  assert.deepEqual(world.ids, [...Array(12).keys()].map(String));
  assert.deepEqual(world.shown.filter((slide) => slide.ids.length === 2).map((slide) => slide.ids), [['5', '6']]);
});

test('Player.StepsBackAndForward', async () => {
  const world = new World(50);
  await world.player.start();
  await world.until(3500);
  assert.equal(world.ids.at(-1), '3');
  world.player.previous();
  await world.until(3700);
  world.player.previous();
  await world.until(3900);
  assert.deepEqual(world.ids.slice(-2), ['2', '1']);
  world.player.next();
  await world.until(4000);
  assert.equal(world.ids.at(-1), '2');
  world.player.next();
  await world.until(4100);
  world.player.next();
  await world.until(4200);
  assert.deepEqual(world.ids.slice(-2), ['3', '4']);
});

test('Player.StandsStillWhilePausedAndGoesOnThen', async () => {
  const world = new World(50);
  await world.player.start();
  await world.until(500);
  world.player.pause(true);
  await world.until(60_000);
  assert.equal(world.ids.length, 1);
  world.player.pause(false);
  await world.until(61_000);
  assert.ok(world.ids.length >= 2);
});

test('Player.ShowsANewPhotoNextAndNotTwice', async () => {
  const world = new World(40);
  await world.player.start();
  await world.until(2500);
  world.player.welcome({ id: '30' });
  await world.until(4100);
  assert.ok(world.ids.slice(-2).includes('30'), world.ids.join());
  await world.until(40_000);
  assert.equal(world.ids.slice(0, 40).filter((id) => id === '30').length, 1);
  assert.equal(new Set(world.ids.slice(0, 40)).size, 40, 'and no other one is lost for it');
});

test('Player.TakesAPhotoThatHasGoneOffTheScreen', async () => {
  const world = new World(40);
  await world.player.start();
  await world.until(2500);
  assert.equal(world.ids.at(-1), '2');
  world.player.remove('2');
  await world.until(2600);
  assert.equal(world.ids.at(-1), '3');
  world.player.remove('5');
  await world.until(80_000);
  assert.ok(!world.ids.slice(3).includes('5'));
});

test('Player.WaitsForAProgramThatDoesNotAnswer', async () => {
  let down = false;
  const world = new World(500, { apiDown: () => down });
  await world.player.start();
  await world.until(5000);
  down = true;
  await world.until(120_000);
  assert.ok(world.latest(1000) < 1000);
  down = false;
  await world.until(200_000);
  assert.ok(new Set(world.ids).size > 100);
});

test('Player.KeepsNothingOfAThousandSlides', async () => {
  const world = new World(5000, { time: 50 });
  await world.player.start();
  await world.until(60_000);
  assert.ok(world.shown.length > 1000);
  assert.ok(world.timers.length < 20, String(world.timers.length));
  assert.ok(world.player.history.length <= 60);
  world.player.end();
  await world.until(61_000);
  const count = world.shown.length;
  await world.until(70_000);
  assert.equal(world.shown.length, count);
});

test('Player.FailsWhereItCannotBeKnownWhatThereIs', async () => {
  const world = new World(5, { apiDown: () => true });
  await assert.rejects(world.player.start());
});

test('Player.ShowsOnePhotoAgainAndAgain', async () => {
  const world = new World(1);
  await world.player.start();
  await world.until(20_000);
  assert.ok(world.shown.length > 5, String(world.shown.length));
  assert.ok(world.latest(1000) < 1000);
});

test('Player.ShowsAndFetchesNothingWhileItRests', async () => {
  const world = new World(50);
  world.player.rest(true);
  await world.player.start();
  await world.until(60_000);
  assert.deepEqual([world.shown.length, world.loaded], [0, 0]);
  world.player.rest(false);
  await world.until(61_000);
  assert.equal(world.ids[0], '0');
});

test('Player.ShowsNothingThatWasOnItsWayWhenARestBegan', async () => {
  const world = new World(50);
  world.kindOf = () => ['ready', 700];
  await world.player.start();
  await world.until(500);
  world.player.rest(true);
  await world.until(10_000);
  world.player.remove('0');
  await world.until(20_000);
  assert.equal(world.shown.length, 0);
  world.player.rest(false);
  await world.until(30_000);
  assert.ok(world.shown.length > 5);
});

test('Player.KeepsThePictureWhenItIsPausedWhileTheNextIsDue', async () => {
  const world = new World(50);
  world.kindOf = (id) => ['ready', id === '0' ? 20 : 5000];
  await world.player.start();
  await world.until(1200);
  world.player.pause(true);
  await world.until(60_000);
  assert.deepEqual(world.ids, ['0']);
  world.player.pause(false);
  await world.until(61_000);
  assert.ok(world.ids.length > 1);
});

test('Player.ShowsANewPhotoBeforeALongSlideIsOver', async () => {
  const world = new World(40, { time: 300_000 });
  await world.player.start();
  await world.until(10_000);
  world.player.welcome({ id: '30' });
  world.player.welcome({ id: '31' });
  await world.until(10_100);
  assert.equal(world.shown.length, 2, 'the first at once');
  await world.until(12_000);
  assert.equal(world.shown.length, 2, 'which is looked at');
  await world.until(13_200);
  assert.deepEqual([...world.ids.slice(-2)].sort(), ['30', '31']);
  await world.until(60_000);
  assert.equal(world.shown.length, 3, 'and then slides are as long as before');
});

test('Player.AsksSeldomWhereThereAreFewPhotos', async () => {
  for (const total of [1, 2, 3]) {
    const world = new World(total, { time: 8000 });
    await world.player.start();
    await world.until(600_000);
    assert.ok(world.asked < 100, `${world.asked} questions for ${total}`);
    assert.ok(world.shown.length > 60);
  }
});

test('Player.AsksSeldomWhereAllPhotosAreBroken', async () => {
  const world = new World(3);
  world.kindOf = () => ['broken', 5];
  await world.player.start();
  await world.until(300_000);
  assert.ok(world.loaded <= 6, `${world.loaded} pictures`);
  assert.ok(world.asked < 200, `${world.asked} questions`);
});

test('Player.LooksAgainWhereThereWasNothing', async () => {
  const world = new World(0);
  await world.player.start();
  await world.until(30_000);
  const { asked } = world;
  assert.ok(asked <= 2, String(asked));
  world.total = 5;
  await world.until(130_000);
  assert.ok(world.shown.length > 10);
});

test('Player.WaitsLongerForThePhotoThatWasAskedFor', async () => {
  for (const isWish of [true, false]) {
    const world = new World(50, { ordered: false });
    world.kindOf = (id) => ['ready', id === '0' ? 1500 : 20];
    await world.player.start(isWish);
    await world.until(10_000);
    assert.equal(world.ids[0] === '0', isWish);
    assert.ok(world.shown[0].time <= 1600);
  }
});
