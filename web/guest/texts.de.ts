// SPDX-License-Identifier: MIT
// What the guests' page says, in German.
import type { en } from './texts.en';

export const de: Record<keyof typeof en, string> = {
  thousands: '.',
  title: 'Ihre Fotos auf dem Fernseher',
  group: 'Sie kommen in „{group}“, wo die Familie sie sieht.',
  add: 'Fotos hinzufügen',
  more: 'Weitere Fotos hinzufügen',
  left_one: 'Platz für noch {count} Foto.',
  left_other: 'Platz für noch {count} Fotos.',
  waiting: 'Wartet',
  sending: '{percent} %',
  done: 'Angekommen',
  retrying: 'Noch ein Versuch',
  photos: 'Ihre Fotos',
  again: 'Noch einmal versuchen',
  loading: 'Einen Moment.',
  closed: 'Das ist vorbei',
  closedHint: 'Die Show auf dem Fernseher ist zu Ende, oder ihre Zeit ist um. Bitten Sie um einen neuen Code.',
  thanks_one: 'Danke! {count} Foto ist angekommen.',
  thanks_other: 'Danke! {count} Fotos sind angekommen.',
  away: 'Keine Verbindung. Es geht von selbst weiter.',
  error_too_large: 'Zu groß',
  error_bad_file: 'Kein Foto',
  error_too_many: 'Kein Platz mehr',
  error_closed: 'Beendet',
  error_disk_full: 'Kein Platz auf der Platte',
  error_failed: 'Es ging nicht',
};
