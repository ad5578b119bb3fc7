// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../support/source.mjs';

const { Uploader } = await source('family/core/uploader.ts');

/** What Failure is to the uploader, which is bundled with one of its own. */
const { Uploader: Bundled, Failure } = await (async () => {
  const { createRequire } = await import('node:module');
  const { join } = await import('node:path');
  const { WEB } = await import('../support/modules.mjs');
  const esbuild = createRequire(join(WEB, 'package.json'))('esbuild');
  const { outputFiles } = await esbuild.build({
    stdin: { contents: "export { Uploader } from './family/core/uploader'; export { Failure } from './common/http';", resolveDir: WEB, loader: 'ts' },
    bundle: true,
    write: false,
    format: 'esm',
    jsx: 'automatic',
    jsxImportSource: 'preact',
  });
  return import(`data:text/javascript;base64,${Buffer.from(outputFiles[0].contents).toString('base64')}`);
})();
void Uploader;

const file = (name, size = 100) => ({ name, size, lastModified: 0 });

/** A world in which everything works, but for what a test changes. */
function world(changes = {}) {
  const log = [];
  const timers = [];
  const stored = [];
  const means = {
    objection: async () => '',
    hash: async (one) => `hash of ${one.name}`,
    known: async (group, files) => {
      log.push(`ask ${files.map((one) => one.sha256.slice(8)).join(' ')}`);
      return new Set();
    },
    send: async (item) => {
      log.push(`send ${item.file.name}`);
      return true;
    },
    later: (milliseconds, call) => {
      const timer = { milliseconds, call, ended: false };
      timers.push(timer);
      return () => {
        timer.ended = true;
      };
    },
    random: () => 0,
    ...changes,
  };
  const uploader = new Bundled(means, (group) => stored.push(group));
  const settled = () =>
    new Promise((resolve) => {
      const look = () => (uploader.busy && !uploader.paused && uploader.halted === '' ? setImmediate(look) : setImmediate(resolve));
      look();
    });
  return { uploader, log, timers, stored, settled };
}

test('Uploader.SendsEachNewFileOnceInItsOrder', async () => {
  const { uploader, log, stored, settled } = world();
  uploader.add('7', [file('a'), file('b'), file('c')]);
  await settled();
  assert.deepEqual(log.filter((line) => line.startsWith('send')), ['send a', 'send b', 'send c']);
  assert.deepEqual(stored, ['7', '7', '7']);
  assert.equal(uploader.summary().done, 3);
});

test('Uploader.SendsNothingThatTheGroupHas', async () => {
  const { uploader, log, settled } = world({ known: async () => new Set(['hash of a']) });
  uploader.add('7', [file('a'), file('b')]);
  await settled();
  assert.deepEqual(log, ['send b']);
  assert.equal(uploader.summary().known, 1);
});

test('Uploader.SendsAFileThatWasChosenTwiceOnce', async () => {
  const { uploader, log, settled } = world({ hash: async () => 'the same' });
  uploader.add('7', [file('a'), file('copy of a')]);
  await settled();
  assert.deepEqual(log.filter((line) => line.startsWith('send')), ['send a']);
  assert.deepEqual([uploader.summary().done, uploader.summary().known], [1, 1]);
});

test('Uploader.SendsTheSameFileToTwoGroups', async () => {
  const { uploader, log, settled } = world({ hash: async () => 'the same' });
  uploader.add('7', [file('a')]);
  uploader.add('8', [file('a')]);
  await settled();
  assert.equal(log.filter((line) => line === 'send a').length, 2);
});

test('Uploader.LetsOthersPassAFileThatIsRefused', async () => {
  const { uploader, settled } = world({
    objection: async (one) => (one.name === 'a' ? 'empty' : ''),
    hash: async (one) => {
      if (one.name === 'b') throw new Error('gone');
      return one.name;
    },
    send: async (item) => {
      if (item.file.name === 'c') throw new Failure('not_a_picture', 400, '');
      return true;
    },
  });
  uploader.add('7', ['a', 'b', 'c', 'd'].map((name) => file(name)));
  await settled();
  assert.deepEqual(uploader.items.map((item) => [item.file.name, item.state, item.word]), [
    ['a', 'refused', 'empty'],
    ['b', 'refused', 'unreadable'],
    ['c', 'refused', 'not_a_picture'],
    ['d', 'done', ''],
  ]);
});

test('Uploader.AsksAgainBeforeItSendsAgainWhatBrokeOff', async () => {
  let fails = 1;
  const asked = [];
  const { uploader, log, timers, settled } = world({
    known: async (group, files) => {
      asked.push(files.length);
      // The first attempt had arrived; its answer was lost.
      return asked.length === 1 ? new Set() : new Set(files.map((one) => one.sha256));
    },
    send: async (item) => {
      log.push(`send ${item.file.name}`);
      if (fails-- > 0) throw new Failure('away', 0, '');
      return true;
    },
  });
  uploader.add('7', [file('a')]);
  await settled();
  assert.ok(uploader.paused);
  assert.ok(uploader.busy);
  timers[0].call();
  await settled();
  assert.deepEqual(log, ['send a']);
  assert.equal(uploader.summary().known, 1);
});

test('Uploader.WaitsAsLongAsTheServiceAsksAndLongerEachTime', async () => {
  let after = 20_000;
  const { uploader, timers, settled } = world({
    send: async () => {
      throw new Failure('busy', 503, '', after);
    },
  });
  uploader.add('7', [file('a')]);
  await settled();
  assert.equal(timers[0].milliseconds, 20_000);
  after = null;
  const waits = [];
  for (let at = 1; at < 4; ++at) {
    timers[at - 1].call();
    await settled();
    waits.push(timers[at].milliseconds);
  }
  assert.ok(waits.every((wait) => wait >= 250));
});

test('Uploader.GoesOnAtOnceWhenThereIsHope', async () => {
  let away = true;
  const { uploader, timers, settled } = world({
    send: async () => {
      if (away) throw new Failure('away', 0, '');
      return true;
    },
  });
  uploader.add('7', [file('a'), file('b')]);
  await settled();
  away = false;
  uploader.wake();
  await settled();
  assert.equal(uploader.summary().done, 2);
  assert.ok(timers[0].ended);
});

test('Uploader.StopsForAFullDiskUntilSomebodySaysGoOn', async () => {
  let full = true;
  const { uploader, log, settled } = world({
    send: async (item) => {
      log.push(item.file.name);
      if (full) throw new Failure('disk_full', 503, '');
      return true;
    },
  });
  uploader.add('7', ['a', 'b', 'c', 'd'].map((name) => file(name)));
  await settled();
  assert.equal(uploader.halted, 'disk_full');
  const tried = log.length;
  uploader.wake();
  await settled();
  assert.equal(log.length, tried);
  full = false;
  uploader.again();
  await settled();
  assert.equal(uploader.summary().done, 4);
});

test('Uploader.ForgetsEverythingWhenItIsCancelled', async () => {
  let signal = null;
  const { uploader } = world({
    send: (item, onProgress, given) => {
      signal = given;
      return new Promise(() => undefined);
    },
  });
  uploader.add('7', [file('a'), file('b')]);
  while (signal === null) await new Promise(setImmediate);
  uploader.cancel();
  assert.ok(signal.aborted);
  assert.equal(uploader.busy, false);
  assert.equal(uploader.items.length, 0);
});

test('Uploader.SendsWithoutAskingWhereHashesCannotBeHad', async () => {
  const { uploader, log, settled } = world({ hash: async () => '' });
  uploader.add('7', [file('a'), file('b')]);
  await settled();
  assert.deepEqual(log, ['send a', 'send b']);
});

test('Uploader.CountsBytesAsTheyLeave', async () => {
  let leave = null;
  const { uploader } = world({
    send: (item, onProgress) => {
      leave = onProgress;
      return new Promise(() => undefined);
    },
  });
  uploader.add('7', [file('a', 1000)]);
  while (leave === null) await new Promise(setImmediate);
  leave(400);
  assert.deepEqual([uploader.summary().bytes, uploader.summary().sentBytes], [1000, 400]);
  leave(1300);
  assert.equal(uploader.summary().sentBytes, 1000);
});

test('Uploader.SendsTwoAtATimeAndHashesAheadOfThem', async () => {
  let sending = 0;
  let most = 0;
  const { uploader, settled } = world({
    send: async () => {
      sending += 1;
      most = Math.max(most, sending);
      await new Promise(setImmediate);
      sending -= 1;
      return true;
    },
  });
  uploader.add('7', Array.from({ length: 60 }, (_, at) => file(`f${at}`)));
  await settled();
  assert.equal(uploader.summary().done, 60);
  assert.equal(most, 2);
});
