// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../support/source.mjs';

const { Geometry, shapeFor } = await source('common/geometry.ts');

const SHAPE = { columns: 4, tile: 98, gap: 2, heading: 50, below: 10 };
const months = (...counts) => {
  let index = 0;
  return counts.map((count, at) => {
    const month = { month: `2026-${String(12 - at).padStart(2, '0')}`, count, index };
    index += count;
    return month;
  });
};

test('Geometry.IsAsHighAsAllMonthsTogether', () => {
  const geometry = new Geometry(months(5, 4, 1), SHAPE);
  assert.equal(geometry.height, 50 + 200 + 10 + (50 + 100 + 10) + (50 + 100 + 10));
  assert.equal(geometry.total, 10);
});

test('Geometry.IsEmptyWithoutMonths', () => {
  const geometry = new Geometry([], SHAPE);
  assert.equal(geometry.height, 0);
  assert.deepEqual(geometry.between(0, 1000), []);
  assert.equal(geometry.indexAt(0), 0);
  assert.equal(geometry.rowTop(3), 0);
});

test('Geometry.PutsEveryContentWhereItsHeightLeadsBackToIt', () => {
  const geometry = new Geometry(months(5, 4, 1, 13), SHAPE);
  for (let index = 0; index < geometry.total; ++index) {
    const month = geometry.months[geometry.monthOf(index)];
    const firstOfRow = month.index + Math.floor((index - month.index) / 4) * 4;
    assert.equal(geometry.indexAt(geometry.rowTop(index)), firstOfRow, `content ${index}`);
  }
});

test('Geometry.ShowsExactlyTheRowsThatAStretchTouches', () => {
  const geometry = new Geometry(months(9, 4), SHAPE);
  // The second row of the first month begins at 150.
  assert.deepEqual(
    geometry.between(151, 249).map(({ month, firstRow, endRow }) => [month.month, firstRow, endRow]),
    [['2026-12', 1, 2]],
  );
  assert.deepEqual(
    geometry.between(0, 10_000).map(({ firstRow, endRow }) => [firstRow, endRow]),
    [
      [0, 3],
      [0, 1],
    ],
  );
});

test('Geometry.CoversAllContentsOnceWhenWalkedThroughByScreens', () => {
  const geometry = new Geometry(months(37, 1, 400, 3, 99), SHAPE);
  const seen = new Set();
  for (let top = 0; top < geometry.height; top += 300) {
    for (const { month, firstRow, endRow } of geometry.between(top, top + 300)) {
      for (let row = firstRow; row < endRow; ++row) {
        for (let at = row * 4; at < Math.min(month.count, row * 4 + 4); ++at) seen.add(month.index + at);
      }
    }
  }
  assert.equal(seen.size, 540);
});

test('Geometry.LeadsByArrowsFromMonthToMonthInTheSameColumn', () => {
  const geometry = new Geometry(months(6, 5), SHAPE);
  assert.equal(geometry.neighbour(0, 1, 0), 1);
  assert.equal(geometry.neighbour(0, -1, 0), 0);
  assert.equal(geometry.neighbour(1, 0, 1), 5);
  assert.equal(geometry.neighbour(5, 0, 1), 7);
  assert.equal(geometry.neighbour(7, 0, -1), 5);
  assert.equal(geometry.neighbour(3, 0, 1), 5, 'a short row has its last one');
  assert.equal(geometry.neighbour(10, 0, 1), 10);
  assert.equal(geometry.neighbour(10, 1, 0), 10);
});

test('Geometry.FillsTheWidthWithWholeTilesOnEveryScreen', () => {
  for (const width of [320, 390, 599, 600, 768, 1280, 1920, 3840]) {
    const shape = shapeFor(width, width > 3000 ? 24 : 16);
    const used = shape.columns * shape.tile + (shape.columns - 1) * shape.gap;
    assert.ok(used <= width, `${width}: ${used}`);
    assert.ok(width - used < shape.columns + 1, `${width} leaves ${width - used}`);
    assert.ok(shape.tile >= 96, `${width}: tiles of ${shape.tile}`);
  }
  assert.equal(shapeFor(320, 16).columns, 3);
});

test('Geometry.FindsAMonthAmongAHundredThousandContentsQuickly', () => {
  const geometry = new Geometry(months(...Array.from({ length: 400 }, () => 250)), SHAPE);
  const start = performance.now();
  for (let at = 0; at < 100_000; ++at) geometry.rowTop(at);
  assert.ok(performance.now() - start < 500);
});
