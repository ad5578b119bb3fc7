// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../support/source.mjs';

const { ScrollScale, HIGHEST_BOX } = await source('common/scrollScale.ts');
const VIEW = 800;

test('ScrollScale.IsTheScrollPositionItselfBelowTheBound', () => {
  const scale = new ScrollScale(50_000, VIEW);
  assert.equal(scale.box, 50_000);
  assert.equal(scale.placeAt(1234), 1234);
  assert.equal(scale.scrollTo(4321), 4321);
  assert.equal(scale.shift, 0);
});

test('ScrollScale.NeverAsksForABoxBeyondTheBound', () => {
  assert.equal(new ScrollScale(400_000_000, VIEW).box, HIGHEST_BOX);
  assert.ok(HIGHEST_BOX <= 10_000_000);
});

test('ScrollScale.ReachesBothEndsOfAFeedThatIsHigherThanTheBox', () => {
  const scale = new ScrollScale(400_000_000, VIEW);
  assert.equal(scale.placeAt(0), 0);
  assert.equal(scale.placeAt(HIGHEST_BOX - VIEW), 400_000_000 - VIEW);
});

test('ScrollScale.MovesByWhatIsScrolledInSmallSteps', () => {
  const scale = new ScrollScale(400_000_000, VIEW);
  let scroll = scale.scrollTo(123_456_789);
  let place = scale.placeAt(scroll);
  assert.equal(place, 123_456_789);
  for (let step = 0; step < 200; ++step) {
    scroll += 100;
    const next = scale.placeAt(scroll);
    assert.equal(next - place, 100);
    place = next;
  }
});

test('ScrollScale.MovesByItsShareWhenTheBarIsDragged', () => {
  const scale = new ScrollScale(400_000_000, VIEW);
  const half = scale.placeAt((HIGHEST_BOX - VIEW) / 2);
  assert.ok(Math.abs(half - (400_000_000 - VIEW) / 2) < 2);
});

test('ScrollScale.ShowsEveryPlaceInsideTheBox', () => {
  const scale = new ScrollScale(400_000_000, VIEW);
  for (const place of [0, 5, 1000, 199_999_999, 399_999_000, 500_000_000]) {
    const scroll = scale.scrollTo(place);
    assert.ok(scroll >= 0 && scroll <= HIGHEST_BOX - VIEW, `${place} at ${scroll}`);
    assert.equal(scale.placeAt(scroll), Math.min(place, 400_000_000 - VIEW));
  }
});
