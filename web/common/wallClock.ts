// SPDX-License-Identifier: MIT
// Dates as people read them. A picture's is what the clock on the wall showed where it was taken: the date-time is read as it is
// written, whatever zone this device is in and whatever its clock says.

const DATE_TIME = /^(\d{4})-(\d{2})-(\d{2})(?:[T ](\d{2}):(\d{2})(?::(\d{2}))?)?/;

/** The wall clock's reading as an instant of UTC, so that it can be printed; null where the text is no date. */
export function wallClock(text: string | null | undefined): Date | null {
  const parts = DATE_TIME.exec(text ?? '');
  if (parts === null) return null;
  const number = (at: number): number => Number(parts[at] ?? 0);
  const date = new Date(Date.UTC(number(1), number(2) - 1, number(3), number(4), number(5), number(6)));
  return Number.isNaN(date.getTime()) ? null : date;
}

const DAY = { day: 'numeric', month: 'long', year: 'numeric' } as const;
const TIME = { hour: '2-digit', minute: '2-digit' } as const;

/** What a format is made of: a moment by the clock of some place. */
interface Reading {
  readonly year: number;
  /** From 0. */
  readonly month: number;
  readonly day: number;
  /** From 0, which is Sunday. */
  readonly weekday: number;
  readonly hours: number;
  readonly minutes: number;
}

/** How a language writes them. */
interface Style {
  readonly months: readonly string[];
  readonly weekdays: readonly string[];
  /** Behind the number of the day. */
  readonly point: string;
  /** Between the day's name and its number. */
  readonly comma: string;
  /** Between date and time. */
  readonly at: string;
}

/**
 * The pages' own languages, as a browser writes them. Its formats are asked for any other place's manner: the first of them takes longer
 * to make than a screen of photos to draw.
 */
const STYLES: Readonly<Record<string, Style>> = {
  'en-GB': {
    months: ['January', 'February', 'March', 'April', 'May', 'June', 'July', 'August', 'September', 'October', 'November', 'December'],
    weekdays: ['Sunday', 'Monday', 'Tuesday', 'Wednesday', 'Thursday', 'Friday', 'Saturday'],
    point: '',
    comma: '',
    at: 'at',
  },
  'de-DE': {
    months: ['Januar', 'Februar', 'März', 'April', 'Mai', 'Juni', 'Juli', 'August', 'September', 'Oktober', 'November', 'Dezember'],
    weekdays: ['Sonntag', 'Montag', 'Dienstag', 'Mittwoch', 'Donnerstag', 'Freitag', 'Samstag'],
    point: '.',
    comma: ',',
    at: 'um',
  },
};

const whereTaken = (date: Date): Reading => ({
  year: date.getUTCFullYear(),
  month: date.getUTCMonth(),
  day: date.getUTCDate(),
  weekday: date.getUTCDay(),
  hours: date.getUTCHours(),
  minutes: date.getUTCMinutes(),
});

/** This device's clock shows at a moment what UTC's shows so many minutes off. */
const here = (date: Date): Reading => whereTaken(new Date(date.getTime() - date.getTimezoneOffset() * 60_000));

const twoDigits = (value: number): string => String(value).padStart(2, '0');

const WRITTEN = {
  day: ({ months, point }: Style, { day, month, year }: Reading): string => `${day}${point} ${months[month] ?? ''} ${year}`,
  time: (_: Style, { hours, minutes }: Reading): string => `${twoDigits(hours)}:${twoDigits(minutes)}`,
  dateTime: (style: Style, reading: Reading): string => `${WRITTEN.day(style, reading)} ${style.at} ${WRITTEN.time(style, reading)}`,
  weekday: ({ weekdays, comma, months, point }: Style, { weekday, day, month }: Reading): string => `${weekdays[weekday] ?? ''}${comma} ${day}${point} ${months[month] ?? ''}`,
};
type Form = keyof typeof WRITTEN;

const OPTIONS: Readonly<Record<Form, Intl.DateTimeFormatOptions>> = {
  day: DAY,
  time: TIME,
  dateTime: { ...DAY, ...TIME },
  weekday: { weekday: 'long', day: 'numeric', month: 'long' },
};

/** Dates as one place writes them. */
export class Dates {
  private readonly style: Style | undefined;
  private readonly formats = new Map<string, Intl.DateTimeFormat>();
  private readonly months: string[] = [];

  constructor(private readonly locale: string) {
    this.style = STYLES[locale];
  }

  private format(form: Form, isHere: boolean): Intl.DateTimeFormat {
    const key = `${form} ${isHere}`;
    let format = this.formats.get(key);
    if (format === undefined) {
      format = new Intl.DateTimeFormat(this.locale, { ...OPTIONS[form], timeZone: isHere ? undefined : 'UTC' });
      this.formats.set(key, format);
    }
    return format;
  }

  private written(form: Form, date: Date, isHere: boolean): string {
    if (this.style === undefined) return this.format(form, isHere).format(date);
    return WRITTEN[form](this.style, isHere ? here(date) : whereTaken(date));
  }

  /** "5 May 2010 at 07:04", as it was where it was. */
  taken(text: string | null | undefined): string {
    const date = wallClock(text);
    return date === null ? '' : this.written('dateTime', date, false);
  }

  /** "5 May 2010" */
  takenDay(text: string | null | undefined): string {
    const date = wallClock(text);
    return date === null ? '' : this.written('day', date, false);
  }

  /** A moment, as the clock of this device's place shows it. */
  moment(text: string | null | undefined): string {
    const date = new Date(text ?? '');
    return Number.isNaN(date.getTime()) ? '' : this.written('dateTime', date, true);
  }

  /** "07:04", as the clock of this device's place shows it. */
  time(now: Date): string {
    return this.written('time', now, true);
  }

  /** "Wednesday 5 May", the same. */
  weekday(now: Date): string {
    return this.written('weekday', now, true);
  }

  private nameOf(date: Date): string {
    const at = date.getUTCMonth();
    if (this.style !== undefined) return this.style.months[at] ?? '';
    this.months[at] ??= this.format('dateTime', false).formatToParts(date).find((part) => part.type === 'month')?.value ?? '';
    return this.months[at] ?? '';
  }

  /** "May 2010" for "2010-05". The languages that there are write the month before the year. */
  monthName(month: string): string {
    const date = wallClock(`${month}-01`);
    return date === null ? month : `${this.nameOf(date)} ${date.getUTCFullYear()}`;
  }

  /** "May" for "2010-05"; empty for what is no month. */
  monthAlone(month: string): string {
    const date = wallClock(`${month}-01`);
    return date === null ? '' : this.nameOf(date);
  }
}
