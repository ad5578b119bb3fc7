// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../../support/source.mjs';

const { motionFor, pairFrames } = await source('tv/core/motion.ts');
const ROOM = { left: 0, top: 0, width: 1920, height: 1080 };

/** The corners of a frame under a transform, as CSS has it. */
function placed({ frame, origin }, transform) {
  const [ox, oy] = origin.split(' ').map((one, at) => (parseFloat(one) / (one.includes('%') ? 100 : Infinity)) * (at === 0 ? frame.width : frame.height) || 0);
  const scale = Number(/scale\(([\d.]+)\)/.exec(transform)?.[1] ?? 1);
  const [, x = 0, y = 0] = (/translate3d\((-?[\d.]+)(?:px)?, (-?[\d.]+)(?:px)?/.exec(transform) ?? []).map(Number);
  const left = frame.left + ox - ox * scale + x;
  const top = frame.top + oy - oy * scale + y;
  return { left, top, right: left + frame.width * scale, bottom: top + frame.height * scale };
}

const inside = (box, room) => box.left >= room.left - 0.5 && box.top >= room.top - 0.5 && box.right <= room.left + room.width + 0.5 && box.bottom <= room.top + room.height + 0.5;

test('Motion.CutsNothingOffOfAnyUsualPhoto', () => {
  for (const aspect of [3 / 4, 2 / 3, 9 / 16, 1, 4 / 3, 3 / 2, 16 / 9, 2]) {
    for (let turn = 0; turn < 12; ++turn) {
      const motion = motionFor(aspect, ROOM, 8, true, turn);
      for (const transform of [motion.from, motion.to]) assert.ok(inside(placed(motion, transform), ROOM), `${aspect} ${turn} ${transform}`);
      assert.ok(Math.abs(motion.frame.width / motion.frame.height - aspect) < 0.01, 'the form is kept');
      assert.notEqual(motion.from, motion.to);
    }
  }
});

test('Motion.IsATransformThatFillsTheScreenAtOneEnd', () => {
  const motion = motionFor(16 / 9, ROOM, 8, true, 0);
  assert.deepEqual(motion.frame, ROOM);
  assert.match(motion.from + motion.to, /^scale\([\d.]+\)scale\([\d.]+\)$/);
});

test('Motion.LetsPanoramasPassByAsAWhole', () => {
  for (const [aspect, seconds] of [[3, 8], [4, 8], [4, 60], [8, 20], [4, 2]]) {
    for (const turn of [0, 1]) {
      const motion = motionFor(aspect, ROOM, seconds, true, turn);
      const [from, to] = [placed(motion, motion.from), placed(motion, motion.to)];
      const [first, last] = turn === 0 ? [from, to] : [to, from];
      assert.ok(Math.abs(first.left) < 0.6 && Math.abs(last.right - 1920) < 0.6, `${aspect} in ${seconds} s from end to end`);
      assert.ok(from.top >= -0.6 && from.bottom <= 1080.6, 'nothing cut above or below');
      const speed = Math.abs(to.left - from.left) / seconds;
      assert.ok(speed <= 0.12 * 1920, `calm: ${speed}`);
    }
  }
  const high = motionFor(0.3, ROOM, 20, true);
  const [from, to] = [placed(high, high.from), placed(high, high.to)];
  assert.ok(Math.abs(from.top) < 0.6 && Math.abs(to.bottom - 1080) < 0.6, 'a tower from above to below');
});

test('Motion.StandsStillWhereItIsNotWanted', () => {
  for (const aspect of [0.3, 0.75, 1.5, 5]) {
    const motion = motionFor(aspect, ROOM, 8, false, 3);
    assert.equal(motion.from, 'none');
    assert.equal(motion.to, 'none');
    assert.ok(inside(placed(motion, 'none'), ROOM));
  }
});

test('Motion.TakesWhatHasNoFormAsItIs', () => {
  assert.deepEqual(motionFor(NaN, ROOM, 8, true).frame, ROOM);
  assert.deepEqual(motionFor(0, ROOM, 8, true).frame, ROOM);
});

test('Motion.SetsTwoTallPicturesCloseTogetherInTheMiddle', () => {
  const [left, right] = pairFrames([3 / 4, 2 / 3], ROOM, 20);
  assert.ok(Math.abs(left.left + left.width - (960 - 10)) < 0.6);
  assert.equal(right.left, 970);
  for (const frame of [left, right]) assert.ok(inside(placed({ frame, origin: '0 0' }, 'none'), ROOM));
  assert.ok(Math.abs(left.width / left.height - 0.75) < 0.01);
});
