// SPDX-License-Identifier: MIT
// The hours in which a television shows nothing.

export interface Night {
  /** "22:00" */
  readonly from: string;
  readonly to: string;
}

/** Minutes since midnight; -1 where the text is no time of day. */
export function minutesOf(time: string): number {
  const parts = /^(\d{1,2}):(\d{2})$/.exec(time);
  if (parts === null) return -1;
  const minutes = Number(parts[1]) * 60 + Number(parts[2]);
  return minutes < 24 * 60 ? minutes : -1;
}

/** The time of day so many minutes later, over midnight too. */
export function laterBy(time: string, minutes: number): string {
  const day = 24 * 60;
  const at = (((minutesOf(time) + minutes) % day) + day) % day;
  return `${String(Math.floor(at / 60)).padStart(2, '0')}:${String(at % 60).padStart(2, '0')}`;
}

/** Whether it is night; a night may go over midnight, and one from an hour to the same hour is none. */
export function isNight(night: Night | null, now: Date): boolean {
  if (night === null) return false;
  const from = minutesOf(night.from);
  const to = minutesOf(night.to);
  const at = now.getHours() * 60 + now.getMinutes();
  if (from < 0 || to < 0 || from === to) return false;
  return from < to ? at >= from && at < to : at >= from || at < to;
}
