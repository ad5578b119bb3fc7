// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../../support/source.mjs';

const { isNight, laterBy, minutesOf } = await source('tv/core/nightHours.ts');
const { driftAt } = await source('tv/core/drift.ts');
const { entryOf, railOf, railStep, windowAt, yearStep } = await source('tv/core/rail.ts');
const at = (hour, minute = 0) => new Date(2026, 10, 22, hour, minute);

test('Night.GoesOverMidnight', () => {
  const night = { from: '22:00', to: '07:00' };
  assert.equal(isNight(night, at(21, 59)), false);
  assert.equal(isNight(night, at(22)), true);
  assert.equal(isNight(night, at(3)), true);
  assert.equal(isNight(night, at(6, 59)), true);
  assert.equal(isNight(night, at(7)), false);
});

test('Night.MayBeWithinADayAndIsNoneOfNoLength', () => {
  assert.equal(isNight({ from: '13:00', to: '15:00' }, at(14)), true);
  assert.equal(isNight({ from: '13:00', to: '15:00' }, at(15)), false);
  assert.equal(isNight({ from: '13:00', to: '13:00' }, at(13)), false);
  assert.equal(isNight({ from: 'soon', to: '13:00' }, at(12)), false);
  assert.equal(isNight(null, at(3)), false);
});

test('Night.IsSetByHalfHoursRoundAndRound', () => {
  assert.equal(laterBy('23:30', 30), '00:00');
  assert.equal(laterBy('00:00', -30), '23:30');
  assert.equal(minutesOf('24:00'), -1);
});

test('Drift.LeavesNothingOnOneSpot', () => {
  const spots = new Set();
  let corners = new Set();
  for (let minute = 0; minute < 24 * 60; ++minute) {
    const { across, down, corner } = driftAt(minute);
    assert.ok(Math.abs(across) <= 1 && Math.abs(down) <= 1);
    const before = driftAt(minute - 1);
    assert.ok(Math.abs(across - before.across) < 0.3 && Math.abs(down - before.down) < 0.3, 'nobody sees it move');
    spots.add(`${across.toFixed(2)} ${down.toFixed(2)}`);
    corners.add(corner);
  }
  assert.ok(spots.size > 400, String(spots.size));
  assert.equal(corners.size, 4);
});

test('Rail.HasEachYearBeforeItsMonths', () => {
  const months = ['2026-11', '2026-01', '2025-12', '2024-02', '2024-01'].map((month) => ({ month, count: 1, index: 0 }));
  const rail = railOf(months);
  assert.deepEqual(rail.map((one) => one.name), ['2026', '2026-11', '2026-01', '2025', '2025-12', '2024', '2024-02', '2024-01']);
  assert.equal(rail[5].month, '2024-02');
  assert.equal(entryOf(rail, '2025-12'), 4);
  assert.equal(entryOf(rail, '1999-01'), -1);
  assert.equal(railStep(rail, 6, 5), 7);
  assert.equal(yearStep(rail, 1, 1), 3);
  assert.equal(yearStep(rail, 1, -1), 0);
  assert.deepEqual(railOf([{ month: '', count: 3, index: 0 }]), []);
});

test('Rail.ShowsAWindowAroundTheEntry', () => {
  assert.equal(windowAt(100, 50, 21), 40);
  assert.equal(windowAt(100, 2, 21), 0);
  assert.equal(windowAt(100, 99, 21), 79);
  assert.equal(windowAt(5, 4, 21), 0);
});
