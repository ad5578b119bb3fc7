// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { source } from '../support/source.mjs';

const { SseParser } = await source('common/sseParser.ts');
const { delayBefore, retryAfterOf } = await source('common/backoff.ts');
const { failureOf, Failure } = await source('common/http.ts');
const { PageCache } = await source('common/pageCache.ts');
const { tidyCode, isWhole } = await source('family/core/userCode.ts');
const { beginsLikePicture } = await source('family/core/sniff.ts');

test('Events.ComeWholeHoweverTheirBytesAreCut', () => {
  const text = ': hello\n\nid: 7\nevent: comment\ndata: {"a":\ndata: 1}\n\nretry: 500\ndata: x\r\n\r\n';
  for (let cut = 0; cut <= text.length; ++cut) {
    const parser = new SseParser();
    const events = [...parser.push(text.slice(0, cut)), ...parser.push(text.slice(cut))];
    assert.deepEqual(events, [
      { event: 'comment', data: '{"a":\n1}', id: '7' },
      { event: 'message', data: 'x', id: '7' },
    ], `cut at ${cut}`);
    assert.equal(parser.retry, 500);
  }
});

test('Backoff.GrowsToItsBoundAndNeverUndercutsTheService', () => {
  const backoff = { first: 1000, most: 60_000 };
  const most = (failures, after = null) => delayBefore(failures, backoff, after, () => 1);
  const least = (failures, after = null) => delayBefore(failures, backoff, after, () => 0);
  assert.equal(least(1), 250);
  assert.equal(most(3), 4250);
  assert.equal(most(40), 60_250);
  assert.equal(least(1, 30_000), 30_000);
  assert.equal(most(1, 30_000), 37_500);
});

test('Backoff.ReadsRetryAfterAgainstTheServicesClock', () => {
  assert.equal(retryAfterOf('7'), 7000);
  assert.equal(retryAfterOf('Sun, 22 Nov 2026 10:00:30 GMT', 'Sun, 22 Nov 2026 10:00:00 GMT'), 30_000);
  assert.equal(retryAfterOf('Sun, 22 Nov 2026 09:00:00 GMT', 'Sun, 22 Nov 2026 10:00:00 GMT'), 0);
  assert.equal(retryAfterOf('soon'), null);
  assert.equal(retryAfterOf(null), null);
  assert.equal(retryAfterOf('99999999'), 3_600_000);
});

test('Failures.AreToldByTheServicesWordElseByTheirCode', () => {
  assert.equal(failureOf(404, '{"error":"wrong_code","message":"x"}', null, null).word, 'wrong_code');
  assert.equal(failureOf(413, '<html>', null, null).word, 'too_large');
  assert.equal(failureOf(418, '', null, null).word, 'failed');
  assert.equal(failureOf(429, '{}', '12', null).retryAfter, 12_000);
});

test('Failures.PassByThemselvesOnlyWhereNobodyHasToDoAnything', () => {
  for (const [word, status] of [['away', 0], ['cut', 0], ['busy', 409], ['too_many', 429], ['failed', 500]]) assert.ok(new Failure(word, status, '').passing, word);
  for (const [word, status] of [['too_many', 403], ['disk_full', 503], ['not_a_picture', 400], ['signed_out', 401], ['gone', 410]]) assert.ok(!new Failure(word, status, '').passing, word);
});

test('PageCache.KeepsThePagesUsedLast', () => {
  const cache = new PageCache(10, 2);
  cache.put(0, ['a']);
  cache.put(3, ['b', 'c']);
  cache.touch(0);
  cache.put(5, ['d']);
  assert.equal(cache.get(0), 'a');
  assert.equal(cache.get(31), undefined);
  assert.equal(cache.get(50), 'd');
  assert.equal(cache.find((record) => record === 'd'), 50);
  assert.equal(cache.find((record) => record === 'b'), -1);
  assert.equal(cache.size, 2);
});

test('UserCode.TakesWhateverIsTypedForTheLettersInIt', () => {
  assert.equal(tidyCode('bcdf ghjk'), 'BCDF-GHJK');
  assert.equal(tidyCode('BCDF-GHJKXX'), 'BCDF-GHJK');
  assert.equal(tidyCode('aeiou1b'), 'B');
  assert.ok(isWhole('BCDF-GHJK'));
  assert.ok(!isWhole('BCDF-GHJ'));
});

test('Sniff.KnowsWhatTheServiceTakes', () => {
  const bytes = (text) => Uint8Array.from(text, (letter) => letter.charCodeAt(0));
  const heic = (main, ...brands) => bytes(`\0\0\0${String.fromCharCode(16 + brands.length * 4)}ftyp${main}\0\0\0\0${brands.join('')}`);
  for (const good of [bytes('\xff\xd8\xff\xe0'), bytes('\x89PNG\r\n\x1a\n'), bytes('GIF89a'), bytes('RIFF\0\0\0\0WEBP'), heic('heic'), heic('mif1', 'mif1', 'heic')]) {
    assert.ok(beginsLikePicture(good));
  }
  for (const bad of [bytes(''), bytes('hello'), bytes('RIFF\0\0\0\0WAVE'), heic('isom', 'heic'), heic('mif1', 'avif')]) assert.ok(!beginsLikePicture(bad));
});

const { groupPath, photoPath, routeOf } = await source('family/core/routes.ts');
const { liveEvent } = await source('family/core/live.ts');

test('Routes.LeadFromEveryAddressToItsView', () => {
  assert.deepEqual(routeOf('/'), { view: 'groups' });
  assert.deepEqual(routeOf('/group/7', '#2010-05'), { view: 'group', group: '7', month: '2010-05' });
  assert.deepEqual(routeOf('/group/7', '#x'), { view: 'group', group: '7', month: null });
  assert.deepEqual(routeOf('/group/7/photo/9'), { view: 'photo', group: '7', content: '9' });
  assert.deepEqual(routeOf('/pair'), { view: 'pair', code: '' });
  assert.deepEqual(routeOf('/pair/BCDF-GHJK'), { view: 'pair', code: 'BCDF-GHJK' });
  assert.deepEqual(routeOf('/devices'), { view: 'devices' });
  assert.deepEqual(routeOf('/invite/a%2Fb'), { view: 'invite', key: 'a/b' });
  for (const path of ['/x', '/group/', '/group/7/photo/', '/devices/1', '/invite/%']) assert.deepEqual(routeOf(path), { view: 'unknown' }, path);
  assert.deepEqual(routeOf(photoPath('a/b', '%')), { view: 'photo', group: 'a/b', content: '%' });
  assert.equal(groupPath('7'), '/group/7');
});

test('Events.OfTheServiceAreReadAndUnknownOnesPassedOver', () => {
  assert.deepEqual(liveEvent('content', '{"group":"1","content_id":"2"}'), { kind: 'content', group: '1', content: '2' });
  assert.deepEqual(liveEvent('deleted', '{"group":"1","content_id":"2","comment_id":"3"}'), { kind: 'deleted', group: '1', content: '2', comment: '3' });
  assert.deepEqual(liveEvent('deleted', '{"group":"1","content_id":"2"}'), { kind: 'deleted', group: '1', content: '2', comment: null });
  assert.deepEqual(liveEvent('reset', '{}'), { kind: 'everything' });
  assert.deepEqual(liveEvent('version', '{"version":"a"}'), { kind: 'version', version: 'a' });
  assert.equal(liveEvent('party', '{}'), null);
  assert.equal(liveEvent('content', 'no'), null);
});
