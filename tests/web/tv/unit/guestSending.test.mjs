// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../../support/source.mjs';

const { Sending } = await source('guest/sending.ts');

/** A television whose answers the test gives. */
function means() {
  const waiting = [];
  const timers = [];
  return {
    waiting,
    timers,
    sending: new Sending({
      send: (file, onProgress) => new Promise((resolve) => waiting.push({ file, onProgress, answer: (status, word = '', retryAfter = null) => resolve({ status, word, retryAfter }) })),
      after: (wait, then) => timers.push({ wait, then }),
      onChange: () => {},
    }),
  };
}
const settle = () => new Promise((resolve) => setImmediate(resolve));

test('Sending.SendsTwoAtATime', async () => {
  const { sending, waiting } = means();
  sending.add(['a', 'b', 'c']);
  assert.equal(waiting.length, 2);
  waiting[0].answer(201);
  await settle();
  assert.equal(waiting.length, 3);
  waiting[1].answer(201);
  waiting[2].answer(201);
  await settle();
  assert.equal(sending.arrived, 3);
  assert.equal(sending.busy, false);
});

test('Sending.WaitsAsLongAsItIsAskedTo', async () => {
  const { sending, waiting, timers } = means();
  sending.add(['a']);
  waiting[0].answer(503, 'away', 7000);
  await settle();
  assert.ok(timers[0].wait >= 7000);
  assert.equal(sending.list[0].state, 'retrying');
  timers[0].then();
  waiting[1].answer(201);
  await settle();
  assert.equal(sending.list[0].state, 'done');
});

test('Sending.GivesUpWhatWillNotPass', async () => {
  for (const [status, word] of [[413, 'too_large'], [415, 'bad_file'], [429, 'too_many'], [503, 'disk_full']]) {
    const { sending, waiting, timers } = means();
    sending.add(['a']);
    waiting[0].answer(status, word);
    await settle();
    assert.equal(sending.list[0].state, 'failed', word);
    assert.equal(sending.list[0].word, word);
    assert.equal(timers.length, 0);
    sending.again(1);
    assert.equal(waiting.length, 2);
  }
});

test('Sending.EndsWithTheShow', async () => {
  const { sending, waiting } = means();
  sending.add(['a', 'b', 'c', 'd']);
  waiting[0].answer(410, 'closed');
  await settle();
  assert.equal(sending.closed, true);
  assert.equal(waiting.length, 2, 'nothing more is sent');
  assert.deepEqual(sending.list.map((one) => one.word), ['closed', '', 'closed', 'closed']);
});

test('Sending.GoesOnWhereThereWasNoAnswer', async () => {
  const { sending, waiting, timers } = means();
  sending.add(['a']);
  waiting[0].answer(0);
  await settle();
  assert.equal(timers.length, 1);
});
