// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../../support/source.mjs';

const { Places } = await source('tv/core/places.ts');
const { routeOf, showPath, above, photoPath } = await source('tv/core/routes.ts');
const SHAPE = { columns: 4, tile: 200, gap: 10, heading: 50, below: 10 };

test('Places.AreTheProgramsWhereEverythingIsCounted', () => {
  const months = [{ month: '2026-11', count: 5, index: 0 }, { month: '2026-10', count: 3, index: 5 }];
  const places = new Places(months, SHAPE, () => 0);
  assert.equal(places.total, 8);
  assert.deepEqual(places.at(6), { month: '2026-10', offset: 1, index: 6 });
  assert.equal(places.placeOf(7), 7);
  assert.equal(places.monthStart('2026-10'), 5);
  assert.equal(places.monthStart('1999-01'), -1);
});

test('Places.MakeRoomForMonthsThatAreKnownByNameOnly', () => {
  const months = [{ month: '2026-11', count: 5, index: 0 }, { month: '2020-01', count: null, index: null }, { month: '2019-01', count: 2, index: 900 }];
  const empty = new Places(months, SHAPE, () => 0);
  assert.equal(empty.total, 7);
  assert.equal(empty.monthStart('2020-01'), 5);
  const looked = new Places(months, SHAPE, (month) => (month === '2020-01' ? 4 : 0));
  assert.equal(looked.total, 11);
  assert.deepEqual(looked.at(6), { month: '2020-01', offset: 1, index: null });
  assert.deepEqual(looked.at(9), { month: '2019-01', offset: 0, index: 900 });
  assert.equal(looked.placeOf(901), 10);
  assert.equal(looked.placeOf(700), -1);
});

test('Places.OfAMillionAreFoundAtOnce', () => {
  const months = Array.from({ length: 250 }, (_, at) => ({ month: `m${at}`, count: 4000, index: at * 4000 }));
  const places = new Places(months, SHAPE, () => 0);
  const start = performance.now();
  for (let step = 0; step < 10_000; ++step) {
    const place = (step * 7919) % 1_000_000;
    assert.equal(places.at(place).index, place);
    places.geometry.neighbour(place, 0, 1);
  }
  assert.ok(performance.now() - start < 1000);
  assert.equal(places.geometry.neighbour(3999, 0, 1), 4000 + 3);
});

test('Routes.AreReadFromWhatStandsBehindTheSign', () => {
  assert.deepEqual(routeOf(''), { view: 'groups' });
  assert.deepEqual(routeOf('#/nonsense'), { view: 'groups' });
  assert.deepEqual(routeOf('#/group/7'), { view: 'group', group: '7' });
  assert.deepEqual(routeOf('#/group/7/photo/9?x=1'), { view: 'photo', group: '7', content: '9' });
  assert.deepEqual(routeOf('#/show?of=day&order=time&seconds=0.5'), { view: 'show', group: '', wish: { of: 'day', order: 'time', seconds: 0.5, from: '' } });
  assert.deepEqual(routeOf('#/group/7/show?of=2026-11&seconds=0.01').wish, { of: '2026-11', order: '', seconds: 0.1, from: '' });
  assert.deepEqual(routeOf('#/group/7/show?of=nothing&order=up&seconds=-4').wish, { of: 'all', order: '', seconds: 0, from: '' });
  assert.deepEqual(routeOf('#/group/%E0%A4%A'), { view: 'group', group: '%E0%A4%A' });
});

test('Routes.AreWrittenAsTheyAreRead', () => {
  for (const wish of [{ of: 'all', order: '', seconds: 0, from: '' }, { of: '2020-02', order: 'time', seconds: 3, from: '12' }]) assert.deepEqual(routeOf(showPath('a/b', wish)), { view: 'show', group: 'a/b', wish });
  assert.deepEqual(routeOf(photoPath('x y', '#1')), { view: 'photo', group: 'x y', content: '#1' });
  assert.equal(above(routeOf('#/group/7/photo/9')), '#/group/7');
  assert.equal(above(routeOf('#/show')), '#/groups');
  assert.equal(above(routeOf('#/groups')), null);
});
