// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../../support/source.mjs';

const { Slots } = await source('tv/core/slots.ts');

const numbers = (slots) => slots.map(({ slot }) => slot);
const fresh = (slots) => slots.map(({ isNew }) => isNew);

test('Slots.StayWithTheirRowsWhileThoseAreOnScreen', () => {
  const slots = new Slots();
  assert.deepEqual(numbers(slots.take(['a', 'b', 'c'], 0)), [0, 1, 2]);
  assert.deepEqual(numbers(slots.take(['b', 'c', 'd'], 10)), [1, 2, 0], 'the row that comes has the element of the one that went');
  assert.deepEqual(numbers(slots.take(['a', 'b', 'c'], 0)), [0, 1, 2]);
});

test('Slots.KeepTheirOrderWhereEverythingChanges', () => {
  const slots = new Slots();
  slots.take(['a', 'b', 'c'], 0);
  slots.take(['b', 'c', 'd'], 10);
  assert.deepEqual(numbers(slots.take(['x', 'y', 'z'], 5000)), [1, 2, 0], 'no element need move in the document');
});

test('Slots.AreAsManyAsTheMostRowsAtATime', () => {
  const slots = new Slots();
  slots.take(['a', 'b', 'c', 'd'], 0);
  assert.deepEqual(numbers(slots.take(['d'], 1)), [3]);
  const more = numbers(slots.take(['d', 'e', 'f', 'g', 'h'], 2));
  assert.deepEqual([...more].sort(), [0, 1, 2, 3, 4]);
  assert.equal(new Set(more).size, 5);
});

test('Slots.AreNewUntilTheNextMove', () => {
  const slots = new Slots();
  assert.deepEqual(fresh(slots.take(['a', 'b'], 0)), [true, true]);
  assert.deepEqual(fresh(slots.take(['b', 'c'], 10)), [false, true]);
  assert.deepEqual(fresh(slots.take(['b', 'c'], 10)), [false, true], 'drawn once more in its place');
  assert.deepEqual(fresh(slots.take(['b', 'c'], 0)), [false, false], 'also where it goes back to a height of before');
});
