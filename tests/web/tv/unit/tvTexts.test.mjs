// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import test from 'node:test';
import { pathToFileURL } from 'node:url';
import { join } from 'node:path';
import { WEB } from '../../support/modules.mjs';
import { source } from '../../support/source.mjs';

const { en } = await source('tv/core/texts.en.ts');
const { de } = await source('tv/core/texts.de.ts');
const { newerThan } = await import(pathToFileURL(join(WEB, 'tools/newer.mjs')));

const places = (text) => [...text.matchAll(/\{(\w+)\}/g)].map(([, name]) => name).sort();

test('TvTexts.AreThereInEachLanguageWithTheSameValues', () => {
  assert.deepEqual(Object.keys(de).sort(), Object.keys(en).sort());
  for (const key of Object.keys(en)) assert.deepEqual(places(de[key]), places(en[key]), key);
});

test('TvTexts.HaveTheNamesThatOthersFindThingsBy', () => {
  const { groups, startShow, comment, send, mark, hide, keys, settings } = en;
  assert.deepEqual([groups, startShow, comment, send, mark, hide, keys, settings], ['Groups', 'Start show', 'Comment', 'Send', 'Mark', 'Hide', 'Keys', 'Settings']);
});

test('Newer.FindsWhatAnOldTelevisionDoesNotHave', () => {
  const script = 'a.replaceChildren(); queueMicrotask(f); b.flat(); new ResizeObserver(g); el.animate([]); Object.fromEntries(d);';
  const style = '.a{display:flex;gap:1px} .b{inset:0;width:min(1px,2px)} .c:focus-visible{color:red} .d{display:grid;gap:1px} .e{height:100dvh} @supports (inset:0){.f{inset:0}}';
  const found = newerThan(68, { script, style }).join('\n');
  for (const one of ['replaceChildren', 'queueMicrotask', '.flat', 'fromEntries', 'gap outside', 'inset', 'width: min', 'focus-visible', 'dvh']) assert.ok(found.includes(one), one);
  for (const one of ['ResizeObserver', 'animate', 'in .d', 'in .f']) assert.ok(!found.includes(one), one);
  assert.deepEqual(newerThan(200, { script, style: '' }), []);
});
