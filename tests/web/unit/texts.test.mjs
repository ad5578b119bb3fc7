// SPDX-License-Identifier: MIT
import assert from 'node:assert/strict';
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import test from 'node:test';
import { WEB } from '../support/modules.mjs';
import { source } from '../support/source.mjs';

const { en } = await source('family/core/texts.en.ts');
const { de } = await source('family/core/texts.de.ts');
const { chooseLanguage, sentence } = await source('common/texts.ts');
const { cleanLine, cleanText, isolated } = await source('common/plainText.ts');
const { Dates } = await source('common/wallClock.ts');

const values = (text) => [...text.matchAll(/\{(\w+)\}/g)].map(([, name]) => name).sort();

test('Texts.AreCompleteInBothLanguages', () => {
  assert.deepEqual(Object.keys(de).sort(), Object.keys(en).sort());
  for (const key of Object.keys(en)) {
    assert.notEqual(de[key].trim(), '', key);
    assert.deepEqual(values(de[key]), values(en[key]), `the values of ${key}`);
  }
});

test('Texts.AreAllUsed', () => {
  const sources = ['common', 'family'].flatMap((folder) =>
    readdirSync(join(WEB, folder), { recursive: true })
      .filter((file) => /\.tsx?$/.test(file) && !/texts\.\w\w\.ts$/.test(file))
      .map((file) => readFileSync(join(WEB, folder, file), 'utf8')),
  );
  const all = sources.join('\n');
  const isUsed = (key) => all.includes(`'${key.replace(/_(one|other)$/, '')}'`) || all.includes(`table.${key}`);
  const unused = Object.keys(en).filter((key) => !key.startsWith('error_') && !isUsed(key));
  assert.deepEqual(unused.filter((key) => key !== 'language'), []);
});

test('Texts.HaveASentenceForEveryWordOfTheService', () => {
  const words = ['signed_out', 'forbidden', 'not_found', 'bad_request', 'not_a_picture', 'empty', 'too_large', 'quota', 'disk_full', 'too_many', 'busy', 'gone', 'wrong_code', 'used', 'expired', 'name_taken', 'failed'];
  for (const word of words) assert.ok(en[`error_${word}`], word);
});

test('Texts.TakeTheFormThatTheNumberWants', () => {
  assert.equal(sentence(en, 'en-GB', 'photos', { count: 1 }), '1 photo');
  assert.equal(sentence(en, 'en-GB', 'photos', { count: 100_000 }), '100,000 photos');
  assert.equal(sentence(de, 'de-DE', 'photos', { count: 1234 }), '1.234 Fotos');
});

test('Texts.LeaveValuesOfOthersAsTheyAre', () => {
  assert.equal(sentence(en, 'en', 'by', { name: '<b>{count}</b>' }), 'Added by <b>{count}</b>');
});

test('Texts.IsolateWhatIsWrittenFromRightToLeft', () => {
  assert.equal(isolated('Anna'), 'Anna');
  assert.equal(isolated('אבא'), '\u2068אבא\u2069');
  assert.equal(cleanLine('evil\u202egnp.exe'), 'evilgnp.exe');
  assert.equal(isolated('\u2069x\u202e'), 'x');
});

test('Texts.LoseControlCharactersAndKeepLines', () => {
  assert.equal(cleanText('a\u0000b\u001b[31m\nc\td\u0085'), 'ab[31m\nc\td');
  assert.equal(cleanLine(' a\n\n b '), 'a b');
});

test('Language.IsWhatTheAddressFixesElseWhatTheBrowserPrefers', () => {
  const offered = ['en', 'de'];
  assert.equal(chooseLanguage(offered, ['en', null, 'de-AT']), 'en');
  assert.equal(chooseLanguage(offered, [null, null, 'fr-FR', 'de-AT', 'en']), 'de');
  assert.equal(chooseLanguage(offered, ['xx', undefined, 'pl']), 'en');
});

test('Dates.ShowTheWallClockWhereThePictureWasTaken', () => {
  const dates = new Dates('en-GB');
  for (const zone of ['+09:00', '-11:00', 'Z', '']) {
    assert.match(dates.taken(`2010-05-05T23:04:09${zone}`), /^5 May 2010.* 23:04$/);
  }
  assert.equal(dates.monthName('2010-05'), 'May 2010');
  assert.equal(dates.taken(null), '');
  assert.equal(dates.taken('soon'), '');
});

test('Dates.AreWrittenAsTheirPlaceWritesThem', () => {
  const now = new Date(2010, 4, 5, 7, 4);
  const written = (locale) => {
    const dates = new Dates(locale);
    return [dates.taken('2010-05-05T07:04:09'), dates.takenDay('2010-05-05'), dates.time(now), dates.weekday(now), dates.moment(now.toISOString()), dates.monthName('2010-03'), dates.monthAlone('2010-03')];
  };
  assert.deepEqual(written('en-GB'), ['5 May 2010 at 07:04', '5 May 2010', '07:04', 'Wednesday 5 May', '5 May 2010 at 07:04', 'March 2010', 'March']);
  assert.deepEqual(written('de-DE'), ['5. Mai 2010 um 07:04', '5. Mai 2010', '07:04', 'Mittwoch, 5. Mai', '5. Mai 2010 um 07:04', 'März 2010', 'März']);
  // Others' manners are the browser's.
  assert.match(written('en-US').join('; '), /^May 5, 2010.* 0?7:04.AM; May 5, 2010; 0?7:04.AM; Wednesday, May 5; .*; March 2010; March$/);
});

test('Dates.OfThePagesOwnLanguagesNameEveryMonthAndDayAsTheBrowserDoes', () => {
  for (const locale of ['en-GB', 'de-DE']) {
    const dates = new Dates(locale);
    for (let month = 0; month < 12; ++month) {
      const name = new Intl.DateTimeFormat(locale, { month: 'long', timeZone: 'UTC' }).format(new Date(Date.UTC(2010, month, 1)));
      assert.equal(dates.monthAlone(`2010-${String(month + 1).padStart(2, '0')}`), name);
    }
    for (let day = 1; day <= 7; ++day) {
      const now = new Date(2010, 4, day, 12);
      assert.ok(dates.weekday(now).startsWith(new Intl.DateTimeFormat(locale, { weekday: 'long' }).format(now)));
    }
  }
});
