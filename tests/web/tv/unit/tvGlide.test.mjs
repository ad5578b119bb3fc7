// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../../support/source.mjs';

const { Glide } = await source('tv/core/glide.ts');

const VIEW = 900;

test('Glide.ShowsTheWayOfASinglePress', () => {
  const glide = new Glide(0);
  assert.equal(glide.to(0, VIEW, false, 0), false, 'it has not moved yet');
  assert.equal(glide.to(300, VIEW, false, 1000), true);
  assert.equal(glide.to(300, VIEW, false, 1010), true, 'drawn once more while it is on its way');
  assert.equal(glide.to(0, VIEW, false, 2000), true, 'and back');
});

test('Glide.MakesNoWaysOfPressesThatFollowQuickly', () => {
  const glide = new Glide(0);
  assert.equal(glide.to(300, VIEW, false, 1000), true);
  assert.equal(glide.to(600, VIEW, false, 1150), false);
  assert.equal(glide.to(600, VIEW, false, 1900), false, 'what has been moved is not on its way later');
  assert.equal(glide.to(900, VIEW, false, 2000), true);
});

test('Glide.MakesNoWaysOfJumpsAndHeldKeys', () => {
  const glide = new Glide(0);
  assert.equal(glide.to(VIEW, VIEW, false, 1000), false);
  assert.equal(glide.to(VIEW + 300, VIEW, true, 2000), false);
  assert.equal(glide.to(VIEW + 300, VIEW, false, 3000), false, 'the key has been let go');
  assert.equal(glide.to(300, VIEW, false, 4000), false, 'back');
  assert.equal(glide.to(0, VIEW, false, 5000), true);
});
