// SPDX-License-Identifier: MIT
// Records of a long list, fetched in pages by index; so many pages are kept, those used last.

export class PageCache<T> {
  private pages = new Map<number, readonly T[]>();

  constructor(
    readonly pageSize: number,
    private readonly most: number,
  ) {}

  get(index: number): T | undefined {
    return this.pages.get(Math.floor(index / this.pageSize))?.[index % this.pageSize];
  }

  has(page: number): boolean {
    return this.pages.has(page);
  }

  put(page: number, records: readonly T[]): void {
    this.pages.delete(page);
    this.pages.set(page, records);
    while (this.pages.size > this.most) {
      const oldest = this.pages.keys().next().value;
      if (oldest === undefined) break;
      this.pages.delete(oldest);
    }
  }

  /** Notes that a page is in use. */
  touch(page: number): void {
    const records = this.pages.get(page);
    if (records !== undefined) this.put(page, records);
  }

  /** The index of the first record that fits, among those that are here; -1 where none does. */
  find(fits: (record: T) => boolean): number {
    for (const [page, records] of this.pages) {
      const at = records.findIndex(fits);
      if (at >= 0) return page * this.pageSize + at;
    }
    return -1;
  }

  get size(): number {
    return this.pages.size;
  }
}
