// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../../support/source.mjs';

const { actionOf, HeldKeys, KEYS } = await source('tv/core/keys.ts');

test('Keys.MeanWhatRemoteControlsMeanByThem', () => {
  const remote = { 461: 'back', 10009: 'back', 166: 'back', 415: 'play', 19: 'pause', 10252: 'playPause', 179: 'playPause', 503: 'playPause', 457: 'info', 427: 'newer', 428: 'older', 403: 'comment', 404: 'mark', 405: 'hide', 406: 'show', 413: 'stop' };
  for (const [code, action] of Object.entries(remote)) assert.equal(actionOf('Unidentified', Number(code)), action, code);
});

test('Keys.MeanWhatTheirNamesSay', () => {
  const named = { ArrowUp: 'up', Enter: 'enter', Escape: 'back', Backspace: 'back', BrowserBack: 'back', GoBack: 'back', ' ': 'playPause', PageUp: 'newer', PageDown: 'older', MediaPlayPause: 'playPause', ColorF0Red: 'comment', c: 'comment', C: 'comment', m: 'mark', 0: 'keys', F1: 'keys' };
  for (const [key, action] of Object.entries(named)) assert.equal(actionOf(key, 0), action, key);
});

test('Keys.AreNoneWhereTheyAreOnlyLettersAndWheels', () => {
  for (const [key, code] of [['x', 88], ['1', 49], ['Shift', 16], ['F5', 116], ['Tab', 9], ['Unidentified', 1536], ['%', 37], ['&', 38], ['(', 40]]) assert.equal(actionOf(key, code), null, `${key} ${code}`);
});

test('Keys.HaveEachNumberOnce', () => {
  const codes = KEYS.flatMap((entry) => entry.codes);
  assert.equal(new Set(codes).size, codes.length);
  const names = KEYS.flatMap((entry) => [...entry.names, ...(entry.letters ?? [])]);
  assert.equal(new Set(names).size, names.length);
});

/** A clock and frames that the test turns. */
function hold() {
  const world = { time: 1000, frames: [] };
  const keys = new HeldKeys(() => world.time, (then) => world.frames.push(then));
  const draw = () => world.frames.splice(0).forEach((then) => then());
  return { world, keys, draw };
}

test('HeldKeys.SpeedUpWhileTheyAreHeld', () => {
  const { world, keys, draw } = hold();
  assert.deepEqual(keys.down('down', false, 1000), { action: 'down', steps: 1, held: false });
  const steps = [];
  for (let repeat = 0; repeat < 120; ++repeat) {
    world.time += 33;
    steps.push(keys.down('down', true, world.time).steps);
    draw();
  }
  assert.equal(steps[0], 1);
  assert.deepEqual([...steps].sort((a, b) => a - b), steps, 'never slower while held');
  assert.equal(steps[119], 32);
});

test('HeldKeys.StopAtOnceAndBeginSlowlyAgain', () => {
  const { world, keys, draw } = hold();
  keys.down('right', false, 1000);
  for (let repeat = 0; repeat < 60; ++repeat) {
    world.time += 33;
    keys.down('right', true, world.time);
    draw();
  }
  assert.equal(keys.holding, true);
  keys.up();
  assert.equal(keys.holding, false);
  world.time += 10;
  assert.equal(keys.down('right', false, world.time).steps, 1);
});

test('HeldKeys.MoveOnceInAFrameAndNeverForAPressThatIsOld', () => {
  const { world, keys, draw } = hold();
  keys.down('down', false, 1000);
  world.time = 1033;
  assert.notEqual(keys.down('down', true, 1033), null);
  assert.equal(keys.down('down', true, 1034), null, 'the same frame');
  draw();
  world.time = 1600;
  assert.equal(keys.down('down', true, 1050), null, 'the page was busy, the key is long up');
  draw();
  assert.notEqual(keys.down('down', true, 1599), null);
});

test('HeldKeys.KnowARemoteControlThatRepeatsWithoutSayingSo', () => {
  const { world, keys, draw } = hold();
  keys.down('down', false, 1000);
  world.time = 1100;
  assert.equal(keys.down('down', false, 1100).held, true);
  draw();
  world.time = 3000;
  assert.equal(keys.down('down', false, 3000).held, false);
});

test('HeldKeys.DoOnceWhatMustNotBeRepeated', () => {
  const { keys } = hold();
  assert.notEqual(keys.down('enter', false, 1000), null);
  assert.equal(keys.down('enter', true, 1040), null);
  assert.equal(keys.down('hide', true, 1080).held, false, 'another key is a press of its own');
});
