// SPDX-License-Identifier: MIT
// Groups of the stand-in: one that is a list and can change, and one of any size that is nothing but arithmetic.
import { formOf } from './pictures.mjs';

const DAY = 86_400_000;
const iso = (time) => `${new Date(time).toISOString().slice(0, 19)}+02:00`;
const PEOPLE = [{ id: '3', name: 'Anna' }, { id: '4', name: 'Ben' }, { id: '5', name: 'Rose' }];

export function item(group, id, index, time, description = '') {
  const [width, height] = formOf(Number(id));
  return {
    id, group, index, type: 'photo', format: 'jpeg', description, size: 3_000_000, resolution: { width, height }, width, height,
    created: iso(time), uploaded: iso(time + DAY), creator: PEOPLE[Number(id) % 3], comment_count: 0, marked: false,
    media: { grid: `/media/${id}/grid`, screen: `/media/${id}/screen`, full: `/media/${id}/full` },
  };
}

const monthsOf = (items) => {
  const months = [];
  items.forEach((one, index) => {
    const month = one.created.slice(0, 7);
    if (months[months.length - 1]?.month === month) months[months.length - 1].count += 1;
    else months.push({ month, count: 1, index });
  });
  return months;
};

export class ListGroup {
  complete = true;
  #items = [];
  #hidden = new Map();
  #nextId;

  constructor(id, name, count, { years = 3, today = new Date() } = {}) {
    this.id = id;
    this.name = name;
    this.#nextId = Number(id) * 1000;
    const newest = today.getTime() - 3_600_000;
    for (let at = 0; at < count; ++at) {
      const time = newest - Math.round((at * years * 365 * DAY) / Math.max(1, count));
      this.#items.push(item(id, String(this.#nextId++), at, time, at % 7 === 2 ? ['At the lake', 'Grandma’s birthday', 'First snow'][at % 3] : ''));
    }
  }

  get total() {
    return this.#items.length;
  }

  item(index) {
    const one = this.#items[index];
    return one === undefined ? null : { ...one, index };
  }

  /** Also one that is hidden. */
  whole(index) {
    return index < this.total ? this.item(index) : this.#hidden.get([...this.#hidden.keys()][index - this.total]);
  }

  slice(index, count) {
    return this.#items.slice(index, index + count).map((one, offset) => ({ ...one, index: index + offset }));
  }

  all() {
    return this.#items.map((one, index) => ({ ...one, index }));
  }

  indexOf(id) {
    const at = this.#items.findIndex((one) => one.id === id);
    const hidden = [...this.#hidden.keys()].indexOf(id);
    return at < 0 && hidden >= 0 ? this.total + hidden : at;
  }

  months() {
    const months = monthsOf(this.#items);
    if (this.complete) return { complete: true, total: this.total, months };
    // Half of it has been read so far: the rest is known by name.
    const known = Math.ceil(months.length / 2);
    return { complete: false, total: this.total, months: months.map((one, at) => (at < known ? one : { month: one.month, count: null, index: null })) };
  }

  add({ time = Date.now(), description = '', number = 0 } = {}) {
    while (this.#nextId % 10 !== number) this.#nextId += 1;
    const one = item(this.id, String(this.#nextId++), 0, time, description);
    const at = this.#items.findIndex((other) => other.created <= one.created);
    this.#items.splice(at < 0 ? this.#items.length : at, 0, one);
    return one.id;
  }

  remove(id) {
    this.#items = this.#items.filter((one) => one.id !== id);
  }

  hide(id) {
    const one = this.#items.find((other) => other.id === id);
    if (one === undefined) return;
    this.#hidden.set(id, { ...one, index: null });
    this.remove(id);
  }

  bring(id) {
    const one = this.#hidden.get(id);
    if (one === undefined) return;
    this.#hidden.delete(id);
    const at = this.#items.findIndex((other) => other.created <= one.created);
    this.#items.splice(at < 0 ? this.#items.length : at, 0, one);
  }
}

/** The same number of photos in each month, back from November 2026. */
export class ArithmeticGroup {
  complete = true;
  #perMonth = 4000;
  #first = 10_000_000;

  constructor(id, name, total) {
    this.id = id;
    this.name = name;
    this.total = total;
  }

  #time(index) {
    const month = Math.floor(index / this.#perMonth);
    const within = index % this.#perMonth;
    return Date.UTC(2026, 10 - month, 28, 12) - Math.floor((within * 27 * DAY) / this.#perMonth);
  }

  item(index) {
    return index < 0 || index >= this.total ? null : item(this.id, String(this.#first + index), index, this.#time(index));
  }

  whole(index) {
    return this.item(index);
  }

  slice(index, count) {
    const items = [];
    for (let at = index; at < Math.min(this.total, index + count); ++at) items.push(this.item(at));
    return items;
  }

  all() {
    return this.slice(0, 20_000);
  }

  indexOf(id) {
    const index = Number(id) - this.#first;
    return index >= 0 && index < this.total ? index : -1;
  }

  months() {
    const months = [];
    for (let index = 0; index < this.total; index += this.#perMonth) {
      months.push({ month: iso(this.#time(index)).slice(0, 7), count: Math.min(this.#perMonth, this.total - index), index });
    }
    return { complete: true, total: this.total, months };
  }

  hide() {}

  bring() {}
}
