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

/** Formats are made when the first date is printed in them: each takes longer than a screen of photos to draw. */
export class Dates {
  private readonly formats = new Map<string, Intl.DateTimeFormat>();
  private readonly months: string[] = [];

  constructor(private readonly locale: string) {}

  private format(name: string, options: Intl.DateTimeFormatOptions): Intl.DateTimeFormat {
    let format = this.formats.get(name);
    if (format === undefined) {
      format = new Intl.DateTimeFormat(this.locale, options);
      this.formats.set(name, format);
    }
    return format;
  }

  private get dateTime(): Intl.DateTimeFormat {
    return this.format('dateTime', { ...DAY, ...TIME, timeZone: 'UTC' });
  }

  /** "5 May 2010 at 07:04", as it was where it was. */
  taken(text: string | null | undefined): string {
    const date = wallClock(text);
    return date === null ? '' : this.dateTime.format(date);
  }

  /** "5 May 2010" */
  takenDay(text: string | null | undefined): string {
    const date = wallClock(text);
    return date === null ? '' : this.format('day', { ...DAY, timeZone: 'UTC' }).format(date);
  }

  /** A moment, as the clock of this device's place shows it. */
  moment(text: string | null | undefined): string {
    const date = new Date(text ?? '');
    return Number.isNaN(date.getTime()) ? '' : this.format('instant', { ...DAY, ...TIME }).format(date);
  }

  /** "07:04", as the clock of this device's place shows it. */
  time(now: Date): string {
    return this.format('time', TIME).format(now);
  }

  /** "Wednesday 5 May", the same. */
  weekday(now: Date): string {
    return this.format('weekday', { weekday: 'long', day: 'numeric', month: 'long' }).format(now);
  }

  private nameOf(date: Date): string {
    const at = date.getUTCMonth();
    this.months[at] ??= this.dateTime.formatToParts(date).find((part) => part.type === 'month')?.value ?? '';
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
